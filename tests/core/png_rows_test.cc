// SPDX-License-Identifier: MIT
// How rows are filtered, and whether: where there is a choice, stripes of the picture are tried.
#include "codec/png_rows.h"

#include "codec/deflate.h"
#include "codec/png_filter.h"
#include "image_support.h"

#include <tovmx/geometry.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

namespace {

using tovmx::ChooseFiltering;
using tovmx::PngFiltering;
using tovmx::PngRowFilter;

// What eight stripes of the picture, the first at its top and the last at its bottom, come to.
std::size_t Sampled(const CoreDib& dib, PngFiltering filtering) {
  const std::size_t row = PngRowFilter::RowBytes(dib) + 1;
  int rows = static_cast<int>(131072 / row);
  if (rows > dib.GetHeight()) rows = dib.GetHeight();
  rows = rows < 8 ? 1 : rows / 8;
  const int stripes = dib.GetHeight() / rows < 8 ? dib.GetHeight() / rows : 8;
  std::vector<std::uint8_t> sample(row * static_cast<std::size_t>(rows * stripes) + tovmx::kPngRowSlack);
  PngRowFilter filter(dib, filtering);
  std::uint8_t* end = sample.data();
  for (int i = 0; i < stripes; ++i) {
    const int first = stripes == 1 ? 0 : (dib.GetHeight() - rows) * i / (stripes - 1);
    end = filter.Filter(first, first + rows, end);
  }
  return tovmx::Deflate(sample.data(), row * static_cast<std::size_t>(rows * stripes), 1).size;
}

// Bands that are smaller with filters and such that are not, at random places.
CoreDib Banded(int width, int height, int bits, unsigned seed) {
  CoreDib dib;
  EXPECT_TRUE(dib.Create(width, height, bits));
  if (bits == 8) image::GivePalette(dib, 256);
  unsigned state = seed * 2654435761U + 1;
  const auto next = [&state] { return (state = state * 1664525U + 1013904223U) >> 16; };
  bool slopes = false;
  unsigned base = 0;
  for (int y = 0; y < height; ++y) {
    if (y == 0 || next() % 17 == 0) {
      slopes = next() % 2 == 0;
      base = next();
    }
    std::uint8_t* row = dib.GetRow(y);
    for (std::size_t i = 0; i < PngRowFilter::RowBytes(dib); ++i) {
      const unsigned at = static_cast<unsigned>(i);
      row[i] = static_cast<std::uint8_t>(slopes ? base + at * 3 + static_cast<unsigned>(y) * 5 + next() % 3
                                                : (at / 7 * 31 + base) % 5 * 50 + (next() % 9 == 0 ? 1 : 0));
    }
  }
  return dib;
}

TEST(PngRows, TheChoiceIsThatOfEightStripes) {
  int filtered = 0, plain = 0;
  unsigned seed = 0;
  const CoreSize sizes[] = {{1, 1},   {3, 2},    {40, 7},   {40, 8},    {40, 9},     {50, 64},
                            {50, 70}, {90, 333}, {5, 1000}, {700, 900}, {20000, 20}, {140000, 3}};
  for (const CoreSize size : sizes) {
    for (const int bits : {1, 4, 8}) {
      for (int i = 0; i < 6; ++i) {
        const CoreDib dib = Banded(size.width, size.height, bits, ++seed);
        const bool wins = Sampled(dib, PngFiltering::kLeast) < Sampled(dib, PngFiltering::kNone);
        EXPECT_EQ(ChooseFiltering(dib), wins ? PngFiltering::kLeast : PngFiltering::kNone)
            << image::Describe(kCoreImagePng, dib) << ", " << seed;
        ++(wins ? filtered : plain);
      }
    }
  }
  EXPECT_GE(filtered, 20);
  EXPECT_GE(plain, 20);
}

// Rows are filtered with those above them, whichever is the first that is asked for.
TEST(PngRows, APartIsThatOfTheWhole) {
  for (const int bits : {1, 4, 8, 24, 32}) {
    const CoreDib dib = image::MakePicture(30, 9, bits);
    const std::size_t row = PngRowFilter::FilteredRowBytes(dib);
    for (const PngFiltering filtering : {PngFiltering::kNone, PngFiltering::kLeast}) {
      std::vector<std::uint8_t> whole(9 * row + tovmx::kPngRowSlack), part(whole.size());
      EXPECT_EQ(PngRowFilter(dib, filtering).Filter(0, 9, whole.data()), whole.data() + 9 * row);
      for (int first = 0; first < 9; ++first) {
        const std::size_t size = row * static_cast<std::size_t>(9 - first);
        EXPECT_EQ(PngRowFilter(dib, filtering).Filter(first, 9, part.data()), part.data() + size);
        EXPECT_TRUE(std::equal(part.data(), part.data() + size, whole.data() + 9 * row - size))
            << bits << " bits from row " << first;
      }
    }
  }
}

TEST(PngRows, WithoutAPaletteWholeBytesAreFiltered) {
  for (const int bits : {8, 24, 32}) {
    CoreDib dib;
    ASSERT_TRUE(dib.Create(50, 50, bits));
    EXPECT_EQ(ChooseFiltering(dib), PngFiltering::kLeast) << "even where nothing comes of it";
  }
  CoreDib palette;
  ASSERT_TRUE(palette.Create(50, 50, 8));
  image::GivePalette(palette, 3);
  EXPECT_EQ(ChooseFiltering(palette), PngFiltering::kNone);
}

// The content of the file's only chunk of pixels.
std::string PixelsOf(const std::string& file) {
  const std::size_t at = file.find("IDAT");
  EXPECT_NE(at, std::string::npos);
  EXPECT_EQ(file.find("IDAT", at + 4), std::string::npos);
  std::size_t size = 0;
  for (std::size_t i = at - 4; i < at; ++i) size = size << 8 | static_cast<unsigned char>(file[i]);
  return file.substr(at + 4, size);
}

// In indices there is little to find but matches.
TEST(PngRows, IndicesAreLookedThroughLonger) {
  for (const int bits : {1, 4, 8, 24, 32}) {
    for (const bool palette : {false, true}) {
      if (palette && bits > 8) continue;
      CoreDib dib = Banded(120, 90, bits, static_cast<unsigned>(bits));
      if (palette) {
        image::GivePalette(dib, 1 << bits);
      } else if (bits == 8) {
        dib = image::MakePicture(120, 90, bits);
      }
      const std::size_t size = (PngRowFilter::RowBytes(dib) + 1) * 90;
      std::vector<std::uint8_t> rows(size + tovmx::kPngRowSlack);
      PngRowFilter(dib, ChooseFiltering(dib)).Filter(0, 90, rows.data());
      for (int effort = 1; effort <= 9; ++effort) {
        const auto encoder = CoreCodecRegistry::Get().GetFactory().CreateEncoder(kCoreImagePng);
        ASSERT_TRUE(CoreSetEffort(encoder.get(), effort));
        CoreMemoryOutputStream out;
        ASSERT_NE(encoder->Encode(&dib, &out), 0u);
        const tovmx::Deflated expected = tovmx::Deflate(rows.data(), size, palette ? effort + 1 : effort);
        EXPECT_TRUE(PixelsOf({reinterpret_cast<const char*>(out.GetData()), out.GetSize()}) ==
                    std::string(reinterpret_cast<const char*>(expected.bytes.get()), expected.size))
            << bits << " bits, " << (palette ? "a palette, " : "") << effort;
      }
    }
  }
}

}  // namespace
