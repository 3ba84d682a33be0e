// SPDX-License-Identifier: MIT
// One block of pixels; rows lie in it from the top down:
//
//     GetBuffer() -> | row 0, padded to 4 bytes | row 1 | ... |   stride = 4 * ceil(width * bits / 32)
//     1, 4, 8 bits   indices, the leftmost in the highest bits of its byte; gray without a palette
//     24, 32 bits    blue, green, red (, straight alpha)
//
// The block is calloc's and not a vector's: a large one comes zeroed from the system, so that a clean
// bitmap costs nothing until it is written to, and a failure is a result instead of an exception.
#include "tovmx/dib.h"

#include "large_pages.h"
#include "pixel/color.h"
#include "pixel/packed_index.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <utility>

CoreDib::CoreDib(CoreDib&& other) noexcept { *this = std::move(other); }

CoreDib& CoreDib::operator=(CoreDib&& other) noexcept {
  std::swap(pixels_, other.pixels_);
  std::swap(width_, other.width_);
  std::swap(height_, other.height_);
  std::swap(bitsPerPixel_, other.bitsPerPixel_);
  std::swap(stride_, other.stride_);
  std::swap(dpiX_, other.dpiX_);
  std::swap(dpiY_, other.dpiY_);
  std::swap(palette_, other.palette_);
  std::swap(paletteAlpha_, other.paletteAlpha_);
  return *this;
}

CoreDib::~CoreDib() { std::free(pixels_); }

namespace {

// Bytes per row, 0 when it is not a positive int.
int StrideOf(int width, int bitsPerPixel) noexcept {
  const std::int64_t bits = static_cast<std::int64_t>(width) * bitsPerPixel;
  const std::int64_t bytes = (bits + 31) / 32 * 4;
  return bytes > INT_MAX ? 0 : static_cast<int>(bytes);
}

bool IsDepth(int bits) noexcept { return bits == 1 || bits == 4 || bits == 8 || bits == 24 || bits == 32; }

}  // namespace

std::uint64_t CoreDib::BytesNeeded(int width, int height, int bitsPerPixel) noexcept {
  if (width < 1 || height < 1 || !IsDepth(bitsPerPixel)) return 0;
  return static_cast<std::uint64_t>(StrideOf(width, bitsPerPixel)) * static_cast<std::uint64_t>(height);
}

bool CoreDib::Create(int width, int height, int bitsPerPixel) {
  const std::uint64_t bytes = BytesNeeded(width, height, bitsPerPixel);
  if (bytes == 0) return false;
  void* pixels = std::calloc(1, static_cast<std::size_t>(bytes));
  if (pixels == nullptr) return false;
  base::PreferLargePages(pixels, static_cast<std::size_t>(bytes));
  std::free(pixels_);
  pixels_ = static_cast<std::uint8_t*>(pixels);
  width_ = width;
  height_ = height;
  bitsPerPixel_ = bitsPerPixel;
  stride_ = StrideOf(width, bitsPerPixel);
  dpiX_ = dpiY_ = 0;
  palette_.clear();
  paletteAlpha_.clear();
  return true;
}

bool CoreDib::CopyFrom(const CoreDib& other) {
  if (this == &other) return true;
  CoreDib copy;
  if (other.pixels_ != nullptr) {
    if (!copy.Create(other.width_, other.height_, other.bitsPerPixel_)) return false;
    std::memcpy(copy.pixels_, other.pixels_, other.GetBufferSize());
  }
  copy.palette_ = other.palette_;
  copy.paletteAlpha_ = other.paletteAlpha_;
  copy.dpiX_ = other.dpiX_;
  copy.dpiY_ = other.dpiY_;
  *this = std::move(copy);
  return true;
}

std::uint32_t CoreDib::GetPaletteEntry(int index) const noexcept {
  return index < 0 || index >= GetPaletteSize() ? 0 : palette_[static_cast<std::size_t>(index)];
}

std::uint8_t CoreDib::GetPaletteAlpha(int index) const noexcept {
  const bool known = index >= 0 && static_cast<std::size_t>(index) < paletteAlpha_.size();
  return known ? paletteAlpha_[static_cast<std::size_t>(index)] : std::uint8_t{255};
}

bool CoreDib::SetPalette(const std::uint32_t* entries, int count) {
  if (count < 0 || (count > 0 && (entries == nullptr || bitsPerPixel_ < 1 || bitsPerPixel_ > 8 ||
                                  count > 1 << bitsPerPixel_)))
    return false;
  palette_.resize(static_cast<std::size_t>(count));
  std::transform(entries, entries + count, palette_.begin(),
                 [](std::uint32_t entry) { return entry & 0xffffffU; });
  paletteAlpha_.clear();
  return true;
}

bool CoreDib::SetPaletteAlpha(int index, std::uint8_t alpha) {
  if (index < 0 || index >= GetPaletteSize()) return false;
  if (paletteAlpha_.empty()) {
    if (alpha == 255) return true;
    paletteAlpha_.assign(palette_.size(), 255);
  }
  paletteAlpha_[static_cast<std::size_t>(index)] = alpha;
  return true;
}

bool CoreDib::HasAlpha() const noexcept {
  return bitsPerPixel_ == 32 || std::any_of(paletteAlpha_.begin(), paletteAlpha_.end(),
                                            [](std::uint8_t alpha) { return alpha != 255; });
}

void CoreDib::SetDpi(float dpiX, float dpiY) noexcept {
  const auto known = [](float dpi) { return std::isfinite(dpi) && dpi > 0 ? dpi : 0.0f; };
  dpiX_ = known(dpiX);
  dpiY_ = known(dpiY);
}

std::uint32_t CoreDib::GetArgb(int x, int y) const noexcept {
  const std::uint8_t* row = GetRow(y);
  if (bitsPerPixel_ >= 24) {
    const std::uint8_t* p = row + static_cast<std::size_t>(x) * static_cast<std::size_t>(bitsPerPixel_ / 8);
    const std::uint32_t alpha = bitsPerPixel_ == 32 ? p[3] : 255U;
    return alpha << 24 | static_cast<std::uint32_t>(p[2]) << 16 | static_cast<std::uint32_t>(p[1]) << 8 |
           p[0];
  }
  const unsigned value =
      tovmx::PackedIndex(row, static_cast<std::size_t>(x), static_cast<unsigned>(bitsPerPixel_));
  if (palette_.empty()) return 0xff000000U | value * (255U / ((1U << bitsPerPixel_) - 1)) * 0x010101U;
  const int index = static_cast<int>(value);
  const std::uint32_t entry = GetPaletteEntry(index);
  return static_cast<std::uint32_t>(GetPaletteAlpha(index)) << 24 | (entry & 0xffU) << 16 |
         (entry & 0xff00U) | entry >> 16;
}

namespace {

template <typename Change>
void ChangeColors(std::uint8_t* pixels, std::size_t bytes, Change change) noexcept {
  for (std::uint8_t* p = pixels; p != pixels + bytes; p += 4) {
    if (p[3] == 255) continue;
    for (int i = 0; i < 3; ++i) p[i] = p[3] == 0 ? std::uint8_t{0} : change(p[i], p[3]);
  }
}

}  // namespace

void CoreDib::Premultiply() noexcept {
  if (bitsPerPixel_ == 32) ChangeColors(pixels_, GetBufferSize(), tovmx::MultiplyBytes);
}

void CoreDib::Unpremultiply() noexcept {
  if (bitsPerPixel_ == 32) ChangeColors(pixels_, GetBufferSize(), tovmx::DivideByAlpha);
}
