// SPDX-License-Identifier: MIT
// Blocks of a deflate stream (RFC 1951): what they are made of, how often each symbol occurs, and how they
// are written with codes of their own.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace tovmx {

constexpr std::size_t kShortestMatch = 3;
constexpr std::size_t kLongestMatch = 258;
constexpr std::size_t kFarthestMatch = 32768;
constexpr std::size_t kEndOfBlock = 256;
constexpr std::size_t kLiteralSymbols = 286;  // bytes, the end and lengths
constexpr std::size_t kDistanceSymbols = 30;

// A byte as it is, or a match: so many bytes equal those that stand so far in front of them.
class DeflateToken {
 public:
  DeflateToken() = default;  // holds nothing yet
  static DeflateToken Literal(std::uint8_t byte) { return DeflateToken(byte); }
  static DeflateToken Match(std::size_t length, std::size_t distance) {
    return DeflateToken(static_cast<std::uint32_t>(length << 16 | distance));
  }

  bool IsMatch() const { return packed_ >> 16 != 0; }
  std::size_t Byte() const { return packed_; }
  std::size_t Length() const { return packed_ >> 16; }
  std::size_t Distance() const { return packed_ & 0xffffU; }

 private:
  explicit DeflateToken(std::uint32_t packed) : packed_(packed) {}

  std::uint32_t packed_;
};

// How often each symbol occurs among tokens.
struct SymbolCounts {
  std::array<std::uint32_t, kLiteralSymbols> literals{};
  std::array<std::uint32_t, kDistanceSymbols> distances{};

  void Add(DeflateToken token);
  void Add(const SymbolCounts& others);

  // About what a block of them takes, the bits that tell lengths and distances more exactly left out: these
  // are the same in every block.
  std::uint64_t EstimateBits() const;
};

// Puts bits together, the first one lowest, in a buffer that is large enough.
class BitWriter {
 public:
  explicit BitWriter(std::uint8_t* out) : at_(out) {}

  // At most 48 bits.
  void Put(std::uint64_t bits, unsigned count) {
    held_ |= bits << size_;
    size_ += count;
    std::memcpy(at_, &held_, sizeof held_);
    at_ += size_ / 8;
    held_ >>= size_ & ~7U;
    size_ &= 7U;
  }

  // Fills the last byte with zeros and gives the place behind it.
  std::uint8_t* Finish() { return at_ + (size_ != 0 ? 1 : 0); }
  const std::uint8_t* At() const { return at_; }

  static constexpr std::size_t kSlack = sizeof(std::uint64_t);  // that it may touch behind the last byte

 private:
  std::uint8_t* at_;
  std::uint64_t held_ = 0;
  unsigned size_ = 0;
};

// A block of these tokens, which `counts` tells of. False, and nothing is written, when it would not fit into
// the bytes up to `end`.
[[nodiscard]] bool WriteDeflateBlock(const DeflateToken* tokens, std::size_t size, const SymbolCounts& counts,
                                     bool isLast, BitWriter& writer, const std::uint8_t* end);

}  // namespace tovmx
