// SPDX-License-Identifier: MIT
#include "codec/deflate_block.h"

#include "codec/entropy.h"
#include "codec/huffman_code.h"

#include <algorithm>

namespace tovmx {

namespace {

// ---- Lengths and distances: a symbol for a range, and bits for the place in it

constexpr std::size_t kLengthSymbols = kLiteralSymbols - kEndOfBlock - 1;

struct Range {
  std::uint16_t first = 0;
  std::uint8_t bits = 0;
};

constexpr auto kLengthRanges = [] {
  std::array<Range, kLengthSymbols> ranges{};
  std::size_t first = kShortestMatch;
  for (std::size_t i = 0; i + 1 < ranges.size(); ++i) {
    ranges[i] = {static_cast<std::uint16_t>(first), static_cast<std::uint8_t>(i < 8 ? 0 : i / 4 - 1)};
    first += std::size_t{1} << ranges[i].bits;
  }
  ranges.back() = {kLongestMatch, 0};
  return ranges;
}();

constexpr auto kDistanceRanges = [] {
  std::array<Range, kDistanceSymbols> ranges{};
  std::size_t first = 1;
  for (std::size_t i = 0; i < ranges.size(); ++i) {
    ranges[i] = {static_cast<std::uint16_t>(first), static_cast<std::uint8_t>(i < 4 ? 0 : i / 2 - 1)};
    first += std::size_t{1} << ranges[i].bits;
  }
  return ranges;
}();

constexpr auto kSymbolsOfLengths = [] {
  std::array<std::uint8_t, kLongestMatch + 1> symbols{};
  std::size_t symbol = 0;
  for (std::size_t length = kShortestMatch; length < symbols.size(); ++length) {
    if (symbol + 1 < kLengthRanges.size() && length == kLengthRanges[symbol + 1].first) ++symbol;
    symbols[length] = static_cast<std::uint8_t>(symbol);
  }
  return symbols;
}();

// Far ones by the 128 distances that they are among: no range begins within.
constexpr std::size_t kNear = 256;
constexpr std::size_t kFarStep = 128;

constexpr auto kSymbolsOfDistances = [] {
  std::array<std::uint8_t, kNear + kFarthestMatch / kFarStep> symbols{};
  std::size_t symbol = 0;
  for (std::size_t distance = 1; distance <= kFarthestMatch; ++distance) {
    if (symbol + 1 < kDistanceRanges.size() && distance == kDistanceRanges[symbol + 1].first) ++symbol;
    if (distance <= kNear) {
      symbols[distance - 1] = static_cast<std::uint8_t>(symbol);
    } else {
      symbols[kNear + (distance - 1) / kFarStep] = static_cast<std::uint8_t>(symbol);
    }
  }
  return symbols;
}();

std::size_t SymbolOfDistance(std::size_t distance) {
  return kSymbolsOfDistances[distance <= kNear ? distance - 1 : kNear + (distance - 1) / kFarStep];
}

// ---- Codes, and the lengths of codes as they stand in front of the block

template <std::size_t kSymbols>
struct Codes {
  std::array<std::uint8_t, kSymbols> lengths{};
  std::array<std::uint16_t, kSymbols> codes{};

  Codes(const std::array<std::uint32_t, kSymbols>& counts, unsigned most) {
    ChooseCodeLengths(counts.data(), kSymbols, most, lengths.data());
    AssignCodes(lengths.data(), kSymbols, codes.data());
  }

  // Up to the last one that occurs.
  std::size_t Used(std::size_t least) const {
    std::size_t used = kSymbols;
    while (used > least && lengths[used - 1] == 0) --used;
    return used;
  }
};

constexpr unsigned kRepeatLast = 16;  // 3 to 6 times, in two bits
constexpr unsigned kFewZeros = 17;    // 3 to 10, in three
constexpr unsigned kManyZeros = 18;   // 11 to 138, in seven
constexpr std::size_t kLengthCodes = 19;
constexpr unsigned kMostLengthCodeBits = 7;
constexpr std::array<std::uint8_t, kLengthCodes> kOrderOfLengthCodes = {16, 17, 18, 0, 8,  7, 9,  6, 10, 5,
                                                                        11, 4,  12, 3, 13, 2, 14, 1, 15};

// The lengths of all codes, those that repeat told by their number.
class CodeLengths {
 public:
  CodeLengths(const std::uint8_t* lengths, std::size_t size) {
    for (std::size_t i = 0; i < size;) {
      const std::uint8_t length = lengths[i];
      std::size_t same = 1;
      while (i + same < size && lengths[i + same] == length) ++same;
      i += same;
      if (length == 0) {
        AddZeros(same);
      } else {
        AddEqual(length, same);
      }
    }
  }

