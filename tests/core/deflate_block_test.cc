// SPDX-License-Identifier: MIT
// Blocks of tokens, which zlib must read as what the tokens say.
#include "codec/deflate_block.h"

#include "deflate_support.h"

#include <algorithm>

namespace {

using tests::Data;
using tests::Random;
using tovmx::DeflateToken;
using Tokens = std::vector<DeflateToken>;

// What tokens stand for.
Data Unfolded(const Tokens& tokens) {
  Data data;
  for (const DeflateToken token : tokens) {
    if (!token.IsMatch()) {
      data.push_back(static_cast<std::uint8_t>(token.Byte()));
      continue;
    }
    for (std::size_t i = 0; i < token.Length(); ++i) data.push_back(data[data.size() - token.Distance()]);
  }
  return data;
}

tovmx::SymbolCounts Counted(const DeflateToken* tokens, std::size_t size) {
  tovmx::SymbolCounts counts;
  for (std::size_t i = 0; i < size; ++i) counts.Add(tokens[i]);
  return counts;
}

// The tokens in blocks of so many.
Data Written(const Tokens& tokens, std::size_t inBlock) {
  Data out(tokens.size() * 6 + (tokens.size() / inBlock + 1) * 200);
  tovmx::BitWriter writer(out.data());
  const std::uint8_t* const end = out.data() + out.size() - tovmx::BitWriter::kSlack;
  for (std::size_t from = 0; from < tokens.size(); from += inBlock) {
    const std::size_t size = std::min(inBlock, tokens.size() - from);
    const bool isLast = from + size == tokens.size();
    EXPECT_TRUE(tovmx::WriteDeflateBlock(tokens.data() + from, size, Counted(tokens.data() + from, size),
                                         isLast, writer, end));
  }
  out.resize(static_cast<std::size_t>(writer.Finish() - out.data()));
  return out;
}

void ExpectReadable(const Tokens& tokens, std::size_t inBlock) {
  const Data data = Unfolded(tokens);
  EXPECT_TRUE(tests::Inflated(Written(tokens, inBlock), data.size(), tests::kBareStream) == data);
}

Tokens Noise(std::size_t size, unsigned values = 256) {
  Tokens tokens;
  Random random(static_cast<unsigned>(size));
  for (std::size_t i = 0; i < size; ++i)
    tokens.push_back(DeflateToken::Literal(static_cast<std::uint8_t>(random.Below(values))));
  return tokens;
}

TEST(DeflateBlock, EveryLengthIsRead) {
  Tokens tokens = Noise(300);
  for (std::size_t length = tovmx::kShortestMatch; length <= tovmx::kLongestMatch; ++length)
    tokens.push_back(DeflateToken::Match(length, 1 + length % 300));
  ExpectReadable(tokens, tokens.size());
}

TEST(DeflateBlock, EveryDistanceIsRead) {
  Tokens tokens = Noise(tovmx::kFarthestMatch);
  for (std::size_t distance = 1; distance <= tovmx::kFarthestMatch; ++distance)
    tokens.push_back(DeflateToken::Match(tovmx::kShortestMatch, distance));
  ExpectReadable(tokens, tokens.size());
}

TEST(DeflateBlock, ALengthOrADistanceAloneIsRead) {
  for (std::size_t length = tovmx::kShortestMatch; length <= tovmx::kLongestMatch; ++length)
    ExpectReadable({DeflateToken::Literal(7), DeflateToken::Match(length, 1)}, 2);
  for (std::size_t distance = 1; distance <= 200; ++distance) {
    Tokens tokens(distance, DeflateToken::Literal(9));
    tokens.push_back(DeflateToken::Match(5, distance));
    ExpectReadable(tokens, tokens.size());
  }
}

TEST(DeflateBlock, BytesOfAllFrequenciesAreRead) {
  for (const unsigned values : {1U, 2U, 3U, 7U, 17U, 130U, 256U}) {
    for (const std::size_t size : {1U, 2U, 3U, 10U, 137U, 139U, 5000U})
      ExpectReadable(Noise(size, values), size);
  }
  // The codes of the rarest bytes are the longest that there are.
  Tokens rare;
  std::size_t count = 1, before = 1;
  for (unsigned value = 0; value < 24; ++value) {
    rare.insert(rare.end(), count, DeflateToken::Literal(static_cast<std::uint8_t>(value * 10)));
    count += before;
    before = count - before;
  }
  ExpectReadable(rare, rare.size());
}

TEST(DeflateBlock, BlocksFollowOneAnotherWithinAByte) {
  for (std::size_t inBlock = 1; inBlock < 40; ++inBlock) ExpectReadable(Noise(400, 11), inBlock);
}

TEST(DeflateBlock, WhatDoesNotFitIsNotBegun) {
  const Tokens tokens = Noise(1000);
  const std::size_t needed = Written(tokens, tokens.size()).size();
  for (std::size_t room = 0; room <= needed + 2; ++room) {
    Data out(room + tovmx::BitWriter::kSlack, 0xee);
    tovmx::BitWriter writer(out.data());
    const bool fits = tovmx::WriteDeflateBlock(
        tokens.data(), tokens.size(), Counted(tokens.data(), tokens.size()), true, writer, out.data() + room);
    EXPECT_EQ(fits, room > needed) << room;  // a byte for the bits of the next block
    if (fits) continue;
    EXPECT_EQ(writer.At(), out.data());
    EXPECT_EQ(out[0], 0xee);
  }
}

TEST(SymbolCounts, EstimateIsNearWhatABlockTakes) {
  for (const unsigned values : {30U, 100U, 256U}) {
    const Tokens tokens = Noise(4096, values);
    const auto estimate = static_cast<double>(Counted(tokens.data(), tokens.size()).EstimateBits());
    const auto taken = static_cast<double>(Written(tokens, tokens.size()).size()) * 8;
    EXPECT_NEAR(estimate / taken, 1, 0.05) << values;
  }
}

}  // namespace
