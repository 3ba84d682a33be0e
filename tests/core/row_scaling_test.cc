// SPDX-License-Identifier: MIT
// Scaling by vectors of four, compared to the bit with the same worked out one number after the other.
#include "bitmap/row_scaling.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

namespace {

// A few weights above and below 0 for each new position, anywhere in the old row.
tovmx::Axis RandomAxis(int from, int to, std::mt19937& random) {
  std::uniform_real_distribution<float> weight(-0.3f, 1.1f);
  tovmx::Axis axis;
  axis.start.push_back(0);
  for (int i = 0; i < to; ++i) {
    const int first = static_cast<int>(random() % static_cast<unsigned>(from));
    const int count = 1 + static_cast<int>(random() % static_cast<unsigned>(std::min(from - first, 9)));
    axis.first.push_back(first);
    for (int k = 0; k < count; ++k) axis.weights.push_back(weight(random));
    axis.start.push_back(axis.weights.size());
  }
  return axis;
}

std::vector<float> PlainSums(const std::vector<std::uint8_t>& row, const tovmx::Axis& axis,
                             std::size_t channels) {
  std::vector<float> sums;
  for (std::size_t i = 0; i < axis.first.size(); ++i) {
    float of[4] = {};
    const std::uint8_t* p = row.data() + static_cast<std::size_t>(axis.first[i]) * channels;
    for (std::size_t k = axis.start[i]; k < axis.start[i + 1]; ++k, p += channels) {
      const float amount = channels == 4 ? axis.weights[k] * p[3] : axis.weights[k];
      for (std::size_t c = 0; c < std::min<std::size_t>(channels, 3); ++c) of[c] += amount * p[c];
      of[3] += amount;
    }
    sums.insert(sums.end(), of, of + channels);
  }
  return sums;
}

std::uint8_t PlainByte(float value) {
  return static_cast<std::uint8_t>(std::clamp(value + 0.5f, 0.0f, 255.0f));
}

std::vector<std::uint8_t> PlainBytes(const std::vector<float>& sums, std::size_t channels) {
  std::vector<std::uint8_t> bytes;
  for (std::size_t i = 0; i < sums.size(); ++i) {
    if (channels != 4) {
      bytes.push_back(PlainByte(sums[i]));
    } else if (i % 4 == 3) {
      bytes.push_back(PlainByte(sums[i]));
    } else {
      const float alpha = sums[i / 4 * 4 + 3];
      bytes.push_back(alpha > 0 ? PlainByte(sums[i] / alpha) : std::uint8_t{0});
    }
  }
  return bytes;
}

TEST(RowScaling, EverySumIsThatOfPlainCode) {
  std::mt19937 random(7);
  for (const std::size_t channels : {1U, 3U, 4U}) {
    for (int width = 1; width < 40; ++width) {
      // No byte behind the row: a sanitizer sees what is read or written beyond.
      std::vector<std::uint8_t> row(static_cast<std::size_t>(width) * channels);
      for (std::uint8_t& byte : row) byte = static_cast<std::uint8_t>(random());
      const tovmx::Axis axis = RandomAxis(width, 1 + static_cast<int>(random() % 50), random);
      const std::vector<float> expected = PlainSums(row, axis, channels);
      std::vector<float> sums(expected.size(), -1.0f);
      tovmx::RowScaler(axis, width, static_cast<int>(channels)).Scale(row.data(), sums.data());
      ASSERT_EQ(sums, expected) << channels << " channels, " << width << " wide";

      std::vector<float> added = expected;
      for (std::size_t i = 0; i < added.size(); ++i) added[i] += 0.37f * expected[i];
      tovmx::AddWeighted(expected, 0.37f, sums);
      ASSERT_EQ(sums, added) << channels << " channels, " << width << " wide";
    }
  }
}

TEST(RowScaling, EverySumIsRoundedAsByPlainCode) {
  std::mt19937 random(8);
  std::uniform_real_distribution<float> value(-40.0f, 300.0f);
  for (const std::size_t channels : {1U, 3U, 4U}) {
    for (std::size_t pixels = 1; pixels < 70; ++pixels) {
      std::vector<float> sums(pixels * channels);
      for (float& sum : sums)
        sum = random() % 4 == 0 ? static_cast<float>(random() % 520) / 2 : value(random);
      const std::vector<std::uint8_t> expected = PlainBytes(sums, channels);
      std::vector<std::uint8_t> bytes(expected.size());
      tovmx::StoreRow(sums, static_cast<int>(channels), bytes.data());
      ASSERT_EQ(bytes, expected) << channels << " channels, " << pixels << " pixels";
    }
  }
}

}  // namespace
