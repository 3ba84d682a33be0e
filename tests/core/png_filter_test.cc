// SPDX-License-Identifier: MIT
// The loops that filter PNG rows, one level of vector instructions against the other and there and back.
#include "codec/png_filter.h"
#include "simd_level.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

namespace {

using tovmx::kPngFilterAvx2;
using tovmx::kPngFilters;
using tovmx::kPngFilterScalar;
using tovmx::kPngRowSlack;
using tovmx::PngFilter;

// A row with zeros in front of it and anything behind it.
class Row {
 public:
  Row(std::size_t size, unsigned seed, unsigned kind) : bytes_(2 * kPngRowSlack + size) {
    unsigned state = seed;
    for (std::size_t i = kPngRowSlack; i < bytes_.size(); ++i) {
      state = state * 1664525U + 1013904223U;
      const unsigned byte = state >> 24;
      // Noise, extremes, small numbers around 0, a slope.
      const unsigned kinds[] = {byte, byte % 2 * 255, byte % 3 + 255, static_cast<unsigned>(i) + byte % 4};
      bytes_[i] = static_cast<std::uint8_t>(kinds[kind % 4]);
    }
  }
  std::uint8_t* data() { return bytes_.data() + kPngRowSlack; }

 private:
  std::vector<std::uint8_t> bytes_;
};

bool HasAvx2() { return base::SupportsSimdLevel(base::SimdLevel::kAvx2); }

template <typename Check>
void ForManyRows(Check check) {
  unsigned seed = 1;
  for (const std::size_t pixel : {std::size_t{1}, std::size_t{3}, std::size_t{4}}) {
    for (std::size_t width = 1; width <= 150; ++width) {
      for (unsigned kind = 0; kind < 16; ++kind) {
        Row row(width * pixel, ++seed, kind);
        Row above(width * pixel, ++seed, kind / 4);
        check(row.data(), above.data(), width * pixel, pixel);
        if (testing::Test::HasFailure()) return;
      }
    }
  }
}

TEST(PngFilters, WeighAndApplyTheSameOnEveryLevel) {
  if (!HasAvx2()) GTEST_SKIP() << "no AVX2";
  ForManyRows([](const std::uint8_t* row, const std::uint8_t* above, std::size_t size, std::size_t pixel) {
    std::uint64_t plain[kPngFilters], vector[kPngFilters];
    kPngFilterScalar.weigh(row, above, size, pixel, plain);
    kPngFilterAvx2.weigh(row, above, size, pixel, vector);
    for (int filter = 0; filter < kPngFilters; ++filter) {
      EXPECT_EQ(plain[filter], vector[filter]) << filter << ", " << size << " bytes, pixels of " << pixel;
      std::vector<std::uint8_t> one(size + kPngRowSlack), other(size + kPngRowSlack);
      kPngFilterScalar.apply(static_cast<PngFilter>(filter), row, above, size, pixel, one.data());
      kPngFilterAvx2.apply(static_cast<PngFilter>(filter), row, above, size, pixel, other.data());
      EXPECT_EQ(std::memcmp(one.data(), other.data(), size), 0) << filter << ", " << size << ", " << pixel;
    }
  });
}

TEST(PngFilters, WeighWhatTheyLeave) {
  ForManyRows([](const std::uint8_t* row, const std::uint8_t* above, std::size_t size, std::size_t pixel) {
    std::uint64_t sums[kPngFilters];
    kPngFilterScalar.weigh(row, above, size, pixel, sums);
    for (int filter = 0; filter < kPngFilters; ++filter) {
      std::vector<std::uint8_t> left(size + kPngRowSlack);
      kPngFilterScalar.apply(static_cast<PngFilter>(filter), row, above, size, pixel, left.data());
      std::uint64_t sum = 0;
      for (std::size_t i = 0; i < size; ++i) sum += left[i] < 128 ? left[i] : 256U - left[i];
      EXPECT_EQ(sums[filter], sum) << filter << ", " << size << ", " << pixel;
    }
  });
}

TEST(PngFilters, AreTakenOffAgain) {
  ForManyRows([](const std::uint8_t* row, const std::uint8_t* above, std::size_t size, std::size_t pixel) {
    for (int filter = 0; filter < kPngFilters; ++filter) {
      std::vector<std::uint8_t> bytes(size + kPngRowSlack);
      kPngFilterScalar.apply(static_cast<PngFilter>(filter), row, above, size, pixel, bytes.data());
      bytes.resize(size);
      tovmx::UndoPngFilter(static_cast<PngFilter>(filter), bytes.data(), above, size, pixel);
      EXPECT_EQ(std::memcmp(bytes.data(), row, size), 0) << filter << ", " << size << ", " << pixel;
    }
  });
}

TEST(PngFilters, TurnPixelsTheSameOnEveryLevel) {
  ForManyRows([](const std::uint8_t* row, const std::uint8_t*, std::size_t size, std::size_t pixel) {
    if (pixel == 1) return;
    std::vector<std::uint8_t> expected(row, row + size);
    for (std::size_t i = 0; i < size; i += pixel) std::swap(expected[i], expected[i + 2]);
    std::vector<std::uint8_t> turned(size);  // with nothing behind it to write to
    kPngFilterScalar.turn(row, size / pixel, pixel, turned.data());
    EXPECT_EQ(turned, expected);
    if (!HasAvx2()) return;
    turned.assign(size, 0);
    kPngFilterAvx2.turn(row, size / pixel, pixel, turned.data());
    EXPECT_EQ(turned, expected) << size << ", " << pixel;
  });
}

}  // namespace
