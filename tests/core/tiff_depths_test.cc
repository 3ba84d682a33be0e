// SPDX-License-Identifier: MIT
// Rows of samples of every depth and kind of number.
#include "image_support.h"
#include "tiff_support.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace tiff;

// Binary digits, the highest first, and zeros up to a whole byte.
std::string BytesOf(std::string digits) {
  while (digits.size() % 8 != 0) digits += '0';
  std::string bytes;
  for (std::size_t i = 0; i < digits.size(); i += 8)
    bytes += static_cast<char>(std::stoi(digits.substr(i, 8), nullptr, 2));
  return bytes;
}

std::unique_ptr<CoreDib> RowOf(const std::string& bytes, unsigned width, unsigned bits, unsigned format) {
  return image::Decode(StoreRow(bytes, width, bits, {{kFormatTag, {format}}}));
}

std::vector<int> LevelsOf(const CoreDib* bitmap) {
  std::vector<int> levels;
  for (int x = 0; bitmap != nullptr && x < bitmap->GetWidth(); ++x)
    levels.push_back(static_cast<int>(bitmap->GetArgb(x, 0) & 255U));
  return levels;
}

// 0, 1, a half, a quarter, 2, -1, infinity, no number, and the least that is above 0.
TEST(TiffDepths, NumbersWithAFractionGoFromZeroToOne) {
  const std::vector<int> expected = {0, 255, 128, 64, 255, 0, 255, 0, 0};
  const struct {
    unsigned bits;
    std::vector<std::uint64_t> numbers;
  } rows[] = {
      {16, {0, 0x3c00, 0x3800, 0x3400, 0x4000, 0xbc00, 0x7c00, 0x7e00, 1}},
      {24, {0, 0x3f0000, 0x3e0000, 0x3d0000, 0x400000, 0xbf0000, 0x7f0000, 0x7f8000, 1}},
      {32, {0, 0x3f800000, 0x3f000000, 0x3e800000, 0x40000000, 0xbf800000, 0x7f800000, 0x7fc00000, 1}},
      {64,
       {0, 0x3ff0000000000000, 0x3fe0000000000000, 0x3fd0000000000000, 0x4000000000000000, 0xbff0000000000000,
        0x7ff0000000000000, 0x7ff8000000000000, 1}},
  };
  for (const auto& row : rows) {
    std::string bytes;
    for (const std::uint64_t number : row.numbers) Put(bytes, number, static_cast<int>(row.bits / 8));
    EXPECT_EQ(LevelsOf(RowOf(bytes, 9, row.bits, 3).get()), expected) << row.bits;
  }
}

// The least, the most and what lies in the middle, bit behind bit from the highest one down.
TEST(TiffDepths, WholeNumbersOfAnyDepthSpanTheWholeRange) {
  for (unsigned bits = 1; bits <= 32; ++bits) {
    const std::uint64_t most = (std::uint64_t{1} << bits) - 1;
    const std::uint64_t values[] = {0, most, most / 2, most / 3, 1};
    std::string bytes;
    std::vector<int> expected;
    std::string digits;
    for (const std::uint64_t value : values) {
      expected.push_back(static_cast<int>((value * 255 + most / 2) / most));
      if (bits == 16 || bits == 24 || bits == 32) Put(bytes, value, static_cast<int>(bits / 8));
      for (unsigned bit = bits; bit-- != 0;) digits += (value >> bit & 1U) != 0 ? '1' : '0';
    }
    if (bytes.empty()) bytes = BytesOf(digits);
    EXPECT_EQ(LevelsOf(RowOf(bytes, 5, bits, 1).get()), expected) << bits;
  }
  std::string wide;
  for (const std::uint64_t value : {std::uint64_t{0}, UINT64_MAX, UINT64_MAX / 2}) Put(wide, value, 8);
  EXPECT_EQ(LevelsOf(RowOf(wide, 3, 64, 1).get()), std::vector<int>({0, 255, 127}));
}

TEST(TiffDepths, DepthsThatNobodyReadsAreUnsupported) {
  for (const auto& [bits, format] : std::vector<std::pair<unsigned, unsigned>>{
           {33, 1}, {40, 1}, {63, 1}, {128, 1}, {8, 3}, {12, 3}, {128, 3}, {12, 2}, {32, 2}, {64, 5}}) {
    EXPECT_EQ(RowOf(std::string(600, '\1'), 3, bits, format), nullptr) << bits << ", format " << format;
  }
}

// Indices are no levels: they stay as they are.
TEST(TiffDepths, PalettesOfAnyDepthUpTo8) {
  for (unsigned bits = 1; bits <= 8; ++bits) {
    const unsigned count = 1U << bits;
    Numbers map;
    for (unsigned c = 0; c < 3; ++c) {
      for (unsigned i = 0; i < count; ++i) map.push_back((i * 37 + c * 50 + 3) % 256 * 257);
    }
    std::string digits;
    const unsigned indices[] = {count - 1, 0, count / 2, 1};
    for (const unsigned index : indices) {
      for (unsigned bit = bits; bit-- != 0;) digits += (index >> bit & 1U) != 0 ? '1' : '0';
    }
    const std::string bytes = BytesOf(digits);
    const std::string file = StoreRow(bytes, 4, bits, {{kPhotometricTag, {kPalette}}, {kMapTag, map}});
    CoreImageInfo info;
    const auto bitmap = image::Decode(file, 0, 0, 0, &info);
    ASSERT_NE(bitmap, nullptr) << bits;
    EXPECT_EQ(info.bitsPerPixel, bitmap->GetBitsPerPixel()) << bits;
    EXPECT_EQ(info.paletteSize, static_cast<int>(count)) << bits;
    EXPECT_EQ(bitmap->GetPaletteSize(), static_cast<int>(count)) << bits;
    for (int x = 0; x < 4; ++x) {
      const unsigned i = indices[x];
      const unsigned red = (i * 37 + 3) % 256, green = (i * 37 + 53) % 256, blue = (i * 37 + 103) % 256;
      EXPECT_EQ(bitmap->GetArgb(x, 0), 0xff000000U | red << 16 | green << 8 | blue) << bits << " at " << x;
    }
  }
}

}  // namespace
