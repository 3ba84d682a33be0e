// SPDX-License-Identifier: MIT
// Which way data are compressed in: all are tried here, and an estimate in floating point tells which one it
// must be.
#include "codec/deflate.h"

#include "codec/run_deflate.h"
#include "deflate_support.h"

#include <gtest/gtest.h>
#include <libdeflate.h>
#include <zlib.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace {

using tests::Data;
using tests::Random;

Data Compressed(const Data& data, int effort) {
  const tovmx::Deflated result = tovmx::Deflate(data.data(), data.size(), effort);
  EXPECT_NE(result.bytes, nullptr);
  return {result.bytes.get(), result.bytes.get() + result.size};
}

Data Matched(const Data& data, int level) {
  libdeflate_compressor* const compressor = libdeflate_alloc_compressor(level);
  Data out(libdeflate_zlib_compress_bound(compressor, data.size()));
  out.resize(libdeflate_zlib_compress(compressor, data.data(), data.size(), out.data(), out.size()));
  libdeflate_free_compressor(compressor);
  return out;
}

Data Coded(const Data& data, int strategy) {
  z_stream zlib = {};
  EXPECT_EQ(deflateInit2(&zlib, 1, Z_DEFLATED, 15, 9, strategy), Z_OK);
  Data out(deflateBound(&zlib, data.size()));
  zlib.next_in = const_cast<Bytef*>(data.data());
  zlib.avail_in = static_cast<uInt>(data.size());
  zlib.next_out = out.data();
  zlib.avail_out = static_cast<uInt>(out.size());
  EXPECT_EQ(deflate(&zlib, Z_FINISH), Z_STREAM_END);
  out.resize(zlib.total_out);
  deflateEnd(&zlib);
  return out;
}

// What codes alone take, in bytes: what each byte tells, and 640 bits for the code of a block.
double EstimateOf(const Data& data) {
  double bits = 0;
  for (std::size_t from = 0; from < data.size(); from += 32768) {
    const std::size_t size = std::min<std::size_t>(32768, data.size() - from);
    std::vector<double> counts(256);
    for (std::size_t i = 0; i < size; ++i) ++counts[data[from + i]];
    for (const double count : counts) {
      if (count > 0) bits -= count * std::log2(count / static_cast<double>(size));
    }
    bits += 640;
  }
  return bits / 8;
}

// Where the estimate lies this near to what it is compared with, its rounding decides.
constexpr double kNear = 0.006;
bool AreNear(double a, double b) { return std::fabs(a - b) <= kNear * std::max(a, b) + 2; }

struct Tally {
  int matched = 0, runs = 0, codes = 0, near = 0;
};

// With matches, or with runs where these are most of it.
Data MatchedOrRun(const Data& data) {
  if (tovmx::HasLongRuns(data.data(), data.size())) {
    const tovmx::Deflated runs = tovmx::DeflateRuns(data.data(), data.size(), 5);
    if (runs.bytes != nullptr) return {runs.bytes.get(), runs.bytes.get() + runs.size};
  }
  return Matched(data, 5);
}

void Check(const Data& data, const std::string& name, Tally& tally) {
  const Data matched = MatchedOrRun(data);
  const double size = static_cast<double>(data.size());
  const double estimate = EstimateOf(data);
  const Data found = Compressed(data, 5);
  if (matched.size() < data.size() / 8) {
    EXPECT_TRUE(found == matched) << name;
    ++tally.matched;
    return;
  }
  if (AreNear(estimate, static_cast<double>(matched.size())) || AreNear(estimate, size / 8)) {
    ++tally.near;
    return;
  }
  if (estimate > static_cast<double>(matched.size())) {
    EXPECT_TRUE(found == matched) << name;
    ++tally.matched;
    return;
  }
  const bool runs = estimate < size / 8;
  const Data coded = Coded(data, runs ? Z_RLE : Z_HUFFMAN_ONLY);
  EXPECT_TRUE(found == (coded.size() < matched.size() ? coded : matched)) << name;
  ++(runs ? tally.runs : tally.codes);
}

TEST(Deflate, TheSmallerOfTwoWaysIsChosenByAnEstimate) {
  Tally tally;
  unsigned seed = 0;
  const std::size_t sizes[] = {1, 2, 3, 4, 5, 7, 63, 700, 4001, 20003, 32768, 32769, 50001, 70002};
  for (const std::size_t size : sizes) {
    // Noise of so many values, all the same often.
    for (const unsigned values : {1U, 2U, 3U, 5U, 9U, 16U, 40U, 100U, 256U}) {
      Random random(++seed);
      Data data(size);
      for (std::uint8_t& byte : data) byte = static_cast<std::uint8_t>(random.Below(values) * (255 / values));
      Check(data, std::to_string(size) + " of " + std::to_string(values) + " values", tally);
    }
    // One value more often than another, and what noise around a smooth surface looks like.
    for (unsigned often = 2; often <= 50; often += 3) {
      Random random(++seed);
      Data rare(size), hill(size);
      for (std::uint8_t& byte : rare) byte = random.Below(100) < often ? 200 : 3;
      for (std::uint8_t& byte : hill) {
        unsigned sum = 0;
        for (int i = 0; i < 4; ++i) sum += random.Below(often);
        byte = static_cast<std::uint8_t>(sum);
      }
      Check(rare, std::to_string(size) + ", rare " + std::to_string(often), tally);
      Check(hill, std::to_string(size) + ", hill " + std::to_string(often), tally);
    }
    // Pixels whose channels have nothing in common.
    for (unsigned kind = 0; kind < 8; ++kind) {
      Random random(++seed);
      Data data(size);
      for (std::size_t i = 0; i < size; ++i) {
        const unsigned values[] = {1, 4, 20, 60};
        const unsigned lane = (static_cast<unsigned>(i) + kind) % 4;
        data[i] =
            static_cast<std::uint8_t>(lane * 60 + random.Below(kind < 4 ? values[lane] : values[3 - lane]));
      }
      Check(data, std::to_string(size) + ", channels " + std::to_string(kind), tally);
    }
    // Noise with some of it said twice.
    for (unsigned again = 0; again <= 40; again += 4) {
      Random random(++seed);
      Data data;
      while (data.size() < size) {
        if (data.size() > 400 && random.Below(1000) < again) {
          const std::size_t from = data.size() - 300 - random.Below(100);
          for (std::size_t i = 0; i < 40; ++i) data.push_back(data[from + i]);
        } else {
          data.push_back(static_cast<std::uint8_t>(random.Below(90)));
        }
      }
      data.resize(size);
      Check(data, std::to_string(size) + ", again " + std::to_string(again), tally);
    }
  }
  EXPECT_GE(tally.matched, 100);
  EXPECT_GE(tally.codes, 60);
  EXPECT_GE(tally.runs, 5);
}

