// SPDX-License-Identifier: MIT
// BMP files put together byte by byte, and the pixels that come out.
#pragma once

#include "image_support.h"

#include <cstdint>
#include <string>
#include <vector>

namespace bmp {

inline void Put(std::string& bytes, std::uint32_t value, int count) {
  for (int i = 0; i < count; ++i, value >>= 8) bytes += static_cast<char>(value & 255U);
}

struct Bmp {
  std::uint32_t head = 40;  // its length
  std::int32_t width = 3;
  std::int32_t height = 2;
  unsigned bits = 24;
  std::uint32_t packing = 0;
  std::uint32_t dots = 0;    // per meter
  std::uint32_t colors = 0;  // that the head tells
  std::string more = {};     // fields behind the 40th byte
  std::string palette = {};
  std::string pixels = {};
};

inline std::string Bytes(const Bmp& bmp) {
  std::string head;
  Put(head, bmp.head, 4);
  const int side = bmp.head == 12 ? 2 : 4;
  Put(head, static_cast<std::uint32_t>(bmp.width), side);
  Put(head, static_cast<std::uint32_t>(bmp.height), side);
  Put(head, 1, 2);
  Put(head, bmp.bits, 2);
  Put(head, bmp.packing, 4);
  Put(head, 0, 4);  // bytes of the pixels, which nobody needs
  Put(head, bmp.dots, 4);
  Put(head, bmp.dots, 4);
  Put(head, bmp.colors, 4);
  Put(head, 0, 4);
  head += bmp.more;
  head.resize(bmp.head);
  std::string bytes = "BM";
  const std::size_t offset = 14 + head.size() + bmp.palette.size();
  Put(bytes, static_cast<std::uint32_t>(offset + bmp.pixels.size()), 4);
  Put(bytes, 0, 4);
  Put(bytes, static_cast<std::uint32_t>(offset), 4);
  return bytes + head + bmp.palette + bmp.pixels;
}

// The pixels row by row, top row first, as 0xAARRGGBB.
using Pixels = std::vector<std::uint32_t>;

inline Pixels PixelsOf(const CoreDib* bitmap) {
  Pixels pixels;
  for (int y = 0; bitmap != nullptr && y < bitmap->GetHeight(); ++y) {
    for (int x = 0; x < bitmap->GetWidth(); ++x) pixels.push_back(bitmap->GetArgb(x, y));
  }
  return pixels;
}

inline Pixels PixelsOf(const Bmp& bmp) { return PixelsOf(image::Decode(Bytes(bmp)).get()); }

}  // namespace bmp
