// SPDX-License-Identifier: MIT
// Streams of runs, which zlib must read.
#include "codec/run_deflate.h"

#include "deflate_support.h"

#include <libdeflate.h>

#include <cstring>
#include <memory>

namespace {

using tests::Data;
using tests::Random;

Data Compressed(const Data& data, int effort) {
  const tovmx::Deflated result = tovmx::DeflateRuns(data.data(), data.size(), effort);
  return result.bytes == nullptr ? Data() : Data(result.bytes.get(), result.bytes.get() + result.size);
}

std::size_t SizeByLibdeflate(const Data& data, int level) {
  libdeflate_compressor* const compressor = libdeflate_alloc_compressor(level);
  Data out(libdeflate_zlib_compress_bound(compressor, data.size()));
  const std::size_t size =
      libdeflate_zlib_compress(compressor, data.data(), data.size(), out.data(), out.size());
  libdeflate_free_compressor(compressor);
  return size;
}

// Memory that ends where the data end: a byte more must not be looked at.
void ExpectReadable(const Data& data, int effort) {
  const std::unique_ptr<std::uint8_t[]> exact(new std::uint8_t[data.size()]);
  std::memcpy(exact.get(), data.data(), data.size());
  const tovmx::Deflated result = tovmx::DeflateRuns(exact.get(), data.size(), effort);
  ASSERT_NE(result.bytes, nullptr) << data.size();
  const Data packed(result.bytes.get(), result.bytes.get() + result.size);
  EXPECT_LT(packed.size(), data.size());
  EXPECT_TRUE(tests::Inflated(packed, data.size(), tests::kZlibStream) == data) << data.size();
}

// Runs, between them noise and what stood there before, near and far.
Data Page(std::size_t size, unsigned seed, unsigned longestRun, unsigned values) {
  Data data;
  Random random(seed);
  while (data.size() < size) {
    data.insert(data.end(), 1 + random.Below(longestRun), static_cast<std::uint8_t>(random.Below(2) * 255));
    const std::size_t mark = random.Below(40);
    if (random.Below(3) != 0 && data.size() > 100) {
      const std::size_t reach = std::min<std::size_t>(data.size() - 50, 40000);
      const std::size_t from = data.size() - 50 - random.Below(static_cast<unsigned>(reach));
      for (std::size_t i = 0; i < mark; ++i) data.push_back(data[from + i]);
    } else {
      for (std::size_t i = 0; i < mark; ++i) data.push_back(static_cast<std::uint8_t>(random.Below(values)));
    }
  }
  data.resize(size);
  return data;
}

TEST(RunDeflate, RunsOfEveryLengthAreRead) {
  Data all;
  for (std::size_t length = 1; length <= 600; ++length) {
    Data data = {1, 2, 3};
    data.insert(data.end(), length, 3);
    data.push_back(4);
    all.insert(all.end(), data.begin(), data.end());
    data.insert(data.end(), 500, 5);
    ExpectReadable(data, 5);
  }
  for (int effort = 1; effort <= tovmx::kMostRunEffort; ++effort) ExpectReadable(all, effort);
}

TEST(RunDeflate, ARunMayEndTheDataOrBeAllOfThem) {
  for (std::size_t size = 200; size < 1200; ++size) ExpectReadable(Data(size, 0xff), 5);
  for (const std::size_t size : {32767U, 32768U, 32769U, 65536U, 1000003U}) ExpectReadable(Data(size), 5);
}

TEST(RunDeflate, RunsAndMarksOfAllKindsAreRead) {
  for (unsigned seed = 1; seed <= 400; ++seed) {
    const std::size_t size = 3000 + seed * seed;
    ExpectReadable(Page(size, seed, 150 + seed % 7 * 300, 1 + seed % 9 * 30),
                   1 + static_cast<int>(seed) % tovmx::kMostRunEffort);
  }
  ExpectReadable(Page(6000000, 1, 300, 256), 5);
}

TEST(RunDeflate, AnEffortOutOfRangeIsTheNearest) {
  const Data data = Page(100000, 3, 600, 90);
  for (const int effort : {0, -5}) EXPECT_TRUE(Compressed(data, effort) == Compressed(data, 1)) << effort;
  EXPECT_TRUE(Compressed(data, 99) == Compressed(data, tovmx::kMostRunEffort));
}

TEST(RunDeflate, MoreEffortMakesSmallerStreams) {
  const Data data = Page(400000, 4, 400, 60);
  std::size_t before = Compressed(data, 1).size();
  for (int effort = 2; effort <= tovmx::kMostRunEffort; ++effort) {
    const std::size_t size = Compressed(data, effort).size();
    EXPECT_LE(size, before + before / 500) << effort;
    before = size;
  }
  EXPECT_LT(before, Compressed(data, 1).size() * 99 / 100);
}

TEST(RunDeflate, StreamsAreShorterThanThoseOfACompressorForAllOrLittleLonger) {
  // Marks of gray, as text is drawn: three equal bytes for a pixel.
  Data data;
  Random random(5);
  while (data.size() < 500000) {
    data.insert(data.end(), 60 + random.Below(300), 0);
    for (unsigned i = 0; i < 12; ++i)
      data.insert(data.end(), 3, static_cast<std::uint8_t>(random.Below(120)));
  }
  EXPECT_LT(Compressed(data, 5).size(), SizeByLibdeflate(data, 5) * 95 / 100);
  for (unsigned seed = 1; seed <= 20; ++seed) {
    const Data page = Page(300000, seed, 400 + seed * 50, 250);
    ASSERT_TRUE(tovmx::HasLongRuns(page.data(), page.size()));
    EXPECT_LE(Compressed(page, 5).size(), SizeByLibdeflate(page, 5) * 108 / 100) << seed;
  }
}

TEST(RunDeflate, ThereIsNoStreamOfMoreThanHalf) {
  Data noise(20000);
  Random random(6);
  for (std::uint8_t& byte : noise) byte = static_cast<std::uint8_t>(random.Below(256));
  EXPECT_TRUE(Compressed(noise, 5).empty());
  Data half = noise;
  half.resize(33000);
  EXPECT_TRUE(Compressed(half, 5).empty()) << "twenty thousand bytes of noise, and runs";
  half.resize(60000);
  EXPECT_FALSE(Compressed(half, 5).empty());
  EXPECT_TRUE(Compressed(Data(), 5).empty());
  EXPECT_TRUE(Compressed(Data(20), 5).empty()) << "the head of a stream alone is longer";
}

TEST(RunDeflate, RunsAreLongWhereMostBlocksHaveOneByte) {
  const auto hasRuns = [](std::size_t even, std::size_t mixed) {
    Data data(even * 256 + mixed * 256);
    for (std::size_t i = even * 256; i < data.size(); ++i) data[i] = static_cast<std::uint8_t>(i * 7 / 5);
    return tovmx::HasLongRuns(data.data(), data.size());
  };
  EXPECT_TRUE(hasRuns(100, 0));
  EXPECT_TRUE(hasRuns(63, 37));
  EXPECT_FALSE(hasRuns(62, 38));
  EXPECT_FALSE(hasRuns(0, 100));
  EXPECT_FALSE(tovmx::HasLongRuns(nullptr, 0));
  const Data small(63);
  EXPECT_FALSE(tovmx::HasLongRuns(small.data(), small.size())) << "no block";
}

}  // namespace
