// SPDX-License-Identifier: MIT
#include "device_support.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using namespace device;

TEST(BitmapDevice, InkStandsOnTheBaselineAndStartsAtTheOrigin) {
  Picture picture(300, 120);
  CoreBitmapDevice device(&picture.dib);
  ASSERT_TRUE(DrawLine(device, L"HHH", At(50, 80)));
  CoreTextExtents extents;
  ASSERT_TRUE(Fonts().MeasureText(L"HHH", 3, 32.0f, extents));
  const CoreRect ink = InkOf(picture.dib);
  EXPECT_NEAR(ink.bottom, 80, 1);
  EXPECT_NEAR(ink.top, 80 + extents.ink.top, 1.5);
  EXPECT_NEAR(ink.left, 50 + extents.ink.left, 1.5);
  EXPECT_NEAR(ink.right, 50 + extents.ink.right, 3);
}

TEST(BitmapDevice, TheColorIsTheOneGiven) {
  Picture picture(200, 200);
  CoreBitmapDevice device(&picture.dib);
  ASSERT_TRUE(DrawLine(device, L"\u2588", At(20, 150), 0xFF1A2B3C, 100.0f));  // a full block
  EXPECT_EQ(picture.dib.GetArgb(50, 120), 0xFF1A2B3Cu);
}

TEST(BitmapDevice, AlphaMixesWithWhatIsThereAndZeroLeavesNothing) {
  Picture picture(200, 200);
  CoreBitmapDevice device(&picture.dib);
  ASSERT_TRUE(DrawLine(device, L"\u2588", At(20, 150), 0x00FF0000, 100.0f));
  EXPECT_TRUE(InkOf(picture.dib).IsEmpty());
  ASSERT_TRUE(DrawLine(device, L"\u2588", At(20, 150), 0x80000000, 100.0f));
  EXPECT_NEAR(static_cast<int>(picture.dib.GetArgb(50, 120) & 0xFF), 127, 1);
  EXPECT_EQ(picture.dib.GetArgb(50, 120) >> 24, 0xFFu);
}

TEST(BitmapDevice, TheSameLineGivesTheSameBytes) {
  Picture first(300, 60);
  Picture second(300, 60);
  CoreBitmapDevice one(&first.dib);
  CoreBitmapDevice two(&second.dib);
  ASSERT_TRUE(DrawLine(one, L"Same \u5B8B\u4F53", At(10, 40)));
  ASSERT_TRUE(DrawLine(two, L"Same \u5B8B\u4F53", At(10, 40)));
  EXPECT_EQ(first.Bytes(), second.Bytes());
  ASSERT_FALSE(InkOf(first.dib).IsEmpty());
}

TEST(BitmapDevice, TheSameBytesFromAnotherThread) {
  Picture first(300, 60);
  Picture second(300, 60);
  CoreBitmapDevice one(&first.dib);
  ASSERT_TRUE(DrawLine(one, L"Same \u5B8B\u4F53", At(10, 40)));
  std::thread([&second] {
    CoreBitmapDevice two(&second.dib);
    DrawLine(two, L"Same \u5B8B\u4F53", At(10, 40));
  }).join();
  EXPECT_EQ(first.Bytes(), second.Bytes());
}

TEST(BitmapDevice, ThreadsDrawAtOnce) {
  constexpr int kThreads = 4;
  std::vector<std::vector<std::uint8_t>> results(kThreads);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&results, t] {
      Picture picture(300, 400);
      CoreBitmapDevice device(&picture.dib);
      for (int i = 0; i < 40; ++i) {
        const std::wstring text = L"Line \u5B8B " + std::to_wstring(i);
        EXPECT_TRUE(DrawLine(device, text.c_str(), At(5, 10.0f * static_cast<float>(i)), kBlack, 12.0f));
      }
      results[static_cast<std::size_t>(t)] = picture.Bytes();
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (const auto& result : results) EXPECT_EQ(result, results[0]);
}

