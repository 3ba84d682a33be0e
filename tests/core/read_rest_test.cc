// SPDX-License-Identifier: MIT
#include "io/read_rest.h"

#include "image_support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace {

std::string Content(std::size_t size) {
  std::string text;
  unsigned state = 9;
  while (text.size() < size) {
    state = state * 1664525U + 1013904223U;
    text += static_cast<char>(state >> 24);
  }
  return text;
}

std::string TextOf(const tovmx::Bytes& bytes) {
  return bytes.size == 0 ? std::string() : std::string(reinterpret_cast<const char*>(bytes.data), bytes.size);
}

// Around the sizes of the blocks that are read, which double.
constexpr std::size_t kSizes[] = {0, 1, 100, 65535, 65536, 65537, 196607, 196608, 196609, 500'000};

TEST(ReadRest, GivesWhatLiesBehindThePositionUpToTheMost) {
  for (const std::size_t size : kSizes) {
    const std::string text = Content(size);
    for (const std::size_t at : {std::size_t{0}, std::size_t{1}, size / 2, size, size + 1}) {
      for (const std::uint64_t most :
           {std::uint64_t{0}, std::uint64_t{1}, std::uint64_t{70'000}, std::uint64_t{size}, UINT64_MAX}) {
        const std::string rest = at > size ? "" : text.substr(at);
        const std::string expected =
            rest.substr(0, static_cast<std::size_t>(std::min<std::uint64_t>(most, rest.size())));
        std::vector<std::uint8_t> storage(3, 7);
        CoreMemoryInputStream viewed(text.data(), text.size());
        viewed.Seek(at);
        const tovmx::Bytes seen = tovmx::ReadRest(viewed, most, storage);
        EXPECT_EQ(TextOf(seen) == expected, true) << size << " from " << at << ", " << most;
        if (seen.size != 0) {
          EXPECT_EQ(static_cast<const void*>(seen.data), text.data() + at) << "the stream's own memory";
        }
        image::StubbornInput plain(text, UINT64_MAX);
        plain.Seek(at);
        EXPECT_EQ(TextOf(tovmx::ReadRest(plain, most, storage)) == expected, true)
            << size << " from " << at << ", " << most;
        EXPECT_EQ(storage.size(), expected.size());
      }
    }
  }
}

// A stream that promises more than it has costs only what arrives.
TEST(ReadRest, MemoryGrowsWithWhatArrives) {
  class Promising final : public CoreInputStream {
   public:
    std::size_t Read(void* to, std::size_t size) override {
      largest = std::max(largest, size);
      const std::size_t count = std::min(size, left);
      std::memset(to, 'x', count);
      left -= count;
      return count;
    }
    bool Seek(std::uint64_t) override { return false; }
    std::uint64_t GetPosition() const override { return 0; }
    std::uint64_t GetSize() const override { return UINT64_MAX; }
    std::size_t left = 0, largest = 0;
  };
  for (const std::size_t size : kSizes) {
    Promising in;
    in.left = size;
    std::vector<std::uint8_t> storage;
    EXPECT_EQ(tovmx::ReadRest(in, UINT64_MAX, storage).size, size);
    EXPECT_LE(in.largest, 2 * size + 65536) << size;
  }
}

}  // namespace