  const std::array<std::uint32_t, kLengthCodes>& Counts() const { return counts_; }

  std::uint64_t Bits(const Codes<kLengthCodes>& codes) const {
    std::uint64_t bits = 0;
    for (std::size_t i = 0; i < kLengthCodes; ++i)
      bits += std::uint64_t{counts_[i]} * (codes.lengths[i] + ExtraBits(i));
    return bits;
  }

  void Write(const Codes<kLengthCodes>& codes, BitWriter& writer) const {
    for (std::size_t i = 0; i < size_; ++i) {
      const std::size_t symbol = symbols_[i];
      writer.Put(codes.codes[symbol] | std::uint64_t{extra_[i]} << codes.lengths[symbol],
                 codes.lengths[symbol] + ExtraBits(symbol));
    }
  }

 private:
  static unsigned ExtraBits(std::size_t symbol) {
    return symbol == kRepeatLast ? 2 : symbol == kFewZeros ? 3 : symbol == kManyZeros ? 7 : 0;
  }

  void Add(unsigned symbol, std::size_t extra = 0) {
    symbols_[size_] = static_cast<std::uint8_t>(symbol);
    extra_[size_++] = static_cast<std::uint8_t>(extra);
    ++counts_[symbol];
  }

  void AddZeros(std::size_t count) {
    for (; count >= 11; count -= std::min<std::size_t>(count, 138))
      Add(kManyZeros, std::min<std::size_t>(count, 138) - 11);
    if (count >= 3) {
      Add(kFewZeros, count - 3);
    } else {
      for (; count > 0; --count) Add(0);
    }
  }

  void AddEqual(unsigned length, std::size_t count) {
    Add(length);
    for (--count; count >= 3; count -= std::min<std::size_t>(count, 6))
      Add(kRepeatLast, std::min<std::size_t>(count, 6) - 3);
    for (; count > 0; --count) Add(length);
  }

  std::array<std::uint8_t, kLiteralSymbols + kDistanceSymbols> symbols_;
  std::array<std::uint8_t, kLiteralSymbols + kDistanceSymbols> extra_;
  std::size_t size_ = 0;
  std::array<std::uint32_t, kLengthCodes> counts_{};
};

// ---- The block

SymbolCounts WithEnd(SymbolCounts counts) {
  counts.literals[kEndOfBlock] = 1;
  // Readers want a code for distances even where there are none.
  if (*std::max_element(counts.distances.begin(), counts.distances.end()) == 0) counts.distances[0] = 1;
  return counts;
}

struct BlockCodes {
  explicit BlockCodes(const SymbolCounts& counts)
      : literals(counts.literals, kMostCodeBits),
        distances(counts.distances, kMostCodeBits),
        literalsUsed(literals.Used(kEndOfBlock + 1)),
        distancesUsed(distances.Used(1)) {}

  std::uint64_t Bits(const SymbolCounts& counts) const {
    std::uint64_t bits = 0;
    for (std::size_t i = 0; i < kLiteralSymbols; ++i) {
      const unsigned extra = i > kEndOfBlock ? kLengthRanges[i - kEndOfBlock - 1].bits : 0U;
      bits += std::uint64_t{counts.literals[i]} * (literals.lengths[i] + extra);
    }
    for (std::size_t i = 0; i < kDistanceSymbols; ++i)
      bits += std::uint64_t{counts.distances[i]} * (distances.lengths[i] + unsigned{kDistanceRanges[i].bits});
    return bits;
  }