TEST(Deflate, EachEffortIsALevelOfItsOwn) {
  // Long words again and again in a random order, some of them spelled a little differently.
  Data data;
  Random random(7);
  for (int i = 0; i < 3000; ++i) {
    const unsigned word = random.Below(60);
    for (unsigned k = 0; k < 40 + word % 9; ++k)
      data.push_back(static_cast<std::uint8_t>(word * 7 + k * k * word));
    if (i % 5 == 0) data[data.size() - 1 - random.Below(40)] = static_cast<std::uint8_t>(random.Below(256));
  }
  const int levels[] = {1, 2, 3, 4, 5, 6, 8, 10, 12};
  for (int effort = 1; effort <= 9; ++effort) {
    ASSERT_LT(Matched(data, levels[effort - 1]).size(), data.size() / 8) << "codes are no choice";
    EXPECT_TRUE(Compressed(data, effort) == Matched(data, levels[effort - 1])) << effort;
  }
  std::set<Data> different;
  for (const int level : levels) different.insert(Matched(data, level));
  EXPECT_EQ(different.size(), 9u);
  for (const int effort : {0, -7}) EXPECT_TRUE(Compressed(data, effort) == Matched(data, 1)) << effort;
  for (const int effort : {10, 99}) EXPECT_TRUE(Compressed(data, effort) == Matched(data, 12)) << effort;
}

TEST(Inflate, TakesWhatIsWholeAndNothingElse) {
  Data data(5000);
  Random random(3);
  for (std::uint8_t& byte : data) byte = static_cast<std::uint8_t>(random.Below(9));
  const Data packed = Compressed(data, 5);
  Data out(data.size() + 1);
  ASSERT_TRUE(tovmx::Inflate(packed.data(), packed.size(), out.data(), data.size()));
  EXPECT_TRUE(std::equal(data.begin(), data.end(), out.begin()));
  EXPECT_FALSE(tovmx::Inflate(packed.data(), packed.size(), out.data(), data.size() - 1)) << "too much";
  EXPECT_FALSE(tovmx::Inflate(packed.data(), packed.size(), out.data(), data.size() + 1)) << "too little";
  EXPECT_FALSE(tovmx::Inflate(packed.data(), packed.size() - 1, out.data(), data.size())) << "cut";
  for (std::size_t size = 0; size < 8; ++size)
    EXPECT_FALSE(tovmx::Inflate(packed.data(), size, out.data(), data.size())) << size;
  Data longer = packed;
  longer.push_back(0);
  EXPECT_FALSE(tovmx::Inflate(longer.data(), longer.size(), out.data(), data.size())) << "more behind it";
  Data wrong = packed;
  wrong.back() ^= 1;
  EXPECT_FALSE(tovmx::Inflate(wrong.data(), wrong.size(), out.data(), data.size())) << "another sum";
}

// A window that is smaller than what there is would be a broken file for others.
TEST(Inflate, TheWindowThatIsToldMustSuffice) {
  for (int windowBits = 9; windowBits <= 15; ++windowBits) {
    const std::size_t window = std::size_t{1} << windowBits;
    for (const std::size_t size : {window - 1, window, window + 1}) {
      const Data data(size, 7);
      z_stream zlib = {};
      ASSERT_EQ(deflateInit2(&zlib, 9, Z_DEFLATED, windowBits, 9, Z_DEFAULT_STRATEGY), Z_OK);
      Data packed(deflateBound(&zlib, size));
      zlib.next_in = const_cast<Bytef*>(data.data());
      zlib.avail_in = static_cast<uInt>(size);
      zlib.next_out = packed.data();
      zlib.avail_out = static_cast<uInt>(packed.size());
      ASSERT_EQ(deflate(&zlib, Z_FINISH), Z_STREAM_END);
      packed.resize(zlib.total_out);
      deflateEnd(&zlib);
      ASSERT_EQ(packed[0] >> 4, windowBits - 8);
      Data out(size);
      EXPECT_EQ(tovmx::Inflate(packed.data(), packed.size(), out.data(), size),
                size <= window || windowBits == 15)
          << windowBits << " bits, " << size;
    }
  }
}

}  // namespace
