// SPDX-License-Identifier: MIT
// Color and pixel arithmetic over its whole domain.
#include "pixel/color.h"
#include "pixel/packed_index.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>

namespace {

long Nearest(double value) { return std::lround(value); }

}  // namespace

TEST(ColorArithmetic, RoundsToTheNearestForEveryPairOfBytes) {
  for (unsigned a = 0; a < 256; ++a) {
    for (unsigned b = 0; b < 256; ++b) {
      ASSERT_EQ(tovmx::MultiplyBytes(a, b), Nearest(a * b / 255.0));
      ASSERT_EQ(tovmx::LightBehindInk(a, b), Nearest((255.0 - a) * (255.0 - b) / 255.0));
      ASSERT_EQ(tovmx::OverWhite(a, b), Nearest(a * (b / 255.0) + 255 * (1 - b / 255.0)));
      if (b == 0) continue;
      ASSERT_EQ(tovmx::DivideByAlpha(a, b), a > b ? 255 : Nearest(a * 255.0 / b));
    }
  }
}

TEST(ColorArithmetic, SamplesOfAnyDepthSpanAByte) {
  for (unsigned bits = 1; bits <= 12; ++bits) {
    const unsigned most = (1U << bits) - 1;
    for (unsigned sample = 0; sample <= most; ++sample)
      ASSERT_EQ(tovmx::ByteOfSample(sample, most), Nearest(sample * 255.0 / most)) << bits;
  }
  for (unsigned sample = 0; sample <= 65535; ++sample)
    ASSERT_EQ(tovmx::ByteOfSample(sample, 65535), (sample + 128) / 257);
  for (const std::uint64_t most : {0xffffffffULL, 1ULL << 55}) {
    EXPECT_EQ(tovmx::ByteOfSample(0, most), 0);
    EXPECT_EQ(tovmx::ByteOfSample(most / 2, most), most % 2 == 0 ? 128 : 127);
    EXPECT_EQ(tovmx::ByteOfSample(most, most), 255);
  }
}

TEST(ColorArithmetic, PacksEachComponentAlike) {
  for (unsigned alpha = 0; alpha < 256; ++alpha) {
    for (unsigned c = 0; c < 256; ++c) {
      const std::uint32_t argb = alpha << 24 | c << 16 | (255 - c) << 8 | (c ^ 0x55);
      const std::uint32_t scaled = tovmx::Premultiplied(argb);
      ASSERT_EQ(scaled, alpha << 24 | tovmx::MultiplyBytes(c, alpha) << 16 |
                            tovmx::MultiplyBytes(255 - c, alpha) << 8 |
                            tovmx::MultiplyBytes(c ^ 0x55, alpha));
      const std::uint32_t straight = tovmx::Straight(scaled);
      ASSERT_EQ(straight >> 24, alpha);
      // Straight and back loses nothing: the premultiplied form is the coarser one.
      ASSERT_EQ(tovmx::Premultiplied(straight), scaled);
    }
  }
}

TEST(ColorArithmetic, APixelOfAlphaZeroHasNoColor) {
  EXPECT_EQ(tovmx::Premultiplied(0x00ffffff), 0U);
  EXPECT_EQ(tovmx::Straight(0x00ffffff), 0U);
}

TEST(ColorArithmetic, GrayLevels) {
  for (std::uint32_t level = 0; level < 256; ++level) {
    EXPECT_EQ(tovmx::GrayOf(0xff000000 | level * 0x010101), level);
    EXPECT_EQ(tovmx::GrayOf(level << 16), (77 * level + 128) / 256);
    EXPECT_EQ(tovmx::GrayOf(level << 8), (150 * level + 128) / 256);
    EXPECT_EQ(tovmx::GrayOf(level), (29 * level + 128) / 256);
  }
  EXPECT_EQ(tovmx::GrayOf(0x12345678), tovmx::GrayOf(0x345678));
}

TEST(PackedIndex, EveryIndexAtEveryPlaceLeavesTheOthers) {
  for (const unsigned bits : {1U, 2U, 4U, 8U}) {
    const std::size_t columns = 3 * 8 / bits;
    for (std::size_t x = 0; x < columns; ++x) {
      for (const unsigned before : {0x00U, 0xffU, 0xa5U}) {
        for (unsigned index = 0; index < 1U << bits; ++index) {
          std::array<std::uint8_t, 3> row;
          row.fill(static_cast<std::uint8_t>(before));
          const std::array<std::uint8_t, 3> old = row;
          tovmx::SetPackedIndex(row.data(), x, bits, index | 0xf00U);
          for (std::size_t k = 0; k < columns; ++k) {
            ASSERT_EQ(tovmx::PackedIndex(row.data(), k, bits),
                      k == x ? index : tovmx::PackedIndex(old.data(), k, bits));
          }
        }
      }
    }
  }
}

TEST(PackedIndex, TheFirstColumnIsInTheHighestBits) {
  const std::uint8_t row[] = {0x1b, 0xe4};
  const unsigned pairs[] = {0, 1, 2, 3, 3, 2, 1, 0};
  for (std::size_t x = 0; x < 8; ++x) EXPECT_EQ(tovmx::PackedIndex(row, x, 2), pairs[x]);
  EXPECT_EQ(tovmx::PackedIndex(row, 0, 4), 1U);
  EXPECT_EQ(tovmx::PackedIndex(row, 3, 4), 4U);
  EXPECT_EQ(tovmx::PackedIndex(row, 3, 1), 1U);
  EXPECT_EQ(tovmx::PackedIndex(row, 1, 8), 0xe4U);
}
