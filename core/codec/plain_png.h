// SPDX-License-Identifier: MIT
// PNG files of the plain kind, which most are, read from memory in one piece: not interlaced, gray of 1, 4 or
// 8 bits, a palette of as many, or RGB and RGBA of 8 bits; every checksum right, every chunk well known and
// in its place. Whatever else a file is, good or bad, is for libpng to say.
#pragma once

#include "codec/deflate.h"
#include "tovmx/dib.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace tovmx {

struct PlainPng {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  int bits = 0;   // of a sample
  int color = 0;  // as the file counts: 0 gray, 2 RGB, 3 palette, 6 RGBA
  std::array<std::uint32_t, 256> palette = {};
  std::array<std::uint8_t, 256> alpha = {};  // of the palette
  int paletteSize = 0;
  int alphaSize = 0;
  std::uint32_t dotsX = 0;  // to the meter, 0 when unknown
  std::uint32_t dotsY = 0;
  const std::uint8_t* pixels = nullptr;  // the first chunk of compressed rows, from its size on
  std::uint64_t compressed = 0;          // bytes in these chunks
  int chunks = 0;                        // of them

  int BitsPerPixel() const noexcept { return color == 2 ? 24 : color == 6 ? 32 : bits; }
  std::uint64_t RowBytes() const noexcept {
    return (std::uint64_t{width} * static_cast<unsigned>(BitsPerPixel()) + 7) / 8;
  }
  // What the rows come to, their filters among them.
  std::uint64_t InflatedBytes() const noexcept { return (RowBytes() + 1) * height; }
};

// Nothing when it is not of this kind.
[[nodiscard]] std::optional<PlainPng> FindPlainPng(const std::uint8_t* data, std::size_t size);

// Fills a bitmap of the file's size and depth. False, and the bitmap then holds anything, when the rows are
// not what they should be or memory is short.
[[nodiscard]] bool ReadPlainPixels(const PlainPng& png, CoreDib& bitmap);

}  // namespace tovmx
