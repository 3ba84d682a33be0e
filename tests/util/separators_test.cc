// SPDX-License-Identifier: MIT
#include <tovkit/util.h>

#include "allocation_cap.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>
#include <string>

namespace {

using tovkit::JoinPath;
using tovkit::NormalizeSeparators;
using tovkit::ReplaceSeparators;

TEST(Separators, ANullTextInPlaceIsReturnedAsItIs) {
  EXPECT_EQ(ReplaceSeparators(static_cast<char*>(nullptr), '_'), nullptr);
  EXPECT_EQ(NormalizeSeparators(static_cast<char*>(nullptr)), nullptr);
}

TEST(Separators, TextInPlaceIsChangedUpToItsTerminatorAndReturned) {
  char text[] = "a\\b/c\0/";
  EXPECT_EQ(ReplaceSeparators(text, '_'), text);
  EXPECT_EQ(std::string(text, 7), std::string("a_b_c\0/", 7));
  char empty[] = "\0/";
  EXPECT_EQ(NormalizeSeparators(empty), empty);
  EXPECT_EQ(std::string(empty, 2), std::string("\0/", 2));
  char path[] = "\\x\\";
  EXPECT_STREQ(NormalizeSeparators(path), "/x/");
}

TEST(Separators, AStringIsChangedOverItsWholeLength) {
  std::string text("a\\b\0/c", 6);
  const std::string copy = text;
  ReplaceSeparators(text, '|');
  EXPECT_EQ(text, std::string("a|b\0|c", 6));
  EXPECT_EQ(copy, std::string("a\\b\0/c", 6));
  NormalizeSeparators(text);
  EXPECT_EQ(text, std::string("a|b\0|c", 6));
  std::string windows = "c:\\dir\\file";
  NormalizeSeparators(windows);
  EXPECT_EQ(windows, "c:/dir/file");
}

TEST(Separators, ACopyHasThemReplaced) {
  EXPECT_EQ(NormalizeSeparators("a\\b/c"), "a/b/c");
  EXPECT_EQ(ReplaceSeparators("a/b\\c", '\\'), "a\\b\\c");
  EXPECT_EQ(ReplaceSeparators(static_cast<const char*>(nullptr), '_'), "");
  EXPECT_EQ(NormalizeSeparators(static_cast<const char*>(nullptr)), "");
  EXPECT_EQ(ReplaceSeparators("", '_'), "");
}

TEST(Separators, EveryByteAtEveryLengthIsKeptOrReplaced) {
  for (std::size_t length = 0; length < 300; ++length) {
    std::string text;
    std::string expected;
    for (std::size_t i = 0; i < length; ++i) {
      const auto byte = static_cast<char>(i * 7 + length);
      text += byte;
      expected += byte == '/' || byte == '\\' ? '\xFE' : byte;
    }
    ReplaceSeparators(text, '\xFE');
    ASSERT_EQ(text, expected) << length;
  }
}

TEST(JoinPath, JoinsTwoComponents) {
  const struct {
    const char* first;
    const char* second;
    const char* joined;
  } rows[] = {
      {"a", "b", "a/b"},    {"a/", "/b", "a/b"},  {"", "/b", "/b"},       {nullptr, nullptr, ""},
      {"a\\", "b", "a\\b"}, {"a", "\\b", "a/b"},  {"a\\", "\\b", "a\\b"}, {"/a", "b", "/a/b"},
      {"\\", "b", "\\b"},   {"a", nullptr, "a"},  {"a", "", "a"},         {nullptr, "b", "b"},
      {"a", "/", "a/"},     {"a", "//b", "a//b"}, {"a//", "b", "a//b"},   {"a/b/", "c/d/", "a/b/c/d/"},
      {"/", "/", "/"},      {"", "", ""},         {"/", "b", "/b"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.first != nullptr ? row.first : "null") + " + " +
                 (row.second != nullptr ? row.second : "null"));
    EXPECT_EQ(JoinPath(row.first, row.second, nullptr), row.joined);
  }
}

TEST(JoinPath, AThirdComponentIsAppendedUntilAllocationFails) {
  const AllocationCap cap(1 << 20);
  EXPECT_THROW(JoinPath("a", "b", "c", nullptr), std::bad_alloc);
}

TEST(JoinPath, ArgumentsAfterTheThirdAreNeverRead) {
  const AllocationCap cap(1 << 16);
  const auto* const wild = reinterpret_cast<const char*>(1);
  EXPECT_THROW(JoinPath("a", "b", "c", wild, nullptr), std::bad_alloc);
}

TEST(JoinPathDeathTest, AThirdComponentThatAddsNothingKeepsTheCallGoing) {
  const auto join = [](const char* third) {
    const rlimit oneSecond = {1, 1};
    setrlimit(RLIMIT_CPU, &oneSecond);
    JoinPath("a", "b", third, nullptr);
  };
  EXPECT_EXIT(join(""), testing::KilledBySignal(SIGKILL), "");
}

}  // namespace