TEST(BitmapDevice, EveryDepthTakesInkAndKeepsTheRest) {
  for (const int bits : {1, 4, 8, 24, 32}) {
    Picture picture(300, 120, bits);
    CoreBitmapDevice device(&picture.dib);
    ASSERT_TRUE(DrawLine(device, L"HHH", At(50, 80))) << bits;
    const CoreRect ink = InkOf(picture.dib);
    EXPECT_NEAR(ink.bottom, 80, 1) << bits;
    EXPECT_NEAR(ink.left, 53, 3) << bits;
    EXPECT_EQ(picture.dib.GetBuffer()[0], 255) << bits;
  }
}

TEST(BitmapDevice, APaletteBitmapGetsTheNearestColorItHas) {
  Picture picture(200, 200, 8);
  const std::uint32_t entries[] = {0x00FFFFFF, 0x000000FF, 0x00FF0000,
                                   0x000000FF};  // white, red, blue, red again
  ASSERT_TRUE(picture.dib.SetPalette(entries, 4));
  std::memset(picture.dib.GetBuffer(), 0, picture.dib.GetBufferSize());
  picture.dib.GetRow(120)[60] = 3;
  picture.dib.GetRow(10)[10] = 3;
  CoreBitmapDevice device(&picture.dib);
  ASSERT_TRUE(DrawLine(device, L"\u2588", At(20, 150), 0xFFF01010, 100.0f));
  EXPECT_EQ(picture.dib.GetRow(120)[50], 1);
  EXPECT_EQ(picture.dib.GetRow(10)[10], 3) << "a pixel without ink keeps its index";
}

TEST(BitmapDevice, TransparentBitmapsStayTransparentWhereNoInkIs) {
  Picture picture(200, 200);
  std::memset(picture.dib.GetBuffer(), 0, picture.dib.GetBufferSize());
  const std::uint32_t odd = 0x01FE0305;  // does not survive being premultiplied
  std::memcpy(picture.dib.GetRow(3) + 12, &odd, 4);
  CoreBitmapDevice device(&picture.dib);
  ASSERT_TRUE(DrawLine(device, L"\u2588", At(20, 150), 0xFF102030, 100.0f));
  EXPECT_EQ(picture.dib.GetArgb(50, 120), 0xFF102030u);
  EXPECT_EQ(picture.dib.GetArgb(199, 199), 0u);
  EXPECT_EQ(picture.dib.GetArgb(3, 3), odd);
  ASSERT_TRUE(device.FillPage(0x40FF0000));
  ASSERT_TRUE(device.Flush());
  EXPECT_EQ(picture.dib.GetArgb(50, 120), 0x40FF0000u);
}

// Text before the page was filled is gone, text after it is there, whatever the bitmap held before.
TEST(BitmapDevice, ATranslucentPageHasStraightColorsOnOpaqueBitmapsToo) {
  for (const std::uint32_t before : {0xFFFFFFFFu, 0xFF204060u, 0x80204060u, 0u}) {
    Picture picture(200, 200);
    for (int y = 0; y < 200; ++y) {
      for (int x = 0; x < 200; ++x) std::memcpy(picture.dib.GetRow(y) + 4 * x, &before, 4);
    }
    CoreBitmapDevice device(&picture.dib);
    ASSERT_TRUE(DrawLine(device, L"\u2588", At(120, 150), 0xFF102030, 100.0f));
    ASSERT_TRUE(device.FillPage(0x40FF0000));
    ASSERT_TRUE(DrawLine(device, L"\u2588", At(20, 150), 0xFF102030, 100.0f));
    EXPECT_EQ(picture.dib.GetArgb(50, 120), 0xFF102030u) << before;
    EXPECT_EQ(picture.dib.GetArgb(150, 120), 0x40FF0000u) << before;
    EXPECT_EQ(picture.dib.GetArgb(199, 199), 0x40FF0000u) << before;
    ASSERT_TRUE(device.FillPage(0xFF334455));
    ASSERT_TRUE(device.FillPage(0));
    ASSERT_TRUE(device.Flush());
    EXPECT_EQ(picture.dib.GetArgb(50, 120), 0u) << before;
    ASSERT_TRUE(device.FillPage(0xFF334455));
    ASSERT_TRUE(device.Flush());
    EXPECT_EQ(picture.dib.GetArgb(50, 120), 0xFF334455u) << before;
  }
}

