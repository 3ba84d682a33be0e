// SPDX-License-Identifier: MIT
// The pixels between a bitmap of any depth and the surface that is painted on, beside a plain computation.
#include "device/pixels.h"
#include "device/tiles.h"
#include "pixel/color.h"
#include "pixel/packed_index.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <vector>

namespace {

using tovmx::Box;
using tovmx::PixelArea;

PixelArea All(const CoreDib& dib) { return {0, 0, dib.GetWidth(), dib.GetHeight()}; }

void Store(cairo_surface_t* from, CoreDib& to) { tovmx::PixelExchange(to).Store(from, All(to)); }

// A surface whose pixels are opaque colors.
class Painted {
 public:
  Painted(int width, int height)
      : surface_(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height), cairo_surface_destroy) {}

  std::uint32_t& At(int x, int y) {
    unsigned char* row =
        cairo_image_surface_get_data(surface_.get()) + y * cairo_image_surface_get_stride(surface_.get());
    return reinterpret_cast<std::uint32_t*>(row)[x];
  }
  cairo_surface_t* get() { return surface_.get(); }

 private:
  std::unique_ptr<cairo_surface_t, void (*)(cairo_surface_t*)> surface_;
};

std::uint8_t Part(std::uint32_t color, int shift) { return static_cast<std::uint8_t>(color >> shift); }

// A value of the bitmap's pixel, read without the code under test.
unsigned IndexAt(const CoreDib& dib, int x, int y) {
  const int bits = dib.GetBitsPerPixel();
  const int place = x * bits;
  return dib.GetRow(y)[place / 8] >> (8 - bits - place % 8) & ((1 << bits) - 1);
}

// Colors 0xAARRGGBB that are far apart and near to each other.
std::vector<std::uint32_t> Colors() {
  std::vector<std::uint32_t> colors;
  for (std::uint32_t level = 0; level < 256; ++level) {
    for (const std::uint32_t color : {level * 0x10101, level << 16, level << 8, level, level << 16 | 0xFFFF,
                                      level << 8 | 0xFF00FF, level | 0xFFFF00}) {
      colors.push_back(0xFF000000 | color);
    }
  }
  std::mt19937 random(1);
  while (colors.size() < 6000) colors.push_back(0xFF000000 | static_cast<std::uint32_t>(random()));
  return colors;
}

// Stores the colors in the only row of a bitmap.
CoreDib Stored(CoreDib dib, const std::vector<std::uint32_t>& colors) {
  Painted painted(dib.GetWidth(), 1);
  for (int x = 0; x < dib.GetWidth(); ++x) painted.At(x, 0) = colors[static_cast<std::size_t>(x)];
  Store(painted.get(), dib);
  return dib;
}

CoreDib Blank(int width, int height, int bits, int byte = 0) {
  CoreDib dib;
  EXPECT_TRUE(dib.Create(width, height, bits));
  std::memset(dib.GetBuffer(), byte, dib.GetBufferSize());
  return dib;
}

TEST(DevicePixels, WithoutAPaletteAColorBecomesItsGrayLevel) {
  const std::vector<std::uint32_t> colors = Colors();
  const int width = static_cast<int>(colors.size());
  for (const int bits : {1, 4, 8}) {
    const CoreDib dib = Stored(Blank(width, 1, bits), colors);
    const double top = (1 << bits) - 1;
    ASSERT_EQ(dib.GetPaletteSize(), 0);
    for (int x = 0; x < width; ++x) {
      const std::uint32_t color = colors[static_cast<std::size_t>(x)];
      const double light = (77.0 * Part(color, 16) + 150.0 * Part(color, 8) + 29.0 * Part(color, 0)) / 256;
      const double gray = std::floor(light + 0.5);
      ASSERT_EQ(IndexAt(dib, x, 0), std::lround(gray * top / 255)) << bits << " bits, " << std::hex << color;
    }
  }
}

