// SPDX-License-Identifier: MIT
// Filtering rows, and the choice of how.
#include "codec/png_rows.h"

#include "codec/deflate.h"
#include "codec/png_filter.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

namespace tovmx {

PngRowFilter::PngRowFilter(const CoreDib& bitmap, PngFiltering filtering)
    : bitmap_(bitmap),
      filtering_(filtering),
      size_(RowBytes(bitmap)),
      pixel_(static_cast<std::size_t>(std::max(1, bitmap.GetBitsPerPixel() / 8))) {
  for (auto& row : rows_) row.resize(kPngRowSlack + size_ + kPngRowSlack);
}

std::size_t PngRowFilter::RowBytes(const CoreDib& bitmap) noexcept {
  return (static_cast<std::size_t>(bitmap.GetWidth()) * static_cast<std::size_t>(bitmap.GetBitsPerPixel()) +
          7) /
         8;
}

void PngRowFilter::Load(int y, std::uint8_t* row) const {
  if (pixel_ >= 3) {
    PngFilters().turn(bitmap_.GetRow(y), static_cast<std::size_t>(bitmap_.GetWidth()), pixel_, row);
  } else {
    std::memcpy(row, bitmap_.GetRow(y), size_);
  }
}

std::uint8_t* PngRowFilter::Filter(int first, int last, std::uint8_t* out) {
  std::uint8_t* row = rows_[0].data() + kPngRowSlack;
  std::uint8_t* above = rows_[1].data() + kPngRowSlack;
  std::fill_n(above, size_, std::uint8_t{0});
  if (first > 0) Load(first - 1, above);
  for (int y = first; y < last; ++y, out += 1 + size_) {
    if (filtering_ == PngFiltering::kNone) {
      *out = kPngFilterNone;
      Load(y, out + 1);
    } else if (y > 0 && std::memcmp(bitmap_.GetRow(y), bitmap_.GetRow(y - 1), size_) == 0) {
      *out = kPngFilterUp;
      std::memset(out + 1, 0, size_);
    } else {
      Load(y, row);
      FilterRow(row, above, out);
      std::swap(row, above);
    }
  }
  return out;
}

void PngRowFilter::FilterRow(const std::uint8_t* row, const std::uint8_t* above, std::uint8_t* out) const {
  std::uint64_t sums[kPngFilters];
  PngFilters().weigh(row, above, size_, pixel_, sums);
  const auto filter = static_cast<PngFilter>(std::min_element(sums, sums + kPngFilters) - sums);
  *out = filter;
  PngFilters().apply(filter, row, above, size_, pixel_, out + 1);
}

namespace {

constexpr std::size_t kSampleBytes = std::size_t{128} << 10;
constexpr int kSampleStripes = 8;

// What stripes of the picture come to.
std::size_t SampleSize(const CoreDib& bitmap, PngFiltering filtering) {
  const std::size_t rowBytes = PngRowFilter::FilteredRowBytes(bitmap);
  const int height = bitmap.GetHeight();
  const auto most =
      static_cast<int>(std::min<std::size_t>(kSampleBytes / rowBytes, static_cast<std::size_t>(height)));
  const int rows = std::max(1, most / kSampleStripes);
  const int stripes = std::min(kSampleStripes, height / rows);
  const std::size_t size = rowBytes * static_cast<std::size_t>(rows) * static_cast<std::size_t>(stripes);
  const ByteBlock sample = AllocateBytes(size + kPngRowSlack);
  if (sample == nullptr) throw std::bad_alloc();
  PngRowFilter filter(bitmap, filtering);
  std::uint8_t* end = sample.get();
  for (int i = 0; i < stripes; ++i) {
    const int first = static_cast<int>(std::int64_t{height - rows} * i / std::max(1, stripes - 1));
    end = filter.Filter(first, first + rows, end);
  }
  const Deflated result = Deflate(sample.get(), size, 1);
  if (result.bytes == nullptr) throw std::bad_alloc();
  return result.size;
}

}  // namespace

PngFiltering ChooseFiltering(const CoreDib& bitmap) {
  if (bitmap.GetBitsPerPixel() >= 8 && bitmap.GetPaletteSize() == 0) return PngFiltering::kLeast;
  const std::size_t plain = SampleSize(bitmap, PngFiltering::kNone);
  const std::size_t filtered = SampleSize(bitmap, PngFiltering::kLeast);
  return filtered < plain ? PngFiltering::kLeast : PngFiltering::kNone;
}

}  // namespace tovmx
