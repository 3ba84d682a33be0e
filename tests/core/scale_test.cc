// SPDX-License-Identifier: MIT
// Rows in plain layouts and scaled bitmaps, compared with the same worked out pixel by pixel.
#include "bitmap/scale.h"

#include "bitmap/row_reader.h"
#include "image_support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

using tovmx::RowLayout;
using tovmx::RowReader;

namespace {

// A bitmap of every kind: each depth, without a palette, with one, with a short one, and with alpha in it.
std::vector<CoreDib> Pictures(int width, int height) {
  std::vector<CoreDib> pictures;
  for (const int bits : {1, 4, 8, 24, 32}) {
    pictures.push_back(image::MakePicture(width, height, bits));
    if (bits > 8) continue;
    for (const int missing : {0, 1}) {
      for (const bool alpha : {false, true}) {
        CoreDib dib = image::MakePicture(width, height, bits);
        const int count = (1 << bits) - missing;
        image::GivePalette(dib, count);
        for (int i = 0; alpha && i < count; ++i)
          EXPECT_TRUE(dib.SetPaletteAlpha(i, static_cast<std::uint8_t>(i * 255 / count)));
        pictures.push_back(std::move(dib));
      }
    }
  }
  CoreDib opaque = image::MakePicture(width, height, 32);
  for (std::size_t i = 3; i < opaque.GetBufferSize(); i += 4) opaque.GetBuffer()[i] = 255;
  pictures.push_back(std::move(opaque));
  return pictures;
}

std::string Describe(const CoreDib& dib) {
  return std::to_string(dib.GetBitsPerPixel()) + " bits, " + std::to_string(dib.GetPaletteSize()) +
         " colors" + (dib.HasAlpha() ? " with alpha" : "");
}

// Blue, green, red and alpha.
std::array<unsigned, 4> PartsOf(std::uint32_t argb) {
  return {argb & 255U, argb >> 8 & 255U, argb >> 16 & 255U, argb >> 24};
}

std::vector<std::uint8_t> ExpectedRow(const CoreDib& dib, RowLayout layout, int y) {
  std::vector<std::uint8_t> row;
  for (int x = 0; x < dib.GetWidth(); ++x) {
    std::array<unsigned, 4> parts = PartsOf(dib.GetArgb(x, y));
    const int bytes = tovmx::BytesPerPixel(layout);
    for (int c = 0; bytes == 3 && c < 3; ++c) {
      unsigned& part = parts[static_cast<std::size_t>(c)];
      part = static_cast<unsigned>(std::lround((part * parts[3] + 255.0 * (255 - parts[3])) / 255));
    }
    if (layout == RowLayout::kRgb || layout == RowLayout::kRgba) std::swap(parts[0], parts[2]);
    for (int c = 0; c < bytes; ++c)
      row.push_back(static_cast<std::uint8_t>(parts[static_cast<std::size_t>(c)]));
  }
  return row;
}

TEST(RowReader, EveryBitmapInEveryLayout) {
  for (const int width : {1, 2, 9, 33}) {
    for (const CoreDib& dib : Pictures(width, 6)) {
      for (const RowLayout layout :
           {RowLayout::kGray, RowLayout::kBgr, RowLayout::kRgb, RowLayout::kBgra, RowLayout::kRgba}) {
        if (layout == RowLayout::kGray && (dib.GetBitsPerPixel() > 8 || dib.GetPaletteSize() != 0)) continue;
        RowReader rows(dib, layout);
        for (const int y : {0, 5, 2, 2}) {
          const std::vector<std::uint8_t> expected = ExpectedRow(dib, layout, y);
          ASSERT_EQ(std::memcmp(rows.Row(y), expected.data(), expected.size()), 0)
              << Describe(dib) << ", layout " << static_cast<int>(layout) << ", row " << y;
        }
      }
    }
  }
}

// One pixel alone, at every place of a row that is opaque and white otherwise.
TEST(RowReader, APixelThatIsNotOpaqueIsSeenAtEveryPlace) {
  constexpr int kWidth = 20;
  for (int place = 0; place < kWidth; ++place) {
    CoreDib dib;
    ASSERT_TRUE(dib.Create(kWidth, 2, 32));
    std::memset(dib.GetBuffer(), 255, dib.GetBufferSize());
    const std::uint8_t translucent[] = {0, 100, 200, 254};
    std::memcpy(dib.GetRow(0) + 4 * place, translucent, sizeof translucent);
    for (const RowLayout layout : {RowLayout::kBgr, RowLayout::kRgb}) {
      RowReader rows(dib, layout);
      for (int y = 0; y < 2; ++y) {
        const std::vector<std::uint8_t> expected = ExpectedRow(dib, layout, y);
        ASSERT_EQ(std::memcmp(rows.Row(y), expected.data(), expected.size()), 0) << place << ", row " << y;
      }
    }
  }
}

TEST(RowReader, RowsThatHaveTheLayoutAreNotCopied) {
  const struct {
    int bits;
    RowLayout layout;
  } same[] = {{8, RowLayout::kGray}, {24, RowLayout::kBgr}, {32, RowLayout::kBgra}};
  for (const int bits : {8, 24, 32}) {
    const CoreDib dib = image::MakePicture(5, 3, bits);
    for (const auto& each : same) {
      if (each.layout == RowLayout::kGray && bits != 8) continue;
      RowReader rows(dib, each.layout);
      EXPECT_EQ(rows.Row(2) == dib.GetRow(2), each.bits == bits) << bits << ", " << each.bits;
    }
  }
}

TEST(RowReader, ThePlainLayoutLosesNothing) {
  for (const CoreDib& dib : Pictures(3, 2)) {
    const bool gray = dib.GetBitsPerPixel() <= 8 && dib.GetPaletteSize() == 0;
    const RowLayout expected = dib.HasAlpha() ? RowLayout::kBgra : gray ? RowLayout::kGray : RowLayout::kBgr;
    EXPECT_EQ(tovmx::PlainLayoutOf(dib), expected) << Describe(dib);
    EXPECT_EQ(tovmx::ScaledBits(dib), dib.HasAlpha() ? 32 : gray ? 8 : 24) << Describe(dib);
  }
}

TEST(RowReader, UsedColorsAreThoseOfThePaletteOrMore) {
  for (const int bits : {1, 4, 8}) {
    const int all = 1 << bits;
    for (int size = 0; size <= all; size += bits == 8 ? 51 : 1) {
      for (int index = 0; index < all; ++index) {
        const int y = index % 2;
        CoreDib dib;
        ASSERT_TRUE(dib.Create(3, 2, bits));
        std::memset(dib.GetBuffer(), 0, dib.GetBufferSize());
        if (size != 0) image::GivePalette(dib, size);
        dib.GetRow(y)[2 * bits / 8] |= static_cast<std::uint8_t>(index << (8 - bits - 2 * bits % 8));
        const int expected = size == 0 ? all : std::max(size, index + 1);
        ASSERT_EQ(tovmx::UsedColors(dib), expected)
            << bits << " bits, " << size << " colors, index " << index;
      }
    }
  }
}

// An index beyond the palette, at every place of a row that is read in blocks and to its end.
TEST(RowReader, UsedColorsAreSeenAtEveryPlaceOfALongRow) {
  for (const int bits : {1, 4, 8}) {
    const int width = 50 * 8 / bits + 1;
    for (int x = 0; x < width; ++x) {
      CoreDib dib;
      ASSERT_TRUE(dib.Create(width, 1, bits));
      std::memset(dib.GetBuffer(), 0, dib.GetBufferSize());
      image::GivePalette(dib, 1);
      dib.GetRow(0)[x * bits / 8] |= static_cast<std::uint8_t>(1 << (8 - bits - x * bits % 8));
      ASSERT_EQ(tovmx::UsedColors(dib), 2) << bits << " bits, at " << x;
    }
  }
}

TEST(FillProportions, ASideOfZeroFollowsTheOther) {
  const struct {
    CoreSize wanted, own, expected;
  } rows[] = {{{3, 4}, {100, 10}, {3, 4}},
              {{0, 0}, {7, 9}, {1, 1}},
              {{50, 0}, {100, 60}, {50, 30}},
              {{0, 30}, {100, 60}, {50, 30}},
              {{1, 0}, {100, 49}, {1, 1}},
              {{3, 0}, {2, 1}, {3, 2}},  // 1.5
              {{0, 5}, {1, 2}, {3, 5}},  // 2.5
              {{0, 1}, {100, 3}, {33, 1}},
              {{0, INT_MAX}, {2, 1}, {INT_MAX, INT_MAX}},
              {{INT_MAX, 0}, {1, 2}, {INT_MAX, INT_MAX}},
              {{INT_MAX, 0}, {2, 1}, {INT_MAX, INT_MAX / 2 + 1}}};
  for (const auto& row : rows) {
    const CoreSize got = tovmx::FillProportions(row.wanted, row.own);
    EXPECT_EQ(got, row.expected) << row.wanted.width << " x " << row.wanted.height << " of " << row.own.width
                                 << " x " << row.own.height << ": " << got.width << " x " << got.height;
  }
}

// How much each old position counts for each new one.
std::vector<std::vector<double>> Weights(int from, int to) {
  std::vector<std::vector<double>> weights;
  const double step = static_cast<double>(from) / to;
  const double reach = std::max(1.0, step);
  for (int i = 0; i < to; ++i) {
    std::vector<double> row(static_cast<std::size_t>(from));
    double sum = 0;
    for (int k = 0; k < from; ++k) {
      const double distance = std::fabs(k + 0.5 - (i + 0.5) * step);
      sum += row[static_cast<std::size_t>(k)] = std::max(0.0, reach - distance);
    }
    for (double& weight : row) weight /= sum;
    weights.push_back(row);
  }
  return weights;
}

// Blue, green, red and alpha of a scaled pixel, not yet rounded. Without any alpha there is no color.
std::array<double, 4> Blend(const CoreDib& dib, const std::vector<double>& across,
                            const std::vector<double>& down) {
  std::array<double, 4> sums{};
  for (int y = 0; y < dib.GetHeight(); ++y) {
    for (int x = 0; x < dib.GetWidth(); ++x) {
      const double weight = across[static_cast<std::size_t>(x)] * down[static_cast<std::size_t>(y)];
      if (weight == 0) continue;
      const std::array<unsigned, 4> parts = PartsOf(dib.GetArgb(x, y));
      for (std::size_t c = 0; c < 3; ++c) sums[c] += weight * parts[3] * parts[c];
      sums[3] += weight * parts[3];
    }
  }
  for (std::size_t c = 0; c < 3; ++c) sums[c] = sums[3] == 0 ? 0 : sums[c] / sums[3];
  return sums;
}

// The component of the nearest level, or either neighbor where it is nearly a tie.
bool IsNearest(double exact, unsigned level) { return std::fabs(exact - level) <= 0.5 + 1e-3; }

TEST(ScaleBitmap, EveryPixelIsTheNearestToTheFiltersSum) {
  for (const CoreDib& dib : Pictures(9, 7)) {
    for (const CoreSize size :
         {CoreSize{9, 7}, {1, 1}, {4, 3}, {3, 20}, {20, 3}, {10, 8}, {8, 6}, {31, 29}}) {
      CoreDib to;
      ASSERT_TRUE(tovmx::ScaleBitmap(dib, size, to));
      ASSERT_EQ(to.GetWidth(), size.width);
      ASSERT_EQ(to.GetHeight(), size.height);
      ASSERT_EQ(to.GetBitsPerPixel(), tovmx::ScaledBits(dib));
      const auto across = Weights(9, size.width), down = Weights(7, size.height);
      for (int y = 0; y < size.height; ++y) {
        for (int x = 0; x < size.width; ++x) {
          const auto exact =
              Blend(dib, across[static_cast<std::size_t>(x)], down[static_cast<std::size_t>(y)]);
          const auto got = PartsOf(to.GetArgb(x, y));
          for (std::size_t c = 0; c < 4; ++c) {
            ASSERT_TRUE(IsNearest(exact[c], got[c]))
                << Describe(dib) << " to " << size.width << " x " << size.height << " at " << x << ", " << y
                << ": " << got[c] << " for " << exact[c];
          }
        }
      }
    }
  }
}

// Four rows are kept while the next ones are read.
TEST(ScaleBitmap, APictureOfManyRowsBecomesFlatAndAgainTall) {
  const CoreDib dib = image::MakePicture(3, 200, 24);
  for (const int height : {1, 2, 3, 7, 40, 199, 201, 450}) {
    CoreDib to;
    ASSERT_TRUE(tovmx::ScaleBitmap(dib, {2, height}, to));
    const auto across = Weights(3, 2), down = Weights(200, height);
    for (int y = 0; y < height; ++y) {
      const auto exact = Blend(dib, across[1], down[static_cast<std::size_t>(y)]);
      const auto got = PartsOf(to.GetArgb(1, y));
      for (std::size_t c = 0; c < 4; ++c)
        ASSERT_TRUE(IsNearest(exact[c], got[c])) << height << " rows, row " << y;
    }
  }
}

TEST(ScaleBitmap, TheResolutionFollowsEachSide) {
  CoreDib dib = image::MakePicture(10, 20, 8), to;
  dib.SetDpi(100, 300);
  ASSERT_TRUE(tovmx::ScaleBitmap(dib, {5, 40}, to));
  EXPECT_FLOAT_EQ(to.GetDpiX(), 50);
  EXPECT_FLOAT_EQ(to.GetDpiY(), 600);
}

// The limit pays for the bitmap, what scaling takes besides, and the scaled bitmap.
TEST(ScaleBitmap, TheLimitPaysForBothBitmapsAndTheScaling) {
  CoreCodecRegistry& registry = CoreCodecRegistry::Get();
  const std::uint64_t usual = registry.GetPixelLimit();
  for (const int bits : {4, 8, 24, 32}) {
    const CoreDib dib = image::MakePicture(30, 20, bits);
    const std::string file = image::Encode(dib, kCoreImageBmp);
    const CoreSize size{50, 7};
    const std::uint64_t scaling = (30 + 20) * 32 + (50 + 7) * 144;
    EXPECT_EQ(tovmx::ScalingBytes(dib, size), scaling);
    const std::uint64_t most =
        dib.GetBufferSize() + scaling + CoreDib::BytesNeeded(50, 7, tovmx::ScaledBits(dib));
    registry.SetPixelLimit(most);
    EXPECT_NE(image::Decode(file, 0, 50, 7), nullptr) << bits;
    registry.SetPixelLimit(most - 1);
    EXPECT_EQ(image::Decode(file, 0, 50, 7), nullptr) << bits;
    EXPECT_NE(image::Decode(file, 0, 30, 20), nullptr) << "at its own size";
    registry.SetPixelLimit(usual);
  }
}

TEST(ScaleBitmap, ASizeThatNoMemoryHoldsIsRefused) {
  const CoreDib dib = image::MakePicture(3, 2, 24);
  CoreDib to;
  EXPECT_FALSE(tovmx::ScaleBitmap(dib, {INT_MAX, INT_MAX}, to));
  EXPECT_FALSE(tovmx::ScaleBitmap(dib, {INT_MAX, 1}, to));
  EXPECT_EQ(to.GetBuffer(), nullptr);
}

}  // namespace
