// SPDX-License-Identifier: MIT
// Bitmaps that are painted on through a copy, whose memory an earlier copy of the thread may have had.
#include <tovmx/device.h>

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <thread>
#include <vector>

namespace {

struct Kind {
  int bits;
  int byte;  // of every pixel at first
};
constexpr Kind kKinds[] = {{1, 255}, {4, 255}, {8, 200}, {24, 255}, {32, 0}, {32, 128}};

CoreDib MakeDib(const Kind& kind, int width, int height) {
  CoreDib dib;
  EXPECT_TRUE(dib.Create(width, height, kind.bits));
  std::memset(dib.GetBuffer(), kind.byte, dib.GetBufferSize());
  return dib;
}

void DrawLine(CoreBitmapDevice& device, const wchar_t* text, float x, float y) {
  CoreFontLoader fonts(nullptr);
  fonts.LoadFont(L"DejaVu Sans", L"", kCoreFontAny, 400, false);
  CoreMatrix place;
  place.Translate(x, y);
  EXPECT_TRUE(device.DrawText(text, -1, fonts, place, 0xC0204080, 30));
}

using Pixels = std::vector<std::uint8_t>;

// Two lines, one of them over what the device has been given as its page in between.
Pixels Drawn(const Kind& kind, int width, int height) {
  CoreDib dib = MakeDib(kind, width, height);
  CoreBitmapDevice device(&dib);
  DrawLine(device, L"first", 5, 30);
  EXPECT_TRUE(device.EndText() && device.Flush());
  EXPECT_TRUE(device.FillPage(0x40FF8000));
  DrawLine(device, L"second", 40, static_cast<float>(height) - 4);
  EXPECT_TRUE(device.EndText() && device.Flush());
  return {dib.GetBuffer(), dib.GetBuffer() + dib.GetBufferSize()};
}

void Scribble(int width, int height) {
  for (const Kind& kind : kKinds) {
    CoreDib dib = MakeDib(kind, width, height);
    CoreBitmapDevice device(&dib);
    for (int y = 20; y < height; y += 25)
      DrawLine(device, L"\u2588\u2588 gjpqy \u2588\u2588\u2588", 0, static_cast<float>(y));
    EXPECT_TRUE(device.EndText() && device.Flush());
  }
}

// Small copies keep their memory for the next one, copies of which much was touched do not.
TEST(CopySurface, WhatEarlierCopiesHeldIsNotSeen) {
  for (const Kind& kind : kKinds) {
    for (const int width : {61, 700}) {
      Pixels expected;
      std::thread([&] { expected = Drawn(kind, width, 90); }).join();
      std::thread([&] {
        EXPECT_EQ(Drawn(kind, width, 90), expected);
        for (const int side : {40, 300, 1500}) {
          Scribble(side, side);
          EXPECT_EQ(Drawn(kind, width, 90), expected) << kind.bits << " bits behind " << side;
        }
      }).join();
    }
  }
}

TEST(CopySurface, DevicesSideBySideHaveMemoryOfTheirOwn) {
  Pixels expected[2];
  for (int i = 0; i < 2; ++i) expected[i] = Drawn(kKinds[2], 200 + 100 * i, 90);
  CoreDib dibs[2] = {MakeDib(kKinds[2], 200, 90), MakeDib(kKinds[2], 300, 90)};
  std::unique_ptr<CoreBitmapDevice> devices[2];
  for (int i = 0; i < 2; ++i) devices[i] = std::make_unique<CoreBitmapDevice>(&dibs[i]);
  for (const auto& device : devices) DrawLine(*device, L"first", 5, 30);
  for (const auto& device : devices) EXPECT_TRUE(device->EndText() && device->Flush());
  for (const auto& device : devices) EXPECT_TRUE(device->FillPage(0x40FF8000));
  for (const auto& device : devices) DrawLine(*device, L"second", 40, 86);
  for (const auto& device : devices) EXPECT_TRUE(device->EndText() && device->Flush());
  for (int i = 0; i < 2; ++i)
    EXPECT_EQ(Pixels(dibs[i].GetBuffer(), dibs[i].GetBuffer() + dibs[i].GetBufferSize()), expected[i]);
}

// The last surface of a thread may be destroyed by another, or when nobody keeps memory any more.
TEST(CopySurface, ADeviceMayOutliveItsThread) {
  CoreDib dib = MakeDib(kKinds[3], 200, 90);
  std::unique_ptr<CoreBitmapDevice> device;
  std::thread([&] {
    device = std::make_unique<CoreBitmapDevice>(&dib);
    DrawLine(*device, L"first", 5, 30);
  }).join();
  EXPECT_TRUE(device->EndText() && device->Flush());
  device.reset();
  std::thread([&] {
    thread_local std::unique_ptr<CoreBitmapDevice> late;  // destroyed behind what is made after it
    late = std::make_unique<CoreBitmapDevice>(&dib);
    DrawLine(*late, L"late", 5, 30);
    EXPECT_TRUE(late->EndText() && late->Flush());
  }).join();
}

}  // namespace
