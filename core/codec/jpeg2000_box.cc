// SPDX-License-Identifier: MIT
// A box is a length of 4 bytes, a type of 4 and the content:
//
//     | length | type | content ... |        length 1: 8 bytes of length follow the type
//                                            length 0: the box goes on to the end of the file
//
// Numbers are big-endian. Dots a meter are two numbers of 16 bits as a fraction and a power of ten.
#include "codec/jpeg2000_box.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <limits>

namespace tovmx {

namespace {

constexpr std::uint32_t kCaptured = 0x72657363;  // "resc"
constexpr std::uint32_t kShown = 0x72657364;     // "resd"
constexpr std::size_t kHead = 8;
constexpr std::size_t kNumbers = 10;  // two fractions of 16 bits each and two powers of ten

bool ReadExactly(CoreInputStream& stream, std::uint8_t* to, std::size_t size) {
  return stream.Read(to, size) == size;
}

unsigned Get16(const std::uint8_t* p) { return static_cast<unsigned>(p[0]) << 8 | p[1]; }

void Put(std::uint8_t* to, std::uint32_t value, std::size_t bytes) {
  while (bytes != 0) {
    to[--bytes] = static_cast<std::uint8_t>(value);
    value >>= 8;
  }
}

// A fraction of dots a meter, as dots an inch; 0 when it is none.
float Dpi(const std::uint8_t* fraction, std::uint8_t power) {
  const auto ten = static_cast<std::int8_t>(power);
  if (Get16(fraction + 2) == 0) return 0;
  const double dpi = Get16(fraction) * 0.0254 / Get16(fraction + 2) * std::pow(10.0, ten);
  return dpi <= std::numeric_limits<float>::max() ? static_cast<float>(dpi) : 0.0f;
}

// Dots a meter are dots an inch times 10,000 / 254: the number keeps as many decimals as 16 bits hold.
void PutDpi(float dpi, std::uint8_t* fraction, std::uint8_t* power) {
  assert(dpi > 0);
  constexpr int kMostDecimals = 4;
  constexpr double kLargest = 65535;
  double number = dpi;
  int ten = 4;
  while (number > kLargest) number /= 10, ++ten;
  while (ten > 4 - kMostDecimals && number * 10 <= kLargest && number != std::round(number))
    number *= 10, --ten;
  Put(fraction, static_cast<std::uint32_t>(std::max(1.0, std::round(number))), 2);
  Put(fraction + 2, 254, 2);
  *power = static_cast<std::uint8_t>(ten);
}

}  // namespace

std::uint32_t GetJpeg2000Number(const std::uint8_t* p) noexcept {
  return static_cast<std::uint32_t>(p[0]) << 24 | static_cast<std::uint32_t>(p[1]) << 16 |
         static_cast<std::uint32_t>(p[2]) << 8 | p[3];
}

bool NextJpeg2000Box(CoreInputStream& stream, std::uint64_t at, Jpeg2000Box& box) {
  std::uint8_t head[2 * kHead];
  if (!stream.Seek(at) || !ReadExactly(stream, head, kHead)) return false;
  std::uint64_t length = GetJpeg2000Number(head);
  std::uint64_t used = kHead;
  if (length == 1) {
    if (!ReadExactly(stream, head + kHead, kHead)) return false;
    length = std::uint64_t{GetJpeg2000Number(head + 8)} << 32 | GetJpeg2000Number(head + 12);
    used = 2 * kHead;
  }
  const bool usable = length >= used && length <= UINT64_MAX - at;
  box = {GetJpeg2000Number(head + 4), at, at + used, usable ? at + length : UINT64_MAX};
  return true;
}

bool FindJpeg2000Box(CoreInputStream& stream, std::uint64_t at, std::uint64_t end, std::uint32_t type,
                     Jpeg2000Box& box) {
  for (; at < end && NextJpeg2000Box(stream, at, box); at = box.end) {
    if (box.type == type) return true;
  }
  return false;
}

Jpeg2000Resolution ReadJpeg2000Resolution(CoreInputStream& stream, const Jpeg2000Box& resolution) {
  for (const std::uint32_t type : {kCaptured, kShown}) {
    Jpeg2000Box box;
    std::uint8_t numbers[kNumbers];
    if (!FindJpeg2000Box(stream, resolution.content, resolution.end, type, box)) continue;
    // Cut: its numbers would be those of the next box.
    if (box.end != UINT64_MAX && box.end > resolution.end) continue;
    if (!stream.Seek(box.content) || !ReadExactly(stream, numbers, kNumbers)) continue;
    return {Dpi(numbers + 4, numbers[9]), Dpi(numbers, numbers[8])};  // the vertical one comes first
  }
  return {};
}

std::array<std::uint8_t, 26> MakeJpeg2000Resolution(float dpiX, float dpiY) noexcept {
  std::array<std::uint8_t, 2 * kHead + kNumbers> box{};
  std::uint8_t* const inner = box.data() + kHead;
  std::uint8_t* const numbers = inner + kHead;
  Put(box.data(), box.size(), 4);
  Put(box.data() + 4, kJpeg2000Resolution, 4);
  Put(inner, kHead + kNumbers, 4);
  Put(inner + 4, kCaptured, 4);
  PutDpi(dpiY, numbers, numbers + 8);
  PutDpi(dpiX, numbers + 4, numbers + 9);
  return box;
}

}  // namespace tovmx
