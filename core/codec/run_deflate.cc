// SPDX-License-Identifier: MIT
// Runs, and between them matches as they are usually sought: one is put off by a byte when the next is
// better.
#include "codec/run_deflate.h"

#include "codec/deflate_block.h"
#include "codec/match_finder.h"

#include <libdeflate.h>

#include <algorithm>
#include <array>
#include <bit>
#include <limits>
#include <memory>
#include <new>

namespace tovmx {

namespace {

constexpr std::size_t kShortestRun = 40;

struct Search {
  int places;          // of the chain that are looked at
  std::size_t enough;  // a match this long is taken at once
};
constexpr std::array<Search, kMostRunEffort> kSearches = {
    {{1, 30}, {2, 30}, {3, 30}, {4, 30}, {6, 30}, {12, 60}, {32, 130}}};

// Whether all bytes of a block are one.
bool IsEven(const std::uint8_t* block, std::size_t size) {
  const std::uint64_t even = block[0] * 0x0101010101010101U;
  std::uint64_t differing = 0;
  for (std::size_t i = 0; i < size; i += 8) differing |= LoadWord<std::uint64_t>(block + i) ^ even;
  return differing == 0;
}

// Behind the bytes that equal the one at `place`.
std::size_t EndOfRun(const std::uint8_t* data, std::size_t size, std::size_t place) {
  constexpr std::size_t kBlock = 32;
  const std::uint8_t byte = data[place];
  while (place + kBlock <= size && data[place] == byte && IsEven(data + place, kBlock)) place += kBlock;
  while (place < size && data[place] == byte) ++place;
  return place;
}

// ---- Blocks

// Collects tokens into blocks: what comes next begins a block of its own when codes of its own spare more
// than they take.
class BlockBuilder {
 public:
  BlockBuilder(std::uint8_t* out, const std::uint8_t* end) : writer_(out), end_(end) {
    writer_.Put(kZlibHead, 16);
  }

  void Add(DeflateToken token) {
    tokens_[size_++] = token;
    newest_.Add(token);
    if (size_ - inBlock_ == kChunk) TakeNewest();
  }

  void AddRun(std::uint8_t byte, std::size_t length) {
    for (; length >= kShortestMatch; length -= std::min(length, kLongestMatch))
      Add(DeflateToken::Match(std::min(length, kLongestMatch), 1));
    for (; length > 0; --length) Add(DeflateToken::Literal(byte));
  }

  // Behind the last block; null when the stream does not fit.
  std::uint8_t* Finish() {
    TakeNewest();
    Write(true);
    return fits_ ? writer_.Finish() : nullptr;
  }

  bool Fits() const { return fits_; }

 private:
  static constexpr std::uint64_t kZlibHead = 0x9c78;  // a window of 32 KiB, no dictionary
  static constexpr std::size_t kChunk = 4096;
  static constexpr std::size_t kMostTokens = 16 * kChunk;

  void TakeNewest() {
    SymbolCounts both = block_;
    both.Add(newest_);
    const std::uint64_t bits = newest_.EstimateBits();
    std::uint64_t bitsOfBoth = both.EstimateBits();
    if (inBlock_ != 0 && (bitsOfBoth > bits_ + bits || size_ + kChunk > kMostTokens)) {
      Write(false);
      both = newest_;
      bitsOfBoth = bits;
    }
    block_ = both;
    bits_ = bitsOfBoth;
    newest_ = SymbolCounts();
    inBlock_ = size_;
  }

  void Write(bool isLast) {
    fits_ = fits_ && WriteDeflateBlock(tokens_.data(), inBlock_, block_, isLast, writer_, end_);
    std::copy(tokens_.begin() + static_cast<std::ptrdiff_t>(inBlock_),
              tokens_.begin() + static_cast<std::ptrdiff_t>(size_), tokens_.begin());
    size_ -= inBlock_;
    inBlock_ = 0;
  }

