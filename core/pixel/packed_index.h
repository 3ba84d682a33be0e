// SPDX-License-Identifier: MIT
// Palette indices and gray levels of 1, 2, 4 or 8 bits, packed into bytes from the highest bit down:
//
//   4 bits   |  x = 0  |  x = 1  |         1 bit   |0|1|2|3|4|5|6|7|
//            7       4 3       0                   7             0
#pragma once

#include <cassert>
#include <cstddef>
#include <cstdint>

namespace tovmx {

// Where a column's bits are. `bits` divides 8.
struct PackedPlace {
  constexpr PackedPlace(std::size_t x, unsigned bits) noexcept
      : byte(x * bits / 8), shift(8 - bits - static_cast<unsigned>(x * bits % 8)), mask((1U << bits) - 1) {}

  std::size_t byte;
  unsigned shift;
  unsigned mask;
};

constexpr unsigned PackedIndex(const std::uint8_t* row, std::size_t x, unsigned bits) noexcept {
  assert(bits == 1 || bits == 2 || bits == 4 || bits == 8);
  const PackedPlace place(x, bits);
  return static_cast<unsigned>(row[place.byte]) >> place.shift & place.mask;
}

// Bits of `index` beyond `bits` are left out.
constexpr void SetPackedIndex(std::uint8_t* row, std::size_t x, unsigned bits, unsigned index) noexcept {
  const PackedPlace place(x, bits);
  std::uint8_t& byte = row[place.byte];
  byte =
      static_cast<std::uint8_t>((byte & ~(place.mask << place.shift)) | (index & place.mask) << place.shift);
}

}  // namespace tovmx
