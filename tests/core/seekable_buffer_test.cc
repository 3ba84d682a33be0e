// SPDX-License-Identifier: MIT
#include "io/seekable_buffer.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::string ContentsOf(const tovmx::SeekableBuffer& buffer) {
  return {reinterpret_cast<const char*>(buffer.GetData()), buffer.GetSize()};
}

TEST(SeekableBuffer, WhatIsWrittenIsReadBackFromAnyPlace) {
  tovmx::SeekableBuffer buffer;
  EXPECT_TRUE(buffer.Write("abcdef", 6));
  buffer.Seek(2);
  char got[8] = {};
  EXPECT_EQ(buffer.Read(got, 3), 3u);
  EXPECT_EQ(std::string(got), "cde");
  EXPECT_EQ(buffer.GetPosition(), 5u);
  EXPECT_EQ(buffer.Read(got, 8), 1u);
  EXPECT_EQ(buffer.Read(got, 8), 0u) << "at the end";
  buffer.Seek(UINT64_MAX);
  EXPECT_EQ(buffer.Read(got, 8), 0u) << "behind it";
}

TEST(SeekableBuffer, AChangeInTheMiddleKeepsTheRest) {
  tovmx::SeekableBuffer buffer;
  EXPECT_TRUE(buffer.Write("abcdef", 6));
  buffer.Seek(1);
  EXPECT_TRUE(buffer.Write("XY", 2));
  EXPECT_EQ(ContentsOf(buffer), "aXYdef");
  buffer.Seek(5);
  EXPECT_TRUE(buffer.Write("Z!", 2));
  EXPECT_EQ(ContentsOf(buffer), "aXYdeZ!");
}

TEST(SeekableBuffer, AGapIsFilledWithZeros) {
  tovmx::SeekableBuffer buffer;
  EXPECT_TRUE(buffer.Write("a", 1));
  buffer.Seek(100'000);
  EXPECT_TRUE(buffer.Write("", 0));
  EXPECT_EQ(buffer.GetSize(), 1u) << "nothing written, no gap";
  EXPECT_TRUE(buffer.Write("b", 1));
  EXPECT_EQ(ContentsOf(buffer), "a" + std::string(99'999, '\0') + "b");
}

TEST(SeekableBuffer, WhatNoMemoryHoldsIsRefusedAndChangesNothing) {
  tovmx::SeekableBuffer buffer;
  EXPECT_TRUE(buffer.Write("abc", 3));
  for (const std::uint64_t place : {UINT64_MAX, UINT64_MAX - 1, std::uint64_t{PTRDIFF_MAX}}) {
    buffer.Seek(place);
    EXPECT_FALSE(buffer.Write("de", 2)) << place;
    EXPECT_EQ(buffer.GetPosition(), place);
  }
  EXPECT_EQ(ContentsOf(buffer), "abc");
}

}  // namespace
