// SPDX-License-Identifier: MIT
// Prefix codes of least length for symbols that are so and so frequent, as deflate writes them.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tovmx {

constexpr std::size_t kMostSymbols = 288;
constexpr unsigned kMostCodeBits = 15;

// The length of each symbol's code in bits, from 1 to `most`, 0 for symbols that do not occur. All codes of
// `most` bits would have to suffice for the symbols that occur, of which there may be one: its code is one
// bit. The codes are complete otherwise, and as short together as any when none reaches `most` bits.
void ChooseCodeLengths(const std::uint32_t* counts, std::size_t symbols, unsigned most,
                       std::uint8_t* lengths);

// The canonical codes of these lengths, first bit lowest.
void AssignCodes(const std::uint8_t* lengths, std::size_t symbols, std::uint16_t* codes);

}  // namespace tovmx