  BitWriter writer_;
  const std::uint8_t* end_;
  bool fits_ = true;
  SymbolCounts block_;
  std::uint64_t bits_ = 0;
  SymbolCounts newest_;
  std::size_t size_ = 0;
  std::size_t inBlock_ = 0;
  std::array<DeflateToken, kMostTokens> tokens_;
};

// ---- From bytes to tokens

// One for each stream; large.
struct Deflater {
  Deflater(const std::uint8_t* bytes, std::size_t length, const Search& how, std::uint8_t* out,
           const std::uint8_t* end)
      : data(bytes), size(length), search(how), blocks(out, end) {}

  std::uint8_t* Run() {
    while (place < size && blocks.Fits()) {
      if (!PassRun()) TakeMatch();
    }
    return blocks.Finish();
  }

  // A run of the byte before, if one begins here.
  bool PassRun() {
    if (place == 0 || size - place < kShortestRun || data[place] != data[place - 1] ||
        !IsEven(data + place, kShortestRun))
      return false;
    const std::size_t end = EndOfRun(data, size, place);
    finder.Insert(data, size, place);
    blocks.AddRun(data[place], end - place);
    place = end;
    return true;
  }

  void TakeMatch() {
    FoundMatch match{kShortestMatch - 1, 0};
    finder.Find(data, size, place, search.places, search.enough, match);
    std::size_t entered = place + 1;
    while (match.distance != 0 && match.length < search.enough && place + 1 < size) {
      FoundMatch next{match.length - 1, 0};
      finder.Find(data, size, place + 1, (search.places + 1) / 2, search.enough, next);
      entered = place + 2;
      if (next.distance == 0 || !IsBetter(next, match)) break;
      TakeLiteral();
      match = next;
    }
    if (match.distance == 0) return TakeLiteral();
    blocks.Add(DeflateToken::Match(match.length, match.distance));
    place += match.length;
    for (; entered < place; ++entered) finder.Insert(data, size, entered);
  }

  // A longer match is worth a literal, and so is one that is much nearer.
  static bool IsBetter(const FoundMatch& next, const FoundMatch& match) {
    const auto longer = static_cast<int>(next.length) - static_cast<int>(match.length);
    return 4 * longer + static_cast<int>(std::bit_width(match.distance)) -
               static_cast<int>(std::bit_width(next.distance)) >
           2;
  }

  void TakeLiteral() { blocks.Add(DeflateToken::Literal(data[place++])); }

  const std::uint8_t* data;
  std::size_t size;
  std::size_t place = 0;
  Search search;
  MatchFinder finder;
  BlockBuilder blocks;
};

}  // namespace

bool HasLongRuns(const std::uint8_t* data, std::size_t size) {
  constexpr std::size_t kBlock = 64;
  constexpr std::size_t kStep = 4 * kBlock;
  std::size_t even = 0;
  std::size_t all = 0;
  for (std::size_t i = 0; i + kBlock <= size; i += kStep, ++all) even += IsEven(data + i, kBlock) ? 1U : 0U;
  return even * 8 > all * 5;
}

Deflated DeflateRuns(const std::uint8_t* data, std::size_t size, int effort) {
  constexpr std::size_t kBehind = 4;  // the checksum
  if (size >= std::numeric_limits<std::uint32_t>::max()) return {};
  const std::size_t room = size / 2 + kBehind + BitWriter::kSlack;
  Deflated result{AllocateBytes(room), 0};
  if (result.bytes == nullptr) return {};
  std::uint8_t* const out = result.bytes.get();
  const Search& search = kSearches[static_cast<std::size_t>(std::clamp(effort, 1, kMostRunEffort) - 1)];
  const std::unique_ptr<Deflater> deflater(new (std::nothrow)
                                               Deflater(data, size, search, out, out + size / 2));
  std::uint8_t* const end = deflater == nullptr ? nullptr : deflater->Run();
  if (end == nullptr) return {};
  const std::uint32_t sum = libdeflate_adler32(1, data, size);
  for (std::size_t i = 0; i < kBehind; ++i) end[i] = static_cast<std::uint8_t>(sum >> (24 - 8 * i));
  result.size = static_cast<std::size_t>(end + kBehind - out);
  return result;
}

}  // namespace tovmx
