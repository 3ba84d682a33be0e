// SPDX-License-Identifier: MIT
// The pixels between a bitmap of any depth and the surface that is painted on, beside a plain computation.
#include "device/pixels.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <vector>

namespace {

using tovmx::Box;

constexpr Box kEverywhere = {-1e9, -1e9, 1e9, 1e9};

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
  tovmx::StorePixels(painted.get(), kEverywhere, dib);
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
    tovmx::StorePixels(painted.get(), kEverywhere, dib);
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
    tovmx::StorePixels(painted.get(), area, dib);
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

TEST(DevicePixels, LoadingAndStoringKeepsTheBitsOfEveryDepth) {
  std::mt19937 random(3);
  for (const int bits : {1, 4, 8, 24, 32}) {
    CoreDib dib = Blank(37, 11, bits);
    for (std::size_t i = 0; i < dib.GetBufferSize(); ++i)
      dib.GetBuffer()[i] = static_cast<std::uint8_t>(random());
    const std::vector<std::uint8_t> before(dib.GetBuffer(), dib.GetBuffer() + dib.GetBufferSize());
    Painted painted(37, 11);
    tovmx::LoadPixels(dib, painted.get());
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
    tovmx::StorePixels(painted.get(), kEverywhere, dib);
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

TEST(DevicePixels, OneTranslucentPixelAnywhereMakesABitmapTranslucent) {
  for (const int bits : {1, 4, 8, 24}) EXPECT_FALSE(tovmx::IsOpaque32(Blank(5, 4, bits, 255))) << bits;
  CoreDib dib = Blank(5, 4, 32, 255);
  for (int i = 0; i < 20; ++i) std::memset(dib.GetRow(i / 5) + i % 5 * 4, i, 3);  // colors do not matter
  EXPECT_TRUE(tovmx::IsOpaque32(dib));
  for (int i = 0; i < 20; ++i) {
    std::uint8_t& alpha = dib.GetRow(i / 5)[i % 5 * 4 + 3];
    for (int value = 0; value < 255; ++value) {
      alpha = static_cast<std::uint8_t>(value);
      ASSERT_FALSE(tovmx::IsOpaque32(dib)) << i << ' ' << value;
    }
    alpha = 255;
  }
}

}  // namespace
