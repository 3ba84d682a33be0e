// SPDX-License-Identifier: MIT
// Every delivery that is acknowledged is told of once, and no other.
#include "queue/acknowledgments.h"

#include <gtest/gtest.h>

#include <random>
#include <set>
#include <string>
#include <vector>

namespace {

using queue::Acknowledgments;

std::string Words(Acknowledgments& acknowledgments) {
  std::string text;
  for (const Acknowledgments::Word word : acknowledgments.TakeWords())
    text += (word.multiple ? " to " : " ") + std::to_string(word.tag);
  return text;
}

TEST(Acknowledgments, AllUpToTheFirstThatIsOpenTakeOneWord) {
  Acknowledgments acknowledgments;
  for (std::uint64_t tag = 1; tag <= 9; ++tag) acknowledgments.Delivered(tag);
  EXPECT_EQ(Words(acknowledgments), "");
  for (const std::uint64_t tag : {2U, 1U, 3U, 6U, 8U}) acknowledgments.Acknowledged(tag);
  EXPECT_EQ(Words(acknowledgments), " to 3 6 8");
  EXPECT_EQ(Words(acknowledgments), "") << "told once";
  acknowledgments.Rejected(4);
  acknowledgments.Acknowledged(5);
  EXPECT_EQ(Words(acknowledgments), " to 5") << "what is rejected is told by itself";
  acknowledgments.Acknowledged(7);
  acknowledgments.Acknowledged(9);
  EXPECT_EQ(Words(acknowledgments), " to 9");
}

TEST(Acknowledgments, ANewConnectionBeginsAnew) {
  Acknowledgments acknowledgments;
  acknowledgments.Delivered(1);
  acknowledgments.Delivered(2);
  acknowledgments.Acknowledged(2);
  acknowledgments.Clear();
  EXPECT_EQ(Words(acknowledgments), "");
  acknowledgments.Delivered(1);
  acknowledgments.Acknowledged(1);
  EXPECT_EQ(Words(acknowledgments), " to 1");
}

// A broker that keeps the list itself.
TEST(Acknowledgments, ABrokerUnderstandsThem) {
  std::mt19937 random(1);
  for (int round = 0; round < 200; ++round) {
    Acknowledgments acknowledgments;
    std::set<std::uint64_t> held, meant;
    std::uint64_t last = 0;
    for (int step = 0; step < 200; ++step) {
      const std::size_t at = held.empty() ? 0 : random() % (held.size() + 2);
      if (at >= held.size()) {
        acknowledgments.Delivered(++last);
        held.insert(last);
      } else if (meant.count(*std::next(held.begin(), static_cast<std::ptrdiff_t>(at))) == 0) {
        const std::uint64_t tag = *std::next(held.begin(), static_cast<std::ptrdiff_t>(at));
        if (random() % 5 == 0) {
          acknowledgments.Rejected(tag);
          held.erase(tag);
        } else {
          acknowledgments.Acknowledged(tag);
          meant.insert(tag);
        }
      }
      if (random() % 7 != 0) continue;
      const std::set<std::uint64_t> before = held;
      for (const Acknowledgments::Word word : acknowledgments.TakeWords()) {
        ASSERT_EQ(held.count(word.tag), 1U) << "of what is not held a broker closes the channel";
        if (word.multiple) {
          held.erase(held.begin(), held.upper_bound(word.tag));
        } else {
          held.erase(word.tag);
        }
      }
      for (const std::uint64_t tag : before) ASSERT_EQ(held.count(tag), 1 - meant.count(tag)) << tag;
      meant.clear();
    }
  }
}

}  // namespace
