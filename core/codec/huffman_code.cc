// SPDX-License-Identifier: MIT
#include "codec/huffman_code.h"

#include <algorithm>
#include <array>

namespace tovmx {

namespace {

// A symbol that occurs: its count above its number, so that the order of these is one of both.
using Leaf = std::uint64_t;
constexpr unsigned kSymbolBits = 16;

constexpr std::uint64_t CountOf(Leaf leaf) { return leaf >> kSymbolBits; }
constexpr std::size_t SymbolOf(Leaf leaf) { return leaf & ((1U << kSymbolBits) - 1); }

using CountsByLength = std::array<unsigned, kMostCodeBits + 1>;

// Huffman's tree over leaves in order: what is joined comes in order too, so that two queues do. Tells how
// many codes have which length; those that are too long count as `most`.
CountsByLength CountLengths(const Leaf* leaves, std::size_t size, unsigned most) {
  // Nodes: first the leaves, then what joins two, the root at last.
  std::array<std::uint16_t, 2 * kMostSymbols> parents;
  std::array<std::uint64_t, kMostSymbols> joined;
  std::size_t leaf = 0;
  std::size_t inner = 0;
  for (std::size_t node = 0; node + 1 < size; ++node) {
    joined[node] = 0;
    for (int child = 0; child < 2; ++child) {
      const bool takesLeaf = leaf < size && (inner == node || CountOf(leaves[leaf]) <= joined[inner]);
      joined[node] += takesLeaf ? CountOf(leaves[leaf]) : joined[inner];
      parents[takesLeaf ? leaf++ : size + inner++] = static_cast<std::uint16_t>(size + node);
    }
  }
  CountsByLength counts{};
  std::array<std::uint16_t, 2 * kMostSymbols> depths;
  depths[2 * size - 2] = 0;
  for (std::size_t node = 2 * size - 2; node-- > 0;) {
    depths[node] = static_cast<std::uint16_t>(depths[parents[node]] + 1);
    if (node < size) ++counts[std::min<unsigned>(depths[node], most)];
  }
  return counts;
}

// Codes that were cut take more than there are: a shorter one becomes two of the next length, one of which is
// for a code that had been cut, until all fit.
void MakeRoom(CountsByLength& counts, unsigned most) {
  std::uint64_t taken = 0;
  for (unsigned length = 1; length <= most; ++length)
    taken += std::uint64_t{counts[length]} << (most - length);
  for (; taken > std::uint64_t{1} << most; --taken) {
    unsigned length = most - 1;
    while (counts[length] == 0) --length;
    --counts[most];
    --counts[length];
    counts[length + 1] += 2;
  }
}

std::uint16_t Mirror(unsigned code, unsigned length) {
  unsigned mirrored = 0;
  for (; length > 0; --length, code >>= 1) mirrored = mirrored << 1 | (code & 1U);
  return static_cast<std::uint16_t>(mirrored);
}

}  // namespace

void ChooseCodeLengths(const std::uint32_t* counts, std::size_t symbols, unsigned most,
                       std::uint8_t* lengths) {
  std::array<Leaf, kMostSymbols> leaves;
  std::size_t size = 0;
  for (std::size_t i = 0; i < symbols; ++i) {
    lengths[i] = 0;
    if (counts[i] != 0) leaves[size++] = Leaf{counts[i]} << kSymbolBits | i;
  }
  if (size == 0) return;
  if (size == 1) {
    lengths[SymbolOf(leaves[0])] = 1;
    return;
  }
  std::sort(leaves.begin(), leaves.begin() + static_cast<std::ptrdiff_t>(size));
  CountsByLength byLength = CountLengths(leaves.data(), size, most);
  MakeRoom(byLength, most);
  std::size_t rarest = 0;
  for (unsigned length = most; length > 0; --length) {
    for (unsigned i = 0; i < byLength[length]; ++i)
      lengths[SymbolOf(leaves[rarest++])] = static_cast<std::uint8_t>(length);
  }
}

void AssignCodes(const std::uint8_t* lengths, std::size_t symbols, std::uint16_t* codes) {
  std::array<unsigned, kMostCodeBits + 2> next{};  // by length
  for (std::size_t i = 0; i < symbols; ++i) {
    if (lengths[i] != 0) ++next[lengths[i] + 1U];
  }
  unsigned first = 0;
  for (unsigned length = 1; length <= kMostCodeBits; ++length) {
    first = (first + next[length]) << 1;
    next[length] = first;
  }
  for (std::size_t i = 0; i < symbols; ++i)
    codes[i] = lengths[i] == 0 ? std::uint16_t{0} : Mirror(next[lengths[i]]++, lengths[i]);
}

}  // namespace tovmx
