// SPDX-License-Identifier: MIT
// Rows of any bitmap in one of five layouts. A row that has the layout already is handed out where it lies.
// Any other is made in one scratch row, and a palette is turned into the layout once, so that a pixel costs
// one look-up.
#include "bitmap/row_reader.h"

#include "pixel/color.h"
#include "pixel/packed_index.h"

#include <emmintrin.h>

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <utility>

namespace tovmx {

RowLayout PlainLayoutOf(const CoreDib& bitmap) noexcept {
  if (bitmap.HasAlpha()) return RowLayout::kBgra;
  return bitmap.GetBitsPerPixel() <= 8 && bitmap.GetPaletteSize() == 0 ? RowLayout::kGray : RowLayout::kBgr;
}

int BytesPerPixel(RowLayout layout) noexcept {
  if (layout == RowLayout::kGray) return 1;
  return layout == RowLayout::kBgr || layout == RowLayout::kRgb ? 3 : 4;
}

namespace {

// The largest of the indices in whole bytes.
unsigned LargestIndex(const std::uint8_t* bytes, std::size_t size, unsigned bits) noexcept {
  const unsigned lowest = (1U << bits) - 1;
  const __m128i low = _mm_set1_epi8(static_cast<char>(lowest));
  __m128i largestLow = _mm_setzero_si128();   // of the last index of each byte
  __m128i largestHigh = _mm_setzero_si128();  // of those before it, at their places
  constexpr std::size_t kBlock = 16;
  std::size_t i = 0;
  for (; i + kBlock <= size; i += kBlock) {
    const __m128i block = _mm_loadu_si128(static_cast<const __m128i*>(static_cast<const void*>(bytes + i)));
    largestLow = _mm_max_epu8(largestLow, _mm_and_si128(block, low));
    largestHigh = _mm_max_epu8(largestHigh, _mm_andnot_si128(low, block));
  }
  alignas(16) std::uint8_t lows[16];
  alignas(16) std::uint8_t highs[16];
  _mm_store_si128(static_cast<__m128i*>(static_cast<void*>(lows)), largestLow);
  _mm_store_si128(static_cast<__m128i*>(static_cast<void*>(highs)), largestHigh);
  unsigned last = *std::max_element(lows, lows + 16);
  unsigned before = *std::max_element(highs, highs + 16);
  for (; i < size; ++i) {
    last = std::max(last, bytes[i] & lowest);
    before = std::max(before, bytes[i] & ~lowest & 255U);
  }
  // Of one bit each, any is the largest.
  return std::max(last, bits == 1 ? static_cast<unsigned>(before != 0) : before >> 4);
}

}  // namespace

int UsedColors(const CoreDib& bitmap) {
  const auto bits = static_cast<unsigned>(bitmap.GetBitsPerPixel());
  const int all = 1 << bits;
  if (bitmap.GetPaletteSize() == 0 || bitmap.GetPaletteSize() == all) return all;
  int used = bitmap.GetPaletteSize();
  const auto width = static_cast<std::size_t>(bitmap.GetWidth());
  const std::size_t whole = width * bits / 8;
  for (int y = 0; y < bitmap.GetHeight() && used < all; ++y) {
    const std::uint8_t* row = bitmap.GetRow(y);
    used = std::max(used, static_cast<int>(LargestIndex(row, whole, bits)) + 1);
    for (std::size_t x = whole * 8 / bits; x < width; ++x) {
      used = std::max(used, static_cast<int>(tovmx::PackedIndex(row, x, bits)) + 1);
    }
  }
  return used;
}

namespace {

bool IsRedFirst(RowLayout layout) noexcept { return layout == RowLayout::kRgb || layout == RowLayout::kRgba; }

bool IsOpaque(const std::uint8_t* row, std::size_t width) noexcept {
  unsigned all = 255;
  for (std::size_t x = 0; x < width; ++x) all &= row[4 * x + 3];
  return all == 255;
}

}  // namespace

RowReader::RowReader(const CoreDib& bitmap, RowLayout layout) : bitmap_(bitmap), layout_(layout) {
  const int bits = bitmap.GetBitsPerPixel();
  inPlace_ = (bits == 8 && layout == RowLayout::kGray) || (bits == 24 && layout == RowLayout::kBgr) ||
             (bits == 32 && layout == RowLayout::kBgra);
  if (inPlace_) return;
  scratch_.resize(static_cast<std::size_t>(bitmap.GetWidth()) *
                  static_cast<std::size_t>(BytesPerPixel(layout)));
  if (bits > 8) return;
  const int levels = (1 << bits) - 1;
  for (int i = 0; i <= levels; ++i) {
    const auto gray = static_cast<std::uint32_t>(i * 255 / levels) * 0x010101U;
    const std::uint32_t entry = bitmap.GetPaletteSize() == 0 ? gray : bitmap.GetPaletteEntry(i);
    const std::uint8_t alpha = bitmap.GetPaletteAlpha(i);
    auto& color = colors_[static_cast<std::size_t>(i)];
    color = {static_cast<std::uint8_t>(entry >> 16), static_cast<std::uint8_t>(entry >> 8),
             static_cast<std::uint8_t>(entry), alpha};
    if (BytesPerPixel(layout) == 3) {
      for (std::size_t c = 0; c < 3; ++c) color[c] = tovmx::OverWhite(color[c], alpha);
    }
    if (IsRedFirst(layout)) std::swap(color[0], color[2]);
  }
}

const std::uint8_t* RowReader::Row(int y) {
  assert(y >= 0 && y < bitmap_.GetHeight());
  const std::uint8_t* row = bitmap_.GetRow(y);
  if (inPlace_) return row;
  if (bitmap_.GetBitsPerPixel() <= 8) {
    ExpandIndices(row);
  } else if (bitmap_.GetBitsPerPixel() == 24) {
    ExpandBgr(row);
  } else {
    ExpandBgra(row);
  }
  return scratch_.data();
}

void RowReader::ExpandIndices(const std::uint8_t* row) {
  const auto width = static_cast<std::size_t>(bitmap_.GetWidth());
  const auto bits = static_cast<unsigned>(bitmap_.GetBitsPerPixel());
  const auto size = static_cast<std::size_t>(BytesPerPixel(layout_));
  std::uint8_t* out = scratch_.data();
  for (std::size_t x = 0; x < width; ++x, out += size) {
    const auto& color = colors_[tovmx::PackedIndex(row, x, bits)];
    for (std::size_t c = 0; c < size; ++c) out[c] = color[c];
  }
}

void RowReader::ExpandBgr(const std::uint8_t* row) {
  const auto width = static_cast<std::size_t>(bitmap_.GetWidth());
  const auto size = static_cast<std::size_t>(BytesPerPixel(layout_));
  const bool turn = IsRedFirst(layout_);
  std::uint8_t* out = scratch_.data();
  for (std::size_t x = 0; x < width; ++x, row += 3, out += size) {
    out[0] = row[turn ? 2 : 0];
    out[1] = row[1];
    out[2] = row[turn ? 0 : 2];
    if (size == 4) out[3] = 255;
  }
}

void RowReader::ExpandBgra(const std::uint8_t* row) {
  const auto width = static_cast<std::size_t>(bitmap_.GetWidth());
  const auto size = static_cast<std::size_t>(BytesPerPixel(layout_));
  const std::size_t first = IsRedFirst(layout_) ? 2 : 0;
  const bool blend = size == 3 && !IsOpaque(row, width);
  std::uint8_t* out = scratch_.data();
  for (std::size_t x = 0; x < width; ++x, row += 4, out += size) {
    out[0] = row[first];
    out[1] = row[1];
    out[2] = row[2 - first];
    if (size == 4) {
      out[3] = row[3];
    } else if (blend) {
      for (int c = 0; c < 3; ++c) out[c] = tovmx::OverWhite(out[c], row[3]);
    }
  }
}

}  // namespace tovmx
