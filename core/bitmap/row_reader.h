// SPDX-License-Identifier: MIT
// RowReader: the rows of any bitmap in one of a few plain layouts.
//
// A row that already has the layout is handed out in place; any other is expanded into one scratch row.
//
//   RowReader rows(bitmap, RowLayout::kBgr);
//   for (int y = 0; y < bitmap.GetHeight(); ++y) Consume(rows.Row(y));
#pragma once

#include "tovmx/dib.h"

#include <array>
#include <cstdint>
#include <vector>

namespace tovmx {

enum class RowLayout {
  kGray,  // 1 byte; only for bitmaps of up to 8 bits without a palette
  kBgr,   // 3 bytes; what is not opaque is blended over white
  kRgb,   // the same in the other order
  kBgra,  // 4 bytes, straight alpha
  kRgba,
};

// The layout that loses nothing: gray, BGR or BGRA.
RowLayout PlainLayoutOf(const CoreDib& bitmap) noexcept;

int BytesPerPixel(RowLayout layout) noexcept;

// How many colors a file must list for a bitmap of up to 8 bits: its palette's, or more (black ones) when
// pixels hold indices beyond; all levels when it is gray.
int UsedColors(const CoreDib& bitmap);

class RowReader {
 public:
  // The bitmap must outlive the reader.
  RowReader(const CoreDib& bitmap, RowLayout layout);

  // Valid until the next call. Precondition: 0 <= y < height.
  const std::uint8_t* Row(int y);

 private:
  void ExpandIndices(const std::uint8_t* row);
  void ExpandBgr(const std::uint8_t* row);
  void ExpandBgra(const std::uint8_t* row);

  const CoreDib& bitmap_;
  RowLayout layout_;
  bool inPlace_;
  std::vector<std::uint8_t> scratch_;
  std::array<std::array<std::uint8_t, 4>, 256> colors_{};  // of indices, in the layout's order
};

}  // namespace tovmx