// Entries are 0x00BBGGRR.
TEST(DevicePixels, APalettesNearestEntryIsTakenTheFirstOfEquals) {
  const std::vector<std::uint32_t> colors = Colors();
  const int width = static_cast<int>(colors.size());
  std::mt19937 random(2);
  for (const int bits : {1, 4, 8}) {
    for (const int count : {1, 2, 3, 15, 16, 17, 255, 256}) {
      if (count > 1 << bits) continue;
      std::vector<std::uint32_t> entries;
      for (int i = 0; i < count; ++i) {
        const bool again = i > 1 && i % 5 == 0;
        entries.push_back(again ? entries[random() % entries.size()]
                                : static_cast<std::uint32_t>(random()) & 0xFFFFFF);
      }
      CoreDib dib = Blank(width, 1, bits);
      ASSERT_TRUE(dib.SetPalette(entries.data(), count));
      dib = Stored(std::move(dib), colors);
      for (int x = 0; x < width; ++x) {
        const std::uint32_t color = colors[static_cast<std::size_t>(x)];
        double least = 1e9;
        unsigned nearest = 0;
        for (unsigned i = 0; i < entries.size(); ++i) {
          const double distance = std::pow(Part(color, 16) - Part(entries[i], 0), 2) +
                                  std::pow(Part(color, 8) - Part(entries[i], 8), 2) +
                                  std::pow(Part(color, 0) - Part(entries[i], 16), 2);
          if (distance < least) nearest = i;
          least = std::min(least, distance);
        }
        ASSERT_EQ(IndexAt(dib, x, 0), nearest)
            << bits << " bits, " << count << " entries, " << std::hex << color;
      }
    }
  }
}

TEST(DevicePixels, DeepBitmapsTakeTheColorItself) {
  const std::vector<std::uint32_t> colors = Colors();
  for (const int bits : {24, 32}) {
    const CoreDib dib = Stored(Blank(static_cast<int>(colors.size()), 1, bits), colors);
    for (int x = 0; x < dib.GetWidth(); ++x) {
      ASSERT_EQ(dib.GetArgb(x, 0), colors[static_cast<std::size_t>(x)]) << bits;
    }
  }
}

TEST(DevicePixels, OfPremultipliedPixelsTheStraightColorIsStored) {
  for (unsigned alpha = 0; alpha < 256; ++alpha) {
    Painted painted(256, 1);
    CoreDib dib = Blank(256, 1, 32, 0x5A);
    for (unsigned c = 0; c < 256; ++c) {
      const unsigned part = std::min(c, alpha);
      painted.At(static_cast<int>(c), 0) = alpha << 24 | part << 16 | (alpha - part) << 8 | part / 2;
    }
    Store(painted.get(), dib);
    const auto straight = [alpha](unsigned value) {
      return alpha == 0 ? 0 : static_cast<std::uint32_t>(std::floor(value * 255.0 / alpha + 0.5));
    };
    for (unsigned c = 0; c < 256; ++c) {
      const unsigned part = std::min(c, alpha);
      ASSERT_EQ(dib.GetArgb(static_cast<int>(c), 0),
                alpha << 24 | straight(part) << 16 | straight(alpha - part) << 8 | straight(part / 2))
          << alpha << ' ' << c;
    }
  }
}

// Whole pixels of the area and one more on each side; the bitmap's edges end it.
TEST(DevicePixels, WhatLiesBesideTheAreaIsLeftAlone) {
  constexpr int kSide = 12;
  const Box areas[] = {
      {4, 5, 7, 9},     {4.5, 5.5, 7.5, 9.5},  {4.99, 5.01, 6.01, 8.99}, {0, 0, 1, 1},     {1, 1, 2, 2},
      {-9, -9, 0, 0},   {-9, -9, -1, -1},      {11, 11, 12, 12},         {10, 10, 11, 11}, {12, 12, 20, 20},
      {13, 13, 20, 20}, {-1e300, 3, 1e300, 4}, {3, -1e300, 4, 1e300}};
  for (const Box& area : areas) {
    CoreDib dib = Blank(kSide, kSide, 24);
    Painted painted(kSide, kSide);
    for (int i = 0; i < kSide * kSide; ++i) painted.At(i % kSide, i / kSide) = 0xFFABCDEF;
    tovmx::PixelExchange(dib).Store(painted.get(), tovmx::PixelsOf(area, 1, kSide, kSide));
    for (int y = 0; y < kSide; ++y) {
      for (int x = 0; x < kSide; ++x) {
        const bool inside = x + 1 >= std::floor(area.left) && x < std::ceil(area.right) + 1 &&
                            y + 1 >= std::floor(area.top) && y < std::ceil(area.bottom) + 1;
        ASSERT_EQ(dib.GetArgb(x, y), inside ? 0xFFABCDEF : 0xFF000000)
            << x << ' ' << y << " of " << area.left << ' ' << area.top;
      }
    }
  }
}

