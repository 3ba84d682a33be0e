// SPDX-License-Identifier: MIT
#include "codec/huffman_code.h"

#include "codec/entropy.h"
#include "deflate_support.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <queue>
#include <string>

namespace {

using tests::Random;
using Counts = std::vector<std::uint32_t>;
using Lengths = std::vector<std::uint8_t>;

Lengths Chosen(const Counts& counts, unsigned most) {
  Lengths lengths(counts.size(), 99);
  tovmx::ChooseCodeLengths(counts.data(), counts.size(), most, lengths.data());
  return lengths;
}

std::uint64_t Cost(const Counts& counts, const Lengths& lengths) {
  std::uint64_t bits = 0;
  for (std::size_t i = 0; i < counts.size(); ++i) bits += std::uint64_t{counts[i]} * lengths[i];
  return bits;
}

// What the best code of any length takes: the sum of all that is joined.
std::uint64_t LeastCost(const Counts& counts) {
  std::priority_queue<std::uint64_t, std::vector<std::uint64_t>, std::greater<>> queue;
  for (const std::uint32_t count : counts) {
    if (count != 0) queue.push(count);
  }
  std::uint64_t cost = 0;
  while (queue.size() > 1) {
    const std::uint64_t first = queue.top();
    queue.pop();
    const std::uint64_t both = first + queue.top();
    queue.pop();
    cost += both;
    queue.push(both);
  }
  return cost;
}

// The share of all codes that these take, in 2^-15; and none for what does not occur.
unsigned Taken(const Counts& counts, const Lengths& lengths, unsigned most) {
  unsigned taken = 0;
  for (std::size_t i = 0; i < counts.size(); ++i) {
    EXPECT_EQ(lengths[i] != 0, counts[i] != 0) << i;
    EXPECT_LE(lengths[i], most) << i;
    if (lengths[i] != 0) taken += 1U << (15 - lengths[i]);
  }
  return taken;
}

constexpr unsigned kAll = 1U << 15;

TEST(HuffmanCode, LengthsAreTheBestWhereNoneIsTooLong) {
  Random random(1);
  int compared = 0;
  for (int round = 0; round < 3000; ++round) {
    Counts counts(2 + random.Below(tovmx::kMostSymbols - 1));
    const unsigned values = 1 + random.Below(2000);
    for (std::uint32_t& count : counts) count = random.Below(3) == 0 ? 0 : random.Below(values);
    counts[0] = counts[1] = 1;
    const Lengths lengths = Chosen(counts, tovmx::kMostCodeBits);
    EXPECT_EQ(Taken(counts, lengths, tovmx::kMostCodeBits), kAll);
    if (*std::max_element(lengths.begin(), lengths.end()) == tovmx::kMostCodeBits) continue;  // may be cut
    EXPECT_EQ(Cost(counts, lengths), LeastCost(counts));
    ++compared;
  }
  EXPECT_GT(compared, 2000);
}

TEST(HuffmanCode, CodesThatWouldBeTooLongAreCutAndStayComplete) {
  for (unsigned most = 5; most <= tovmx::kMostCodeBits; ++most) {
    Counts counts(most + 8, 1);  // as many symbols as a code of that length has room for, and much rarer ones
    for (std::size_t i = 2; i < counts.size(); ++i) counts[i] = counts[i - 1] + counts[i - 2];
    const Lengths lengths = Chosen(counts, most);
    EXPECT_EQ(Taken(counts, lengths, most), kAll) << most;
    for (std::size_t i = 1; i < counts.size(); ++i)
      EXPECT_LE(lengths[i], lengths[i - 1]) << "the rarer, the longer";
    EXPECT_LT(Cost(counts, lengths), LeastCost(counts) * 11 / 10) << most;
  }
  const Counts equal(128, 3);  // all codes of seven bits, none left
  for (const std::uint8_t length : Chosen(equal, 7)) EXPECT_EQ(length, 7);
}

TEST(HuffmanCode, OneSymbolHasOneBitAndNoneHasNone) {
  EXPECT_EQ(Chosen({0, 0, 5, 0}, 15), (Lengths{0, 0, 1, 0}));
  EXPECT_EQ(Chosen({0, 0, 0}, 15), (Lengths{0, 0, 0}));
  EXPECT_EQ(Chosen({9, 0, 1}, 15), (Lengths{1, 0, 1}));
}

// RFC 1951, 3.2.2: ABCDEFGH with lengths 3, 3, 3, 3, 3, 2, 4, 4.
TEST(HuffmanCode, CodesAreCanonicalAndMirrored) {
  const Lengths lengths = {3, 3, 3, 3, 3, 2, 4, 4, 0};
  const char* const codes[] = {"010", "011", "100", "101", "110", "00", "1110", "1111", ""};
  std::vector<std::uint16_t> assigned(lengths.size(), 77);
  tovmx::AssignCodes(lengths.data(), lengths.size(), assigned.data());
  for (std::size_t i = 0; i < lengths.size(); ++i) {
    std::string text;
    for (unsigned bit = 0; bit < lengths[i]; ++bit) text += (assigned[i] >> bit & 1U) != 0 ? '1' : '0';
    EXPECT_EQ(text, codes[i]) << i;
    EXPECT_EQ(assigned[i] >> lengths[i], 0) << i;
  }
}

TEST(Entropy, LogarithmsAreRightToTheirLastBit) {
  const double step = std::ldexp(1, -static_cast<int>(tovmx::kLogBits));
  for (std::uint32_t value = 1; value < 2048; ++value) {
    const double exact = std::log2(value);
    const double found = static_cast<double>(tovmx::Log2(value)) * step;
    EXPECT_LE(found, exact) << value;
    EXPECT_GT(found + 1.01 * step, exact) << value;
  }
  for (std::uint64_t large = 2048; large <= 0xffffffffU; large = large * 3 / 2) {
    const auto value = static_cast<std::uint32_t>(large);
    const double exact = std::log2(value);
    const double found = static_cast<double>(tovmx::Log2(value)) * step;
    EXPECT_LE(found, exact) << value;
    EXPECT_GT(found + 1.5 * step, exact) << value;
  }
}

TEST(Entropy, BitsAreThoseOfTheIdealCode) {
  Random random(2);
  EXPECT_EQ(tovmx::BitsOfSymbols(Counts(5).data(), 5), 0u);
  EXPECT_EQ(tovmx::BitsOfSymbols(Counts{0, 700}.data(), 2), 0u);
  EXPECT_EQ(tovmx::BitsOfSymbols(Counts{64, 64, 64, 64}.data(), 4), 512u);
  for (int round = 0; round < 500; ++round) {
    Counts counts(1 + random.Below(286));
    for (std::uint32_t& count : counts) count = random.Below(1 + random.Below(900));
    double all = 0, bits = 0;
    for (const std::uint32_t count : counts) all += count;
    for (const std::uint32_t count : counts) {
      if (count != 0) bits -= count * std::log2(count / all);
    }
    EXPECT_NEAR(static_cast<double>(tovmx::BitsOfSymbols(counts.data(), counts.size())), bits, 2 + all / 150);
  }
}

}  // namespace