// Pages of memory that may not be looked at lie under all of the bitmap but its upper rows.
TEST(BitmapDevice, OnlyWhatLiesBeneathALineIsLookedAt) {
  for (const int bits : {8, 24, 32}) {
    Picture picture(2000, 2000, bits);
    const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    const auto from = reinterpret_cast<std::uintptr_t>(picture.dib.GetRow(200)) / page * page + page;
    const auto to = reinterpret_cast<std::uintptr_t>(picture.dib.GetRow(1999)) / page * page;
    void* const hidden = reinterpret_cast<void*>(from);
    ASSERT_EQ(mprotect(hidden, to - from, PROT_NONE), 0);
    CoreBitmapDevice device(&picture.dib);
    const bool drawn = DrawLine(device, L"Hello", At(20, 100), 0xFF102030, 50.0f);
    ASSERT_EQ(mprotect(hidden, to - from, PROT_READ | PROT_WRITE), 0);
    EXPECT_TRUE(drawn);
    EXPECT_FALSE(InkOf(picture.dib).IsEmpty());
  }
}

TEST(BitmapDevice, DpiScalesTextAndPlace) {
  Picture picture(600, 240);
  CoreBitmapDevice device(&picture.dib, 192.0f);
  ASSERT_TRUE(DrawLine(device, L"HHH", At(50, 80)));
  const CoreRect ink = InkOf(picture.dib);
  EXPECT_NEAR(ink.bottom, 160, 1);
  EXPECT_NEAR(ink.bottom - ink.top, 2 * 32 * 0.73, 3);
}

TEST(BitmapDevice, TheMatrixTurnsTheText) {
  Picture picture(300, 300);
  CoreBitmapDevice device(&picture.dib);
  CoreMatrix down;  // a quarter turn clockwise: the baseline runs down
  down.a = 0;
  down.b = 1;
  down.c = -1;
  down.d = 0;
  down.Translate(100, 20);
  ASSERT_TRUE(DrawLine(device, L"HHHHHH", down));
  const CoreRect ink = InkOf(picture.dib);
  EXPECT_NEAR(ink.left, 100, 1);
  EXPECT_GT(ink.bottom - ink.top, 3 * (ink.right - ink.left));
}

TEST(BitmapDevice, RightToLeftTextStartsAtTheRight) {
  // The first letter in memory is the one furthest to the right; alef is far narrower than shin.
  CoreTextExtents shin;
  ASSERT_TRUE(Fonts().MeasureText(L"\u05E9", 1, 64.0f, shin));
  Picture both(300, 100);
  Picture last(300, 100);
  CoreBitmapDevice first(&both.dib);
  CoreBitmapDevice second(&last.dib);
  ASSERT_TRUE(DrawLine(first, L"\u05E9\u05D5", At(50, 80), kBlack, 64.0f));
  ASSERT_TRUE(DrawLine(second, L"\u05D5", At(50, 80), kBlack, 64.0f));
  const int narrow = InkOf(last.dib).right;
  for (int y = 0; y < 100; ++y) {
    for (int x = 0; x < narrow; ++x) ASSERT_EQ(both.dib.GetArgb(x, y), last.dib.GetArgb(x, y));
  }
  EXPECT_GT(InkOf(both.dib).right, narrow + 20);
}

TEST(BitmapDevice, GlyphsOfAnySizeMeetTheirPlace) {
  // Around the size at which outlines take the place of glyph pictures, nothing jumps.
  for (const float size : {200.0f, 255.0f, 257.0f, 400.0f, 5000.0f}) {
    Picture picture(100, 100);
    CoreBitmapDevice device(&picture.dib);
    CoreTextExtents extents;
    ASSERT_TRUE(Fonts().MeasureText(L"\u2588", 1, size, extents));
    // The block's left bottom corner comes to the middle of the picture.
    ASSERT_TRUE(
        DrawLine(device, L"\u2588", At(50 - extents.ink.left, 50 - extents.ink.bottom), kBlack, size));
    EXPECT_NEAR(InkOf(picture.dib).left, 50, 1.5) << size;
    EXPECT_NEAR(InkOf(picture.dib).bottom, 50, 1.5) << size;
    EXPECT_EQ(InkOf(picture.dib).right, 100) << size;
  }
}