// Wherever in a byte an area begins and ends.
TEST(DevicePixels, LoadingFillsTheAreaAlone) {
  for (const int bits : {1, 4, 8, 24, 32}) {
    const CoreDib dib = Blank(24, 1, bits, 0xA5);
    for (int left = 0; left < 24; ++left) {
      for (int right = left + 1; right <= 24; ++right) {
        Painted painted(24, 1);
        for (int x = 0; x < 24; ++x) painted.At(x, 0) = 0x12345678;
        CoreDib copy;
        ASSERT_TRUE(copy.CopyFrom(dib));
        tovmx::PixelExchange(copy).Load({left, 0, right, 1}, painted.get());
        for (int x = 0; x < 24; ++x) {
          ASSERT_EQ(painted.At(x, 0) == 0x12345678, x < left || x >= right)
              << x << " of " << left << " to " << right << ", " << bits << " bits";
        }
      }
    }
  }
}

TEST(DevicePixels, LoadingAndStoringKeepsTheBitsOfEveryDepth) {
  std::mt19937 random(3);
  for (const int bits : {1, 4, 8, 24, 32}) {
    CoreDib dib = Blank(37, 11, bits);
    for (std::size_t i = 0; i < dib.GetBufferSize(); ++i)
      dib.GetBuffer()[i] = static_cast<std::uint8_t>(random());
    const std::vector<std::uint8_t> before(dib.GetBuffer(), dib.GetBuffer() + dib.GetBufferSize());
    Painted painted(37, 11);
    tovmx::PixelExchange(dib).Load(All(dib), painted.get());
    for (int y = 0; y < 11; ++y) {
      for (int x = 0; x < 37; ++x) {
        const std::uint32_t color = dib.GetArgb(x, y);
        const unsigned alpha = color >> 24;
        for (const int shift : {0, 8, 16}) {
          ASSERT_EQ(Part(painted.At(x, y), shift), std::lround(Part(color, shift) * alpha / 255.0));
        }
        ASSERT_EQ(painted.At(x, y) >> 24, alpha);
      }
    }
    Store(painted.get(), dib);
    EXPECT_EQ(std::vector<std::uint8_t>(dib.GetBuffer(), dib.GetBuffer() + dib.GetBufferSize()), before)
        << bits;
  }
}

TEST(DevicePixels, ABoxWithoutAreaAddsNothing) {
  const Box none[] = {{}, {1, 1, 1, 5}, {1, 1, 5, 1}, {5, 1, 1, 5}, {1, 5, 5, 1}};
  for (const Box& empty : none) {
    EXPECT_TRUE(empty.IsEmpty());
    Box box = {2, 3, 4, 6};
    box.Add(empty);
    EXPECT_TRUE(box.left == 2 && box.top == 3 && box.right == 4 && box.bottom == 6);
    Box first = empty;
    first.Add({2, 3, 4, 6});
    EXPECT_TRUE(first.left == 2 && first.top == 3 && first.right == 4 && first.bottom == 6);
  }
  Box both = {2, 3, 4, 6};
  both.Add({1, 4, 3, 7});
  both.Add({3, 2, 5, 4});
  EXPECT_TRUE(both.left == 1 && both.top == 2 && both.right == 5 && both.bottom == 7);
}

// As if each pixel were taken and put by itself; what an area leaves out stays.
void StorePlainly(Painted& painted, const PixelArea& area, CoreDib& dib) {
  for (int y = area.top; y < area.bottom; ++y) {
    for (int x = area.left; x < area.right; ++x) {
      const std::uint32_t color = painted.At(x, y);
      if (color == tovmx::Premultiplied(dib.GetArgb(x, y))) continue;
      CoreDib one = Blank(1, 1, dib.GetBitsPerPixel());
      std::vector<std::uint32_t> entries;
      for (int i = 0; i < dib.GetPaletteSize(); ++i) entries.push_back(dib.GetPaletteEntry(i));
      EXPECT_TRUE(one.SetPalette(entries.data(), dib.GetPaletteSize()));
      const int bits = dib.GetBitsPerPixel();
      if (bits <= 8) {
        Painted pixel(1, 1);
        pixel.At(0, 0) = color;
        Store(pixel.get(), one);  // index 0 stays only where it has the color or is nearest
        tovmx::SetPackedIndex(dib.GetRow(y), static_cast<std::size_t>(x), static_cast<unsigned>(bits),
                              IndexAt(one, 0, 0));
      } else {
        const std::uint32_t value = tovmx::Straight(color);
        std::memcpy(dib.GetRow(y) + x * (bits / 8), &value, static_cast<std::size_t>(bits / 8));
      }
    }
  }
}

