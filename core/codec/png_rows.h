// SPDX-License-Identifier: MIT
// The rows of a PNG before they are compressed: a byte that names the filter, then the filtered bytes.
//
//     | filter | row 0 ... | filter | row 1 ... |
#pragma once

#include "tovmx/dib.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tovmx {

// How filters are chosen.
enum class PngFiltering {
  kNone,   // none anywhere
  kLeast,  // of each row the one that leaves the smallest sum of absolute values
};

class PngRowFilter {
 public:
  // The bitmap must outlive this object.
  PngRowFilter(const CoreDib& bitmap, PngFiltering filtering);

  // Bytes of a row without and with the byte for its filter.
  static std::size_t RowBytes(const CoreDib& bitmap) noexcept;
  static std::size_t FilteredRowBytes(const CoreDib& bitmap) noexcept { return RowBytes(bitmap) + 1; }

  // Filters the rows from `first` on and before `last`; returns where the result ends. Up to kPngRowSlack
  // bytes behind it may be written.
  std::uint8_t* Filter(int first, int last, std::uint8_t* out);

 private:
  void Load(int y, std::uint8_t* row) const;
  void FilterRow(const std::uint8_t* row, const std::uint8_t* above, std::uint8_t* out) const;

  const CoreDib& bitmap_;
  PngFiltering filtering_;
  std::size_t size_;
  std::size_t pixel_;
  std::vector<std::uint8_t> rows_[2];
};

// What suits the bitmap. Colors of a palette and packed pixels are seldom better off with filters, which a
// sample of the rows tells.
PngFiltering ChooseFiltering(const CoreDib& bitmap);

}  // namespace tovmx
