// SPDX-License-Identifier: MIT
#include <tovkit/util.h>

#include <gtest/gtest.h>

#include <csignal>
#include <ctime>
#include <string>

namespace {

using tovkit::MakeTimeName;

// Runs until the clock shows the same second before and after.
std::string NameOfOneSecond(const char* prefix, const char* suffix, std::string& seconds) {
  for (;;) {
    const std::time_t before = std::time(nullptr);
    const std::string name = MakeTimeName(prefix, suffix);
    if (std::time(nullptr) != before) continue;
    seconds = std::to_string(before);
    return name;
  }
}

TEST(MakeTimeName, IsPrefixSecondsSuffix) {
  std::string seconds;
  const std::string name = NameOfOneSecond("x", ".tmp", seconds);
  EXPECT_EQ(name, "x" + seconds + ".tmp");
}

TEST(MakeTimeName, TwoCallsWithinASecondReturnTheSameName) {
  std::string seconds, secondsOfTheOther;
  std::string first, other;
  do {
    first = NameOfOneSecond("x", "y", seconds);
    other = NameOfOneSecond("x", "y", secondsOfTheOther);
  } while (seconds != secondsOfTheOther);
  EXPECT_EQ(first, other);
}

TEST(MakeTimeName, NullPartsCountAsEmpty) {
  std::string seconds;
  const std::string name = NameOfOneSecond(nullptr, nullptr, seconds);
  EXPECT_EQ(name, seconds);
}

TEST(MakeTimeName, HoldsAThousandAndTwentyThreeBytes) {
  const std::string seconds = MakeTimeName(nullptr, nullptr);
  const std::string prefix(1023 - seconds.size(), 'p');
  EXPECT_EQ(MakeTimeName(prefix.c_str(), "").size(), 1023U);
}

TEST(MakeTimeNameDeathTest, ALongerNameEndsTheProcess) {
  const std::string seconds = MakeTimeName(nullptr, nullptr);
  const std::string suffix(1024 - seconds.size(), 's');
  EXPECT_EXIT(MakeTimeName(nullptr, suffix.c_str()), testing::KilledBySignal(SIGABRT),
              "^tovkit: a text of 1024 bytes does not fit a buffer of 1024 bytes\n$");
}

}  // namespace