// Opaque, clear and translucent pixels in rows of any length, from any column on.
TEST(DevicePixels, RowsAreStoredAsTheirPixelsAre) {
  std::mt19937 random(4);
  for (const int bits : {1, 4, 8, 24, 32}) {
    for (int round = 0; round < 300; ++round) {
      const int width = 1 + static_cast<int>(random() % 40);
      CoreDib dib = Blank(width, 3, bits);
      for (std::size_t i = 0; i < dib.GetBufferSize(); ++i) {
        dib.GetBuffer()[i] = static_cast<std::uint8_t>(random() % 3 == 0 ? 255 : random());
      }
      if (bits <= 8 && round % 2 == 0) {
        std::vector<std::uint32_t> entries(1 + random() % (1U << bits));
        for (std::uint32_t& entry : entries) entry = random() % 4 * 0x3F2010;
        ASSERT_TRUE(dib.SetPalette(entries.data(), static_cast<int>(entries.size())));
      }
      Painted painted(width, 3);
      tovmx::PixelExchange(dib).Load(All(dib), painted.get());
      for (int i = 0; i < 3 * width; ++i) {
        const std::uint32_t alpha = random() % 3 == 0 ? random() % 256 : random() % 2 * 255;
        const auto part = [&] { return alpha == 0 ? 0 : static_cast<std::uint32_t>(random() % (alpha + 1)); };
        if (random() % 2 == 0)
          painted.At(i % width, i / width) = alpha << 24 | part() << 16 | part() << 8 | part();
      }
      const int left = static_cast<int>(random() % static_cast<unsigned>(width));
      const PixelArea area = {left, 1,
                              left + 1 + static_cast<int>(random() % static_cast<unsigned>(width - left)), 3};
      CoreDib plain;
      ASSERT_TRUE(plain.CopyFrom(dib));
      StorePlainly(painted, area, plain);
      tovmx::PixelExchange(dib).Store(painted.get(), area);
      ASSERT_EQ(std::memcmp(dib.GetBuffer(), plain.GetBuffer(), dib.GetBufferSize()), 0)
          << bits << " bits, round " << round;
    }
  }
}

TEST(DevicePixels, OneColorEverywhereIsWhatStoringItFromASurfaceIs) {
  std::mt19937 random(5);
  for (const int bits : {1, 4, 8, 24, 32}) {
    for (int round = 0; round < 200; ++round) {
      const int width = 1 + static_cast<int>(random() % 40);
      CoreDib dib = Blank(width, 3, bits);
      for (std::size_t i = 0; i < dib.GetBufferSize(); ++i) {
        dib.GetBuffer()[i] = static_cast<std::uint8_t>(random());
      }
      const std::vector<std::uint32_t> entries = {0x3F2010, 0, 0x3F2010};
      ASSERT_TRUE(dib.SetPalette(entries.data(), bits == 8 && round % 2 == 0 ? 3 : 0));
      const std::uint32_t colors[] = {0xFF10203F, 0, 0x80402010, 0xFFFFFFFF, dib.GetArgb(0, 0)};
      const std::uint32_t color = tovmx::Premultiplied(colors[random() % 5]);
      CoreDib stored;
      ASSERT_TRUE(stored.CopyFrom(dib));
      Painted painted(width, 3);
      tovmx::FillPixels(painted.get(), All(dib), color);
      Store(painted.get(), stored);
      tovmx::PixelExchange(dib).StoreEverywhere(color);
      ASSERT_EQ(std::memcmp(dib.GetBuffer(), stored.GetBuffer(), dib.GetBufferSize()), 0)
          << bits << " bits, " << std::hex << color;
    }
  }
}

TEST(DevicePixels, AnotherPaletteIsTakenForWhatItIs) {
  CoreDib dib = Blank(2, 1, 8);
  const std::uint32_t first[] = {0x000000, 0x0000FF};
  const std::uint32_t second[] = {0x0000FF, 0x000000};
  ASSERT_TRUE(dib.SetPalette(first, 2));
  tovmx::PixelExchange exchange(dib);
  Painted painted(2, 1);
  painted.At(0, 0) = painted.At(1, 0) = 0xFFF00000;
  exchange.Store(painted.get(), All(dib));
  EXPECT_EQ(dib.GetRow(0)[0], 1);
  ASSERT_TRUE(dib.SetPalette(second, 2));
  exchange.ReadPalette();
  exchange.Store(painted.get(), All(dib));
  EXPECT_EQ(dib.GetRow(0)[0], 0);
}

