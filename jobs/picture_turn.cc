// SPDX-License-Identifier: MIT
// Every new pixel is fetched from its old place, with the old axes swapped or walked backward: one step to
// the right and one step down in the new picture are two steps of bytes in the old one. Pixels that share
// bytes have no such steps and are fetched one by one.
#include "picture_turn.h"

#include "error.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

namespace jobs {

namespace {

void CopyPalette(const CoreDib& from, CoreDib& to) {
  const int count = from.GetPaletteSize();
  std::vector<std::uint32_t> colors(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) colors[static_cast<std::size_t>(i)] = from.GetPaletteEntry(i);
  if (count == 0 || !to.SetPalette(colors.data(), count)) return;
  for (int i = 0; i < count; ++i) {
    if (from.GetPaletteAlpha(i) != 255) to.SetPaletteAlpha(i, from.GetPaletteAlpha(i));
  }
}

// The pixel x of a row whose pixels share bytes.
unsigned PackedPixel(const std::uint8_t* row, int x, int bits) {
  const int perByte = 8 / bits;
  return row[x / perByte] >> (8 - bits - x % perByte * bits) & ((1U << bits) - 1);
}

void SetPackedPixel(std::uint8_t* row, int x, int bits, unsigned value) {
  const int perByte = 8 / bits;
  const int shift = 8 - bits - x % perByte * bits;
  std::uint8_t& byte = row[x / perByte];
  byte = static_cast<std::uint8_t>((byte & ~(((1U << bits) - 1) << shift)) | value << shift);
}

}  // namespace

CoreDib NewPictureLike(const CoreDib& like, int width, int height, const std::string& place) {
  CoreDib made;
  if (!made.Create(width, height, like.GetBitsPerPixel())) {
    throw Error(ErrorKind::kLimit, place, "the picture needs more memory than there is");
  }
  CopyPalette(like, made);
  made.SetDpi(like.GetDpiX(), like.GetDpiY());
  return made;
}

void CopyPackedPixel(const CoreDib& from, int fromX, int fromY, CoreDib& to, int x, int y) {
  const int bits = from.GetBitsPerPixel();
  SetPackedPixel(to.GetRow(y), x, bits, PackedPixel(from.GetRow(fromY), fromX, bits));
}

namespace {

// Where a turned picture finds its pixels.
struct Turn {
  bool sideways;
  bool backX;  // the old x axis is walked backward
  bool backY;

  explicit Turn(int orientation)
      : sideways(orientation >= 5),
        backX(orientation == 2 || orientation == 3 || orientation == 7 || orientation == 8),
        backY(orientation == 3 || orientation == 4 || orientation == 6 || orientation == 7) {}
};

// A square of pixels at a time, so that rows which are walked across stay in the processor's cache.
template <std::size_t kPixel>
void TurnBytes(const CoreDib& from, const Turn& turn, CoreDib& to) {
  constexpr int kSquare = 32;
  const int lastX = from.GetWidth() - 1;
  const std::uint8_t* const origin =
      from.GetRow(turn.backY ? from.GetHeight() - 1 : 0) + (turn.backX ? lastX : 0) * std::ptrdiff_t{kPixel};
  const std::ptrdiff_t alongX = turn.backX ? -std::ptrdiff_t{kPixel} : std::ptrdiff_t{kPixel};
  const std::ptrdiff_t alongY = turn.backY ? -std::ptrdiff_t{from.GetStride()} : from.GetStride();
  const std::ptrdiff_t right = turn.sideways ? alongY : alongX;
  const std::ptrdiff_t down = turn.sideways ? alongX : alongY;
  for (int top = 0; top < to.GetHeight(); top += kSquare) {
    const int bottom = std::min(top + kSquare, to.GetHeight());
    for (int left = 0; left < to.GetWidth(); left += kSquare) {
      const int end = std::min(left + kSquare, to.GetWidth());
      for (int y = top; y < bottom; ++y) {
        std::uint8_t* out = to.GetRow(y) + static_cast<std::size_t>(left) * kPixel;
        std::ptrdiff_t at = y * down + left * right;
        for (int x = left; x < end; ++x, at += right, out += kPixel) std::memcpy(out, origin + at, kPixel);
      }
    }
  }
}

void TurnBits(const CoreDib& from, const Turn& turn, CoreDib& to) {
  for (int y = 0; y < to.GetHeight(); ++y) {
    for (int x = 0; x < to.GetWidth(); ++x) {
      const int fromX = turn.sideways ? y : x;
      const int fromY = turn.sideways ? x : y;
      CopyPackedPixel(from, turn.backX ? from.GetWidth() - 1 - fromX : fromX,
                      turn.backY ? from.GetHeight() - 1 - fromY : fromY, to, x, y);
    }
  }
}

}  // namespace

void TurnUpright(CoreDib& picture, int orientation, const std::string& place) {
  if (orientation == 1) return;
  const Turn turn(orientation);
  const int width = picture.GetWidth();
  const int height = picture.GetHeight();
  CoreDib turned =
      NewPictureLike(picture, turn.sideways ? height : width, turn.sideways ? width : height, place);
  if (turn.sideways) turned.SetDpi(picture.GetDpiY(), picture.GetDpiX());
  switch (picture.GetBitsPerPixel()) {
    case 8:
      TurnBytes<1>(picture, turn, turned);
      break;
    case 24:
      TurnBytes<3>(picture, turn, turned);
      break;
    case 32:
      TurnBytes<4>(picture, turn, turned);
      break;
    default:
      TurnBits(picture, turn, turned);
  }
  picture = std::move(turned);
}

}  // namespace jobs
