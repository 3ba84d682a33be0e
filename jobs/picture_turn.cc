// SPDX-License-Identifier: MIT
// Every new pixel is fetched from its old place, with the old axes swapped or walked backward.
#include "picture_turn.h"

#include "error.h"

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

void CopyPixel(const CoreDib& from, int fromX, int fromY, CoreDib& to, int x, int y) {
  const int bits = from.GetBitsPerPixel();
  if (bits < 8) {
    SetPackedPixel(to.GetRow(y), x, bits, PackedPixel(from.GetRow(fromY), fromX, bits));
    return;
  }
  const auto size = static_cast<std::size_t>(bits / 8);
  std::memcpy(to.GetRow(y) + static_cast<std::size_t>(x) * size,
              from.GetRow(fromY) + static_cast<std::size_t>(fromX) * size, size);
}

void TurnUpright(CoreDib& picture, int orientation, const std::string& place) {
  if (orientation == 1) return;
  const bool sideways = orientation >= 5;
  const int width = picture.GetWidth();
  const int height = picture.GetHeight();
  // Which of the old axes is walked backward.
  const bool backX = orientation == 2 || orientation == 3 || orientation == 7 || orientation == 8;
  const bool backY = orientation == 3 || orientation == 4 || orientation == 6 || orientation == 7;
  CoreDib turned = NewPictureLike(picture, sideways ? height : width, sideways ? width : height, place);
  if (sideways) turned.SetDpi(picture.GetDpiY(), picture.GetDpiX());
  for (int y = 0; y < turned.GetHeight(); ++y) {
    for (int x = 0; x < turned.GetWidth(); ++x) {
      const int fromX = sideways ? y : x;
      const int fromY = sideways ? x : y;
      CopyPixel(picture, backX ? width - 1 - fromX : fromX, backY ? height - 1 - fromY : fromY, turned, x, y);
    }
  }
  picture = std::move(turned);
}

}  // namespace jobs
