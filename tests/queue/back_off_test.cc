// SPDX-License-Identifier: MIT
#include "queue/back_off.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

namespace {

using queue::BackOff;

TEST(BackOff, DoublesUpToItsLongestWithinHalf) {
  for (unsigned seed = 0; seed < 200; ++seed) {
    BackOff backOff(seed);
    BackOff::Pause whole = BackOff::kFirst;
    for (int attempt = 0; attempt < 20; ++attempt) {
      const BackOff::Pause pause = backOff.Next();
      EXPECT_GE(pause, whole / 2) << attempt;
      EXPECT_LE(pause, whole) << attempt;
      whole = std::min(whole * 2, BackOff::kLongest);
    }
    backOff.Reset();
    EXPECT_LE(backOff.Next(), BackOff::kFirst);
  }
}

TEST(BackOff, TwoDoNotComeBackTogether) {
  std::set<BackOff::Pause::rep> pauses;
  for (unsigned seed = 0; seed < 100; ++seed) pauses.insert(BackOff(seed).Next().count());
  EXPECT_GT(pauses.size(), 30U);
}

TEST(BackOff, APauseIsToldInSeconds) { EXPECT_EQ(queue::SecondsText(BackOff::Pause(1540)), "1.5 s"); }

}  // namespace