TEST(DevicePixels, OneTranslucentPixelAnywhereMakesABitmapTranslucent) {
  CoreDib dib = Blank(5, 4, 32, 255);
  for (int i = 0; i < 20; ++i) std::memset(dib.GetRow(i / 5) + i % 5 * 4, i, 3);  // colors do not matter
  EXPECT_TRUE(tovmx::IsOpaque(dib, All(dib)));
  for (int i = 0; i < 20; ++i) {
    std::uint8_t& alpha = dib.GetRow(i / 5)[i % 5 * 4 + 3];
    for (int value = 0; value < 255; ++value) {
      alpha = static_cast<std::uint8_t>(value);
      ASSERT_FALSE(tovmx::IsOpaque(dib, All(dib))) << i << ' ' << value;
    }
    EXPECT_TRUE(tovmx::IsOpaque(dib, {0, 0, 5, i / 5})) << i;
    EXPECT_TRUE(tovmx::IsOpaque(dib, {i % 5 + 1, 0, 5, 4})) << i;
    alpha = 255;
  }
}

// ---- Which parts of a page are touched

std::int64_t PixelsIn(const tovmx::Damage& damage) {
  std::int64_t sum = 0;
  for (const PixelArea& area : damage) sum += area.Size();
  return sum;
}

TEST(Damage, TwoCornersAreNotThePage) {
  tovmx::Damage damage;
  damage.Add({0, 0, 100, 20});
  damage.Add({2900, 3980, 3000, 4000});
  EXPECT_EQ(PixelsIn(damage), 4000);
  damage.Add({0, 20, 100, 40});  // beside the first
  EXPECT_EQ(PixelsIn(damage), 6000);
  EXPECT_EQ(damage.end() - damage.begin(), 2);
  damage.Clear();
  EXPECT_EQ(PixelsIn(damage), 0);
}

TEST(Damage, NothingIsLostAndTheAreasStayFew) {
  std::mt19937 random(6);
  constexpr int kSide = 100;
  for (int round = 0; round < 50; ++round) {
    tovmx::Damage damage;
    std::vector<char> touched(kSide * kSide);
    for (int i = 0; i < 60; ++i) {
      const int left = static_cast<int>(random() % kSide);
      const int top = static_cast<int>(random() % kSide);
      const PixelArea area = {left, top, std::min(kSide, left + static_cast<int>(random() % 9)),
                              std::min(kSide, top + static_cast<int>(random() % 9))};
      damage.Add(area);
      for (int y = area.top; y < area.bottom; ++y) {
        for (int x = area.left; x < area.right; ++x) touched[static_cast<std::size_t>(y * kSide + x)] = 1;
      }
    }
    EXPECT_LE(damage.end() - damage.begin(), 16);
    for (const PixelArea& area : damage) {
      for (int y = area.top; y < area.bottom; ++y) {
        for (int x = area.left; x < area.right; ++x) touched[static_cast<std::size_t>(y * kSide + x)] = 0;
      }
    }
    EXPECT_EQ(std::count(touched.begin(), touched.end(), 1), 0);
  }
}

TEST(Tiles, EachTileIsMadeReadyOnce) {
  tovmx::Tiles tiles(150, 20);
  std::int64_t made = 0;
  const auto make = [&made](const PixelArea& tile) {
    made += tile.Size();
    return true;
  };
  ASSERT_TRUE(tiles.MakeReady({63, 7, 65, 9}, make));
  EXPECT_EQ(made, 4 * 64 * 8);
  ASSERT_TRUE(tiles.MakeReady({0, 0, 128, 16}, make));
  EXPECT_EQ(made, 4 * 64 * 8);
  ASSERT_TRUE(tiles.MakeReady({0, 0, 150, 20}, make));
  EXPECT_EQ(made, 150 * 20);
  std::int64_t ready = 0;
  const auto count = [&ready](const PixelArea& part) { ready += part.Size(); };
  tiles.ForEachReady({3, 5, 149, 19}, count);
  EXPECT_EQ(ready, 146 * 14);
  tiles.SetAll(false);
  EXPECT_FALSE(tiles.MakeReady({0, 0, 1, 1}, [](const PixelArea&) { return false; }));
  ASSERT_TRUE(tiles.MakeReady({0, 0, 1, 1}, make));
  EXPECT_EQ(made, 150 * 20 + 64 * 8) << "what could not be made ready is not";
  ready = 0;
  tiles.ForEachReady({3, 5, 149, 19}, count);
  EXPECT_EQ(ready, 61 * 3) << "of one tile";
}

}  // namespace
