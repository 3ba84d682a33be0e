// SPDX-License-Identifier: MIT
#include "image_support.h"

#include <tovmx/dib.h>

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <utility>

namespace {

TEST(CoreDib, RowsArePaddedToFourBytes) {
  const struct {
    int width, bits, stride;
  } cases[] = {{1, 1, 4}, {32, 1, 4}, {33, 1, 8},  {1, 4, 4},   {8, 4, 4},  {9, 4, 8},  {1, 8, 4},
               {5, 8, 8}, {1, 24, 4}, {3, 24, 12}, {5, 24, 16}, {1, 32, 4}, {3, 32, 12}};
  for (const auto& c : cases) {
    CoreDib dib;
    ASSERT_TRUE(dib.Create(c.width, 3, c.bits));
    EXPECT_EQ(dib.GetStride(), c.stride) << c.width << " pixels of " << c.bits;
    EXPECT_EQ(dib.GetBufferSize(), static_cast<std::size_t>(c.stride) * 3);
    EXPECT_EQ(CoreDib::BytesNeeded(c.width, 3, c.bits), dib.GetBufferSize());
    for (std::size_t i = 0; i < dib.GetBufferSize(); ++i) ASSERT_EQ(dib.GetBuffer()[i], 0);
  }
}

TEST(CoreDib, CreateRefusesAndChangesNothing) {
  CoreDib dib;
  ASSERT_TRUE(dib.Create(2, 3, 24));
  const struct {
    int width, height, bits;
  } cases[] = {{0, 1, 24}, {1, 0, 24}, {-1, 1, 24}, {1, INT_MIN, 24}, {1, 1, 2},
               {1, 1, 16}, {1, 1, 0},  {1, 1, -8},  {INT_MAX, 1, 24}, {INT_MAX, INT_MAX, 8}};
  for (const auto& c : cases) {
    EXPECT_FALSE(dib.Create(c.width, c.height, c.bits)) << c.width << "x" << c.height << " of " << c.bits;
    EXPECT_EQ(dib.GetWidth(), 2);
    EXPECT_EQ(dib.GetHeight(), 3);
  }
}

TEST(CoreDib, CreateForgetsWhatWasThere) {
  CoreDib dib;
  ASSERT_TRUE(dib.Create(4, 4, 8));
  const std::uint32_t entries[] = {1, 2, 3};
  ASSERT_TRUE(dib.SetPalette(entries, 3));
  ASSERT_TRUE(dib.SetPaletteAlpha(1, 9));
  dib.SetDpi(72, 96);
  dib.GetRow(1)[1] = 5;
  ASSERT_TRUE(dib.Create(3, 5, 4));
  EXPECT_EQ(dib.GetWidth(), 3);
  EXPECT_EQ(dib.GetHeight(), 5);
  EXPECT_EQ(dib.GetBitsPerPixel(), 4);
  EXPECT_EQ(dib.GetDpiX(), 0);
  EXPECT_EQ(dib.GetDpiY(), 0);
  EXPECT_EQ(dib.GetPaletteSize(), 0);
  EXPECT_EQ(dib.GetPaletteAlpha(1), 255);
  EXPECT_FALSE(dib.HasAlpha());
  for (std::size_t i = 0; i < dib.GetBufferSize(); ++i) EXPECT_EQ(dib.GetBuffer()[i], 0);
}

TEST(CoreDib, EmptyHasNoPixels) {
  CoreDib dib;
  EXPECT_EQ(dib.GetBuffer(), nullptr);
  EXPECT_EQ(dib.GetBufferSize(), 0u);
  EXPECT_FALSE(dib.HasAlpha());
  CoreDib copy;
  ASSERT_TRUE(copy.Create(1, 1, 8));
  EXPECT_TRUE(copy.CopyFrom(dib));
  EXPECT_EQ(copy.GetBuffer(), nullptr);
}

TEST(CoreDib, PaletteKeepsColorsAndAlpha) {
  CoreDib dib;
  ASSERT_TRUE(dib.Create(1, 1, 4));
  const std::uint32_t entries[] = {0xff112233, 0x445566};
  ASSERT_TRUE(dib.SetPalette(entries, 2));
  EXPECT_EQ(dib.GetPaletteSize(), 2);
  EXPECT_EQ(dib.GetPaletteEntry(0), 0x112233u);
  EXPECT_EQ(dib.GetPaletteEntry(2), 0u);
  EXPECT_EQ(dib.GetPaletteEntry(-1), 0u);
  EXPECT_EQ(dib.GetPaletteAlpha(0), 255);
  EXPECT_FALSE(dib.HasAlpha());
  EXPECT_TRUE(dib.SetPaletteAlpha(1, 7));
  EXPECT_FALSE(dib.SetPaletteAlpha(2, 7));
  EXPECT_EQ(dib.GetPaletteAlpha(0), 255);
  EXPECT_EQ(dib.GetPaletteAlpha(1), 7);
  EXPECT_TRUE(dib.HasAlpha());
  EXPECT_TRUE(dib.SetPaletteAlpha(1, 255));
  EXPECT_FALSE(dib.HasAlpha()) << "all opaque again";
  EXPECT_TRUE(dib.SetPalette(nullptr, 0));
  EXPECT_EQ(dib.GetPaletteSize(), 0);
}

TEST(CoreDib, PaletteRefusals) {
  const std::uint32_t entries[257] = {};
  CoreDib dib;
  EXPECT_FALSE(dib.SetPalette(entries, 1)) << "no pixels";
  ASSERT_TRUE(dib.Create(1, 1, 1));
  EXPECT_FALSE(dib.SetPalette(entries, 3));
  EXPECT_FALSE(dib.SetPalette(entries, -1));
  EXPECT_FALSE(dib.SetPalette(nullptr, 1));
  ASSERT_TRUE(dib.Create(1, 1, 8));
  EXPECT_TRUE(dib.SetPalette(entries, 256));
  EXPECT_FALSE(dib.SetPalette(entries, 257));
  ASSERT_TRUE(dib.Create(1, 1, 24));
  EXPECT_FALSE(dib.SetPalette(entries, 1));
}

TEST(CoreDib, GetArgbReadsEveryDepth) {
  CoreDib dib;
  ASSERT_TRUE(dib.Create(10, 2, 1));
  dib.GetRow(1)[1] = 0x40;
  EXPECT_EQ(dib.GetArgb(9, 1), 0xffffffffu);
  EXPECT_EQ(dib.GetArgb(8, 1), 0xff000000u);
  ASSERT_TRUE(dib.Create(3, 1, 4));
  dib.GetRow(0)[0] = 0x5a;
  EXPECT_EQ(dib.GetArgb(0, 0), 0xff555555u);
  EXPECT_EQ(dib.GetArgb(1, 0), 0xffaaaaaau);
  const std::uint32_t entries[6] = {0, 0, 0, 0, 0, 0x302010};
  ASSERT_TRUE(dib.SetPalette(entries, 6));
  EXPECT_EQ(dib.GetArgb(0, 0), 0xff102030u);
  EXPECT_EQ(dib.GetArgb(1, 0), 0xff000000u) << "an index that the palette lacks";
  ASSERT_TRUE(dib.Create(1, 1, 8));
  dib.GetRow(0)[0] = 0x7f;
  EXPECT_EQ(dib.GetArgb(0, 0), 0xff7f7f7fu);
  ASSERT_TRUE(dib.Create(2, 1, 24));
  dib.GetRow(0)[3] = 1, dib.GetRow(0)[4] = 2, dib.GetRow(0)[5] = 3;
  EXPECT_EQ(dib.GetArgb(1, 0), 0xff030201u);
  ASSERT_TRUE(dib.Create(2, 1, 32));
  dib.GetRow(0)[4] = 1, dib.GetRow(0)[5] = 2, dib.GetRow(0)[6] = 3, dib.GetRow(0)[7] = 4;
  EXPECT_EQ(dib.GetArgb(1, 0), 0x04030201u);
}

TEST(CoreDib, DpiIsPositiveAndFiniteOrUnknown) {
  CoreDib dib;
  dib.SetDpi(300, 150.5f);
  EXPECT_EQ(dib.GetDpiX(), 300);
  EXPECT_EQ(dib.GetDpiY(), 150.5f);
  dib.SetDpi(NAN, -1);
  EXPECT_EQ(dib.GetDpiX(), 0);
  EXPECT_EQ(dib.GetDpiY(), 0);
  dib.SetDpi(INFINITY, 72);
  EXPECT_EQ(dib.GetDpiX(), 0);
}

TEST(CoreDib, CopyAndMoveCarryEverything) {
  CoreDib dib;
  ASSERT_TRUE(dib.Create(2, 2, 8));
  dib.GetRow(1)[1] = 1;
  const std::uint32_t entries[] = {0, 0xabcdef};
  ASSERT_TRUE(dib.SetPalette(entries, 2));
  dib.SetPaletteAlpha(0, 3);
  dib.SetDpi(96, 97);
  CoreDib copy;
  ASSERT_TRUE(copy.CopyFrom(dib));
  ASSERT_TRUE(copy.CopyFrom(copy));
  dib.GetRow(1)[1] = 0;
  const CoreDib moved(std::move(copy));
  EXPECT_EQ(moved.GetArgb(1, 1), 0xffefcdabu);
  EXPECT_EQ(moved.GetArgb(0, 0), 0x03000000u);
  EXPECT_EQ(moved.GetDpiY(), 97);
}

TEST(CoreDib, PremultiplyRoundsAndUnpremultiplyUndoesItForEveryOpaqueAndPremultipliedValue) {
  CoreDib dib;
  ASSERT_TRUE(dib.Create(256, 256, 32));
  for (int y = 0; y < 256; ++y) {
    for (int x = 0; x < 256; ++x) {
      std::uint8_t* p = dib.GetRow(y) + 4 * x;
      p[0] = p[1] = p[2] = static_cast<std::uint8_t>(x);
      p[3] = static_cast<std::uint8_t>(y);
    }
  }
  dib.Premultiply();
  CoreDib once;
  ASSERT_TRUE(once.CopyFrom(dib));
  for (int y = 0; y < 256; ++y) {
    for (int x = 0; x < 256; ++x) {
      ASSERT_EQ(dib.GetRow(y)[4 * x], std::lround(x * y / 255.0)) << x << " with alpha " << y;
      ASSERT_EQ(dib.GetRow(y)[4 * x + 3], y);
    }
  }
  dib.Unpremultiply();
  for (int x = 0; x < 256; ++x) ASSERT_EQ(dib.GetRow(255)[4 * x], x);
  dib.Premultiply();
  for (std::size_t i = 0; i < dib.GetBufferSize(); ++i) ASSERT_EQ(dib.GetBuffer()[i], once.GetBuffer()[i]);
}

TEST(CoreDib, UnpremultiplyClampsColorsAboveTheirAlpha) {
  CoreDib dib;
  ASSERT_TRUE(dib.Create(1, 1, 32));
  dib.GetRow(0)[0] = 200;
  dib.GetRow(0)[3] = 100;
  dib.Unpremultiply();
  EXPECT_EQ(dib.GetRow(0)[0], 255);
}

TEST(CoreDib, PremultiplyLeavesOtherDepthsAlone) {
  CoreDib dib;
  ASSERT_TRUE(dib.Create(4, 1, 24));
  dib.GetRow(0)[0] = 9;
  dib.Premultiply();
  dib.Unpremultiply();
  EXPECT_EQ(dib.GetRow(0)[0], 9);
}

TEST(CoreDib, APaletteThatShrinksForgetsItsEnd) {
  CoreDib dib;
  ASSERT_TRUE(dib.Create(4, 4, 4));
  std::uint32_t entries[16];
  for (std::uint32_t i = 0; i < 16; ++i) entries[i] = 0x030407 + 0x101010 * i;
  ASSERT_TRUE(dib.SetPalette(entries, 16));
  ASSERT_TRUE(dib.SetPaletteAlpha(1, 99));
  EXPECT_TRUE(dib.HasAlpha());
  ASSERT_TRUE(dib.SetPalette(entries, 3));
  EXPECT_FALSE(dib.HasAlpha()) << "new colors are opaque";
  EXPECT_EQ(dib.GetPaletteAlpha(1), 255);
  EXPECT_EQ(dib.GetPaletteEntry(2), entries[2]);
  for (const int none : {-1, 3, 4, 15, 16, 1000}) EXPECT_EQ(dib.GetPaletteEntry(none), 0u) << none;
  ASSERT_TRUE(dib.SetPaletteAlpha(2, 255));
  EXPECT_FALSE(dib.HasAlpha()) << "255 is what it was";
}

TEST(CoreDib, EveryPartOfAPalettesColorIsItsOwn) {
  CoreDib dib;
  ASSERT_TRUE(dib.Create(1, 1, 8));
  for (int bit = 0; bit < 24; ++bit) {
    const std::uint32_t entry = 1U << bit;
    ASSERT_TRUE(dib.SetPalette(&entry, 1));
    const std::uint32_t red = entry & 255, green = entry >> 8 & 255, blue = entry >> 16;
    EXPECT_EQ(dib.GetArgb(0, 0), 0xff000000 | red << 16 | green << 8 | blue) << bit;
  }
}

TEST(CoreDib, ACopyAndAResizedOneHaveTheirResolution) {
  CoreDib dib = image::MakePicture(20, 10, 24), copy, resized;
  dib.SetDpi(72, 144);
  ASSERT_TRUE(copy.CopyFrom(dib));
  EXPECT_EQ(copy.GetDpiX(), 72);
  EXPECT_EQ(copy.GetDpiY(), 144);
  ASSERT_TRUE(CoreResample(dib, 40, 30, kCoreFilterTriangle, resized));
  EXPECT_EQ(resized.GetDpiX(), 144) << "as large on paper as before";
  EXPECT_EQ(resized.GetDpiY(), 432);
}

}  // namespace