TEST(BitmapDevice, ALongLineIsDrawnWhereItMeetsThePage) {
  const std::wstring line(200'000, L'H');
  CoreTextExtents extents;
  ASSERT_TRUE(Fonts().MeasureText(line.c_str(), -1, 32.0f, extents));
  for (const float start : {0.0f, -extents.logical.right / 2, 60.0f - extents.logical.right}) {
    Picture picture(100, 100);
    CoreBitmapDevice device(&picture.dib);
    ASSERT_TRUE(DrawLine(device, line.c_str(), At(start, 60)));
    const CoreRect ink = InkOf(picture.dib);
    EXPECT_NEAR(ink.bottom, 60, 1) << start;
    EXPECT_GT(ink.right - ink.left, 30) << start;
  }
}

TEST(BitmapDevice, NumbersThatAreNoPlaceAreRefused) {
  Picture picture(50, 50);
  CoreBitmapDevice device(&picture.dib);
  const float odd[] = {std::nanf(""), std::numeric_limits<float>::infinity(),
                       -std::numeric_limits<float>::infinity()};
  for (const float value : odd) {
    for (float CoreMatrix::*field :
         {&CoreMatrix::a, &CoreMatrix::b, &CoreMatrix::c, &CoreMatrix::d, &CoreMatrix::e, &CoreMatrix::f}) {
      CoreMatrix matrix;
      matrix.*field = value;
      EXPECT_FALSE(DrawLine(device, L"x", matrix));
    }
    EXPECT_FALSE(DrawLine(device, L"x", CoreMatrix(), kBlack, value));
  }
  EXPECT_FALSE(DrawLine(device, L"x", CoreMatrix(), kBlack, 0.0f));
  EXPECT_FALSE(DrawLine(device, L"x", CoreMatrix(), kBlack, -5.0f));
  EXPECT_FALSE(device.DrawText(nullptr, 1, Fonts(), CoreMatrix(), kBlack, 10.0f));
  EXPECT_TRUE(InkOf(picture.dib).IsEmpty());
  EXPECT_TRUE(device.IsGood());
}

TEST(BitmapDevice, HugeAndTinyNumbersAreHarmless) {
  constexpr float kMax = std::numeric_limits<float>::max();
  Picture picture(50, 50);
  CoreBitmapDevice device(&picture.dib);
  for (const float place : {0.0f, 1e6f, -1e6f, 1e20f, kMax, -kMax}) {
    for (const float size : {1e-30f, 0.01f, 1000.0f, 60000.0f, 99999.0f, 1e6f, 2.9e9f, kMax}) {
      EXPECT_TRUE(DrawLine(device, L"Wide \u5B8B", At(place, place), kBlack, size)) << place << " " << size;
      CoreMatrix flat = At(place, 10);
      flat.d = 0;
      EXPECT_TRUE(DrawLine(device, L"flat", flat, kBlack, size));
      flat.a = kMax;
      EXPECT_TRUE(DrawLine(device, L"flat", flat, kBlack, size));
    }
  }
  EXPECT_TRUE(device.IsGood());
  ASSERT_TRUE(device.FillPage(kWhite));
  ASSERT_TRUE(DrawLine(device, L"H", At(5, 40)));
  EXPECT_FALSE(InkOf(picture.dib).IsEmpty()) << "the device still draws";
}

TEST(BitmapDevice, TargetsThatCannotBeDrawnIntoMakeADeviceThatFails) {
  CoreDib none;
  CoreDib good;
  CoreDib wide;
  ASSERT_TRUE(good.Create(10, 10, 32));
  ASSERT_TRUE(wide.Create(CoreBitmapDevice::kMaxSide + 1, 1, 32));
  CoreBitmapDevice devices[] = {CoreBitmapDevice(nullptr),
                                CoreBitmapDevice(&none),
                                CoreBitmapDevice(&wide),
                                CoreBitmapDevice(&good, 0.0f),
                                CoreBitmapDevice(&good, -96.0f),
                                CoreBitmapDevice(&good, std::nanf("")),
                                CoreBitmapDevice(&good, std::numeric_limits<float>::infinity()),
                                CoreBitmapDevice(&good, -std::numeric_limits<float>::infinity())};
  for (CoreBitmapDevice& device : devices) {
    EXPECT_FALSE(device.IsGood());
    EXPECT_FALSE(device.FillPage(kWhite));
    EXPECT_FALSE(device.DrawText(L"x", 1, Fonts(), At(0, 5), kBlack, 5.0f));
    EXPECT_FALSE(device.EndText());
    EXPECT_FALSE(device.Flush());
  }
}

TEST(BitmapDevice, TheLongestLineIsDrawnAndALongerOneRefused) {
  constexpr int kMost = 262'144;
  const std::wstring line(kMost + 1, L'H');
  for (const int bits : {24, 32}) {
    Picture picture(100, 60, bits);
    CoreBitmapDevice device(&picture.dib);
    EXPECT_FALSE(device.DrawText(line.c_str(), kMost + 1, Fonts(), At(5, 40), kBlack, 32.0f));
    EXPECT_FALSE(device.DrawText(line.c_str(), -1, Fonts(), At(5, 40), kBlack, 32.0f));
    ASSERT_TRUE(device.EndText() && device.Flush());
    EXPECT_TRUE(InkOf(picture.dib).IsEmpty());
    EXPECT_TRUE(device.DrawText(line.c_str(), kMost, Fonts(), At(5, 40), kBlack, 32.0f));
    EXPECT_TRUE(device.DrawText(line.c_str() + 1, -1, Fonts(), At(5, 40), kBlack, 32.0f));
    ASSERT_TRUE(device.EndText() && device.Flush());
    EXPECT_FALSE(InkOf(picture.dib).IsEmpty());
  }
}

TEST(BitmapDevice, FontsFromASourceThatHasNoneAreRefused) {
  Picture picture(100, 60);
  CoreBitmapDevice device(&picture.dib);
  for (const int source : {0, int{kCoreFontApplication}, 4}) {
    CoreFontLoader none(nullptr);
    EXPECT_FALSE(none.LoadFont(L"DejaVu Sans", L"", source, 400, false));
    EXPECT_FALSE(device.DrawText(L"H", 1, none, At(5, 40), kBlack, 32.0f)) << source;
  }
  ASSERT_TRUE(device.EndText() && device.Flush());
  EXPECT_TRUE(InkOf(picture.dib).IsEmpty());
  EXPECT_TRUE(device.IsGood());
}

TEST(BitmapDevice, LinesOfOnePieceAreAllThere) {
  for (const int bits : {8, 24, 32}) {
    Picture once(300, 200, bits);
    Picture each(300, 200, bits);
    CoreBitmapDevice together(&once.dib);
    CoreBitmapDevice apart(&each.dib);
    const std::pair<const wchar_t*, CoreMatrix> lines[] = {
        {L"Top", At(10, 40)}, {L"middle \u5B8B", At(60, 90)}, {L"over", At(70, 95)}, {L"end", At(200, 190)}};
    for (const auto& [text, place] : lines) {
      ASSERT_TRUE(together.DrawText(text, -1, Fonts(), place, 0xC0206040, 32.0f));
      ASSERT_TRUE(DrawLine(apart, text, place, 0xC0206040));
    }
    ASSERT_TRUE(together.EndText());
    ASSERT_TRUE(together.Flush());
    EXPECT_EQ(once.Bytes(), each.Bytes()) << bits;
    EXPECT_LT(InkOf(once.dib).top, 40) << bits;
    EXPECT_GT(InkOf(once.dib).bottom, 180) << bits;
  }
}

// Opaque 32-bit bitmaps are drawn into at once, and hold it after Flush like any other.
TEST(BitmapDevice, TheBitmapHoldsWhatWasDrawnAfterFlush) {
  for (const int bits : {1, 4, 8, 24, 32}) {
    Picture picture(100, 60, bits);
    CoreBitmapDevice device(&picture.dib);
    ASSERT_TRUE(device.DrawText(L"H", 1, Fonts(), At(5, 40), kBlack, 32.0f));
    ASSERT_TRUE(device.EndText());
    EXPECT_EQ(InkOf(picture.dib).IsEmpty(), bits != 32) << bits;
    ASSERT_TRUE(device.Flush());
    EXPECT_FALSE(InkOf(picture.dib).IsEmpty()) << bits;
  }
}

std::uint32_t Nearest(std::uint64_t numerator, std::uint32_t denominator) {
  return static_cast<std::uint32_t>((2 * numerator + denominator) / (2 * denominator));
}

// Source over what is there, component by component, with whole numbers: alpha is taken into the colors,
// which are mixed and freed of it again. Of the ink with its alpha in it, 16 bits, the upper 8 count. A pixel
// that nothing was added to keeps its bits.
std::uint32_t Over(std::uint32_t source, std::uint32_t under) {
  const std::uint32_t sourceAlpha = source >> 24;
  const std::uint32_t underAlpha = under >> 24;
  const auto mixed = [=](std::uint32_t ink, std::uint32_t paper) {
    return std::min(255U, ink + Nearest(paper * (255 - sourceAlpha), 255));
  };
  const std::uint32_t alpha = mixed(sourceAlpha, underAlpha);
  std::uint32_t result = alpha << 24;
  bool changes = alpha != underAlpha;
  for (const int shift : {0, 8, 16}) {
    const std::uint32_t color = source >> shift & 0xFF;
    const std::uint32_t ink = Nearest(std::uint64_t{65535} * color * sourceAlpha, 255 * 255) >> 8;
    const std::uint32_t paper = Nearest((under >> shift & 0xFF) * underAlpha, 255);
    const std::uint32_t both = mixed(ink, paper);
    changes = changes || both != paper;
    const bool plain = alpha == 0 || alpha == 255;
    result |= (plain ? both : std::min(255U, Nearest(both * 255, alpha))) << shift;
  }
  return changes ? result : under;
}

TEST(BitmapDevice, TranslucentTextOverTranslucentPixelsIsExact) {
  const std::uint32_t inks[] = {0x80FF8040, 0x01FFFFFF, 0x7F010203, 0xFE00FF80, 0x40C08000, 0xFF204060};
  for (const std::uint32_t ink : inks) {
    Picture picture(200, 200);
    unsigned state = ink;
    for (int y = 0; y < 200; ++y) {
      for (int x = 0; x < 200; ++x) {
        state = state * 1664525U + 1013904223U;
        // Alpha in the columns, every one of them.
        const std::uint32_t pixel = (state >> 8 & 0xFFFFFF) | static_cast<std::uint32_t>((x + y * 7) % 256)
                                                                  << 24;
        std::memcpy(picture.dib.GetRow(y) + static_cast<std::ptrdiff_t>(x) * 4, &pixel, 4);
      }
    }
    CoreDib before;
    ASSERT_TRUE(before.CopyFrom(picture.dib));
    CoreBitmapDevice device(&picture.dib);
    ASSERT_TRUE(DrawLine(device, L"\u2588", At(20, 150), ink, 150.0f));  // a full block
    for (int y = 50; y < 150; ++y) {
      for (int x = 40; x < 100; ++x) {
        const std::uint32_t under = before.GetArgb(x, y);
        ASSERT_EQ(picture.dib.GetArgb(x, y), Over(ink, under))
            << std::hex << ink << " over " << under << std::dec << " at " << x << ' ' << y;
      }
    }
  }
}

}  // namespace
