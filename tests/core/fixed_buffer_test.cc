// SPDX-License-Identifier: MIT
#include "fixed_buffer.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstring>
#include <string>

namespace {

TEST(FixedBuffer, HoldsTextsUpToOneByteLessThanItsCapacity) {
  base::FixedBuffer<8> buffer;
  EXPECT_STREQ(buffer.text(), "");
  EXPECT_EQ(buffer.capacity(), 8U);
  EXPECT_EQ(buffer.Format("%d-%s", 12, "abcd"), 7);
  EXPECT_STREQ(buffer.text(), "12-abcd");
  EXPECT_EQ(buffer.Format("%s", ""), 0);
  EXPECT_STREQ(buffer.text(), "");
  buffer.Copy("7654321");
  EXPECT_STREQ(buffer.text(), "7654321");
  buffer.Copy("ab");
  EXPECT_STREQ(buffer.text(), "ab");
  EXPECT_EQ(std::memcmp(buffer.text(), "ab\0004321", 7), 0) << "no more than the text is written";
  EXPECT_EQ(buffer.data(), buffer.text());
}

TEST(FixedBufferDeathTest, EndsTheProcessWithALineWhenATextDoesNotFit) {
  base::FixedBuffer<8> buffer;
  for (const std::size_t length : {8, 9, 100}) {
    const std::string text(length, 'x');
    const std::string line =
        "tovkit: a text of " + std::to_string(length) + " bytes does not fit a buffer of 8 bytes";
    EXPECT_EXIT(buffer.Copy(text.c_str()), testing::KilledBySignal(SIGABRT), line);
    EXPECT_EXIT(buffer.Format("%s", text.c_str()), testing::KilledBySignal(SIGABRT), line);
  }
}

}  // namespace