  Codes<kLiteralSymbols> literals;
  Codes<kDistanceSymbols> distances;
  std::size_t literalsUsed;
  std::size_t distancesUsed;
};

CodeLengths LengthsOf(const BlockCodes& codes) {
  std::array<std::uint8_t, kLiteralSymbols + kDistanceSymbols> all;
  const auto end = std::copy_n(codes.literals.lengths.begin(), codes.literalsUsed, all.begin());
  std::copy_n(codes.distances.lengths.begin(), codes.distancesUsed, end);
  return {all.data(), codes.literalsUsed + codes.distancesUsed};
}

void WriteTokens(const DeflateToken* tokens, std::size_t size, const BlockCodes& codes, BitWriter& writer) {
  for (const DeflateToken* token = tokens; token != tokens + size; ++token) {
    if (!token->IsMatch()) {
      writer.Put(codes.literals.codes[token->Byte()], codes.literals.lengths[token->Byte()]);
      continue;
    }
    const std::size_t length = kSymbolsOfLengths[token->Length()];
    const std::size_t symbol = kEndOfBlock + 1 + length;
    std::uint64_t bits = codes.literals.codes[symbol];
    unsigned count = codes.literals.lengths[symbol];
    bits |= static_cast<std::uint64_t>(token->Length() - kLengthRanges[length].first) << count;
    count += kLengthRanges[length].bits;
    const std::size_t distance = SymbolOfDistance(token->Distance());
    bits |= static_cast<std::uint64_t>(codes.distances.codes[distance]) << count;
    count += codes.distances.lengths[distance];
    bits |= static_cast<std::uint64_t>(token->Distance() - kDistanceRanges[distance].first) << count;
    writer.Put(bits, count + kDistanceRanges[distance].bits);
  }
}

}  // namespace

void SymbolCounts::Add(DeflateToken token) {
  if (!token.IsMatch()) {
    ++literals[token.Byte()];
    return;
  }
  ++literals[kEndOfBlock + 1 + kSymbolsOfLengths[token.Length()]];
  ++distances[SymbolOfDistance(token.Distance())];
}

void SymbolCounts::Add(const SymbolCounts& others) {
  for (std::size_t i = 0; i < kLiteralSymbols; ++i) literals[i] += others.literals[i];
  for (std::size_t i = 0; i < kDistanceSymbols; ++i) distances[i] += others.distances[i];
}

std::uint64_t SymbolCounts::EstimateBits() const {
  constexpr std::uint64_t kBitsOfHead = 60;
  constexpr std::uint64_t kBitsOfLength = 4;
  const auto occurs = [](std::uint32_t count) { return count != 0; };
  const auto used = std::count_if(literals.begin(), literals.end(), occurs) +
                    std::count_if(distances.begin(), distances.end(), occurs);
  return BitsOfSymbols(literals.data(), literals.size()) + BitsOfSymbols(distances.data(), distances.size()) +
         static_cast<std::uint64_t>(used) * kBitsOfLength + kBitsOfHead;
}

//     | last | kind: 2 | literals - 257 | distances - 1 | length codes - 4 | their lengths | lengths | tokens
//     | end |
bool WriteDeflateBlock(const DeflateToken* tokens, std::size_t size, const SymbolCounts& counts, bool isLast,
                       BitWriter& writer, const std::uint8_t* end) {
  const SymbolCounts all = WithEnd(counts);
  const BlockCodes codes(all);
  const CodeLengths lengths = LengthsOf(codes);
  const Codes<kLengthCodes> lengthCodes(lengths.Counts(), kMostLengthCodeBits);
  std::size_t told = kLengthCodes;
  while (told > 4 && lengthCodes.lengths[kOrderOfLengthCodes[told - 1]] == 0) --told;

  const std::uint64_t bits = 17 + 3 * told + lengths.Bits(lengthCodes) + codes.Bits(all);
  if (end <= writer.At() || bits / 8 + 2 > static_cast<std::uint64_t>(end - writer.At())) return false;
  writer.Put((isLast ? 1U : 0U) | 2U << 1 | (codes.literalsUsed - 257) << 3 | (codes.distancesUsed - 1) << 8 |
                 (told - 4) << 13,
             17);
  for (std::size_t i = 0; i < told; ++i) writer.Put(lengthCodes.lengths[kOrderOfLengthCodes[i]], 3);
  lengths.Write(lengthCodes, writer);
  WriteTokens(tokens, size, codes, writer);
  writer.Put(codes.literals.codes[kEndOfBlock], codes.literals.lengths[kEndOfBlock]);
  return true;
}

}  // namespace tovmx
