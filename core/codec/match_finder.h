// SPDX-License-Identifier: MIT
// Where the bytes at a place have been before: chains of places that begin with the same four bytes, the
// latest first, and beside them the last place of each three.
#pragma once

#include "codec/deflate_block.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace tovmx {

template <typename Word>
Word LoadWord(const std::uint8_t* at) noexcept {
  Word word;
  std::memcpy(&word, at, sizeof word);
  return word;
}

struct FoundMatch {
  std::size_t length = 0;
  std::size_t distance = 0;
};

// Large: made by `new`. The places of one block of memory, of less than 2^32 - 1 bytes, in order.
class MatchFinder {
 public:
  // The place becomes one that later ones can match, and `best` the longest match there, if that is longer.
  // Looks at so many places of the chain, and no further when a match is long enough.
  void Find(const std::uint8_t* data, std::size_t size, std::size_t place, int places, std::size_t enough,
            FoundMatch& best) noexcept {
    if (place + 4 > size) return;
    const std::uint8_t* const at = data + place;
    const auto first = LoadWord<std::uint32_t>(at);
    const Last last = Enter(first, place);
    if (best.length < kShortestMatch && IsInReach(last.three, place)) {
      const std::size_t distance = place + 1 - last.three;
      if (((LoadWord<std::uint32_t>(at - distance) ^ first) & kThreeBytes) == 0)
        best = {kShortestMatch, distance};
    }
    const std::size_t most = std::min(kLongestMatch, size - place);
    if (best.length >= most) return;
    for (std::uint32_t next = last.four; places > 0 && IsInReach(next, place); --places) {
      const std::uint8_t* const from = data + (next - 1);
      if (LoadWord<std::uint32_t>(from) == first && (best.length < 4 || MatchesUpTo(from, at, best.length))) {
        const std::size_t length = Extend(from, at, most);
        if (length > best.length) best = {length, place + 1 - next};
        if (length >= enough || length == most) return;
      }
      next = chain_[(next - 1) % kFarthestMatch];
    }
  }

  void Insert(const std::uint8_t* data, std::size_t size, std::size_t place) noexcept {
    if (place + 4 <= size) Enter(LoadWord<std::uint32_t>(data + place), place);
  }

 private:
  static constexpr unsigned kHashBits = 15;
  static constexpr std::uint32_t kThreeBytes = 0xffffff;

  struct Last {  // the last place of these bytes and one more, 0 when there is none
    std::uint32_t four;
    std::uint32_t three;
  };

  static std::uint32_t Hash(std::uint32_t bytes) noexcept {
    return bytes * 2654435761U >> (32 - kHashBits);  // 2^32 divided by the golden ratio
  }

  Last Enter(std::uint32_t bytes, std::size_t place) noexcept {
    std::uint32_t& four = fours_[Hash(bytes)];
    std::uint32_t& three = threes_[Hash((bytes & kThreeBytes) * 256U)];
    const Last last{four, three};
    chain_[place % kFarthestMatch] = four;
    four = three = static_cast<std::uint32_t>(place + 1);
    return last;
  }

  static bool IsInReach(std::uint32_t next, std::size_t place) noexcept {
    return next != 0 && place + 1 - next <= kFarthestMatch;
  }

  // Whether a match here could be longer: the four bytes up to the one behind it are equal.
  static bool MatchesUpTo(const std::uint8_t* from, const std::uint8_t* at, std::size_t length) noexcept {
    return LoadWord<std::uint32_t>(from + length - 3) == LoadWord<std::uint32_t>(at + length - 3);
  }

  // How many bytes are equal; the first four are.
  static std::size_t Extend(const std::uint8_t* from, const std::uint8_t* at, std::size_t most) noexcept {
    std::size_t length = 4;
    for (; length + 8 <= most; length += 8) {
      const auto differing = LoadWord<std::uint64_t>(from + length) ^ LoadWord<std::uint64_t>(at + length);
      if (differing != 0) return length + static_cast<std::size_t>(std::countr_zero(differing)) / 8;
    }
    while (length < most && from[length] == at[length]) ++length;
    return length;
  }

  std::array<std::uint32_t, std::size_t{1} << kHashBits> fours_{};
  std::array<std::uint32_t, std::size_t{1} << kHashBits> threes_{};
  std::array<std::uint32_t, kFarthestMatch> chain_;  // what came before each place; written before it is read
};

}  // namespace tovmx
