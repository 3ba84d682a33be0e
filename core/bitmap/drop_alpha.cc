// SPDX-License-Identifier: MIT
// From 32 bits to 24 in place.
#include "tovmx/dib.h"

#include <cstdlib>
#include <cstring>

namespace {

// Four pixels of four bytes become three words; what is written never reaches what is still to be read.
void DropFromRow(const std::uint8_t* from, std::size_t width, std::uint8_t* to) noexcept {
  constexpr std::size_t kAtOnce = 4;
  std::size_t x = 0;
  for (; x + kAtOnce <= width; x += kAtOnce, from += 16, to += 12) {
    std::uint32_t in[4];
    std::memcpy(in, from, sizeof in);
    const std::uint32_t out[3] = {(in[0] & 0xffffffU) | in[1] << 24, (in[1] >> 8 & 0xffffU) | in[2] << 16,
                                  (in[2] >> 16 & 0xffU) | in[3] << 8};
    std::memcpy(to, out, sizeof out);
  }
  for (; x < width; ++x, from += 4, to += 3) {
    for (int i = 0; i < 3; ++i) to[i] = from[i];
  }
}

}  // namespace

bool CoreDropAlpha(CoreDib* bitmap) noexcept {
  if (bitmap == nullptr || bitmap->bitsPerPixel_ != 32) return false;
  const auto width = static_cast<std::size_t>(bitmap->width_);
  const std::size_t stride = (3 * width + 3) / 4 * 4;
  const auto before = static_cast<std::size_t>(bitmap->stride_);
  for (std::size_t y = 0; y < static_cast<std::size_t>(bitmap->height_); ++y) {
    std::uint8_t* const row = bitmap->pixels_ + y * stride;
    DropFromRow(bitmap->pixels_ + y * before, width, row);
    std::memset(row + 3 * width, 0, stride - 3 * width);
  }
  bitmap->bitsPerPixel_ = 24;
  bitmap->stride_ = static_cast<int>(stride);
  // A block that stays as large as it was is as good.
  void* const smaller = std::realloc(bitmap->pixels_, bitmap->GetBufferSize());
  if (smaller != nullptr) bitmap->pixels_ = static_cast<std::uint8_t*>(smaller);
  return true;
}
