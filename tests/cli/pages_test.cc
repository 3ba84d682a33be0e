// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include <tovkit/util.h>

#include "jobs/page_selection.h"
#include "local_text.h"
#include "run_command.h"

namespace {

TEST(PagesCommand, PrintsOneIndexALine) {
  struct Row {
    std::vector<std::string> arguments;
    const char* out;
  };
  const Row kTable[] = {
      {{"all", "--count", "3"}, "0\n1\n2\n"},
      {{"", "--count", "2"}, "0\n1\n"},
      {{"1,3,5-7", "--count", "10"}, "0\n2\n4\n5\n6\n"},
      {{"1,3,5-7", "--count", "10", "--zero-based"}, "1\n3\n5\n6\n7\n"},
      {{"odd", "--count", "5", "--base", "10"}, "10\n12\n14\n"},
      {{"even", "--count", "5", "--base", "-1"}, "0\n2\n"},
      {{"all", "--count", "2", "--base", "10"}, "0\n1\n"},
      {{"all", "--count", "0"}, ""},
      {{"1,", "--count", "3"}, "0\n"},
      {{" 2 - 4 , 5", "--count", "5"}, "1\n2\n3\n4\n"},
  };
  for (const Row& row : kTable) {
    std::vector<std::string> arguments{"pages"};
    arguments.insert(arguments.end(), row.arguments.begin(), row.arguments.end());
    const CommandResult result = RunCommand(arguments);
    EXPECT_EQ(result.status, 0) << row.arguments[0];
    EXPECT_EQ(result.out, row.out) << row.arguments[0];
    EXPECT_EQ(result.err, "") << row.arguments[0];
  }
}

// With the sentence of the command, and what is printed before it stops.
TEST(PagesCommand, SaysWhichSegmentStopsTheListAndWhy) {
  if (!LocalTextIsUtf8()) GTEST_SKIP() << "local text is no UTF-8 here";
  const std::string stand = " is no number; all, odd and even stand alone";
  const std::string written = " is not understood; ranges are written as 3-5";
  struct Row {
    std::vector<std::string> arguments;
    std::string out;
    std::string why;
  };
  const Row kTable[] = {
      {{"foo", "--count", "10"}, "", "segment 1, \"foo\": \"foo\"" + stand},
      {{"last", "--count", "10"}, "", "segment 1, \"last\": \"last\"" + stand},
      {{"odd,3", "--count", "10"}, "", "segment 1, \"odd\": \"odd\"" + stand},
      {{" all", "--count", "10"}, "", "segment 1, \" all\": \" all\"" + stand},
      {{"3-1", "--count", "10"}, "", "segment 1, \"3-1\": the range does not rise"},
      {{"2-2", "--count", "10"}, "", "segment 1, \"2-2\": the range does not rise"},
      {{"5", "--count", "3"}, "", "segment 1, \"5\": the last page is 3"},
      {{"3", "--count", "3", "--zero-based"}, "", "segment 1, \"3\": the last page is 2"},
      {{"1", "--count", "0"}, "", "segment 1, \"1\": there are no pages"},
      {{"1,3-5,x,9", "--count", "10"}, "0\n2\n3\n4\n", "segment 3, \"x\": \"x\"" + stand},
      {{"4-12", "--count", "10"}, "3\n4\n5\n6\n7\n8\n9\n", "segment 1, \"4-12\": the last page is 10"},
      {{"1-2147483647", "--count", "2"}, "0\n1\n", "segment 1, \"1-2147483647\": the last page is 2"},
      {{"1\u20133,7", "--count", "10"}, "0\n", "segment 1, \"1\u20133\": \"\u20133\"" + written},
      {{"\u2013", "--count", "10"}, "", "segment 1, \"\u2013\": \"\u2013\"" + stand},
      {{"2x", "--count", "10"}, "1\n", "segment 1, \"2x\": \"x\"" + written},
      {{"3-5-9", "--count", "10"}, "", "segment 1, \"3-5-9\": \"-5\"" + written},
      {{"1,3-5x", "--count", "10"}, "0\n2\n3\n4\n", "segment 2, \"3-5x\": \"x\"" + written},
      {{"1,x-5", "--count", "10", "--zero-based"}, "1\n", "segment 2, \"x-5\": \"x\"" + stand},
      {{"x", "--count", "10", "--zero-based"}, "", "segment 1, \"x\": \"x\"" + stand},
      {{"1,3-x", "--count", "10"}, "0\n", "segment 2, \"3-x\": \"x\"" + stand},
      {{"3,2", "--count", "10"}, "2\n", "segment 2, \"2\": 2 is not above the 3 before it"},
      {{"1-4,4-6", "--count", "10"}, "0\n1\n2\n3\n", "segment 2, \"4-6\": 4 is not above the 4 before it"},
      {{"0", "--count", "10"}, "", "segment 1, \"0\": pages count from 1"},
      {{"--count", "5", "--", "-2"}, "", "segment 1, \"-2\": it begins with a dash"},
      {{"1,,3", "--count", "10"}, "0\n", "segment 2, \"\": it is empty"},
      {{"1,3-", "--count", "10"}, "0\n", "segment 2, \"3-\": nothing stands behind its dash"},
      {{"1," + std::string(300, '9'), "--count", "10"},
       "0\n",
       "segment 2, \"9999999999...9999999999\": the last page is 10"},
  };
  for (const Row& row : kTable) {
    std::vector<std::string> arguments{"pages"};
    arguments.insert(arguments.end(), row.arguments.begin(), row.arguments.end());
    const CommandResult result = RunCommand(arguments);
    EXPECT_EQ(result.status, 1) << row.why;
    EXPECT_EQ(result.out, row.out) << row.why;
    EXPECT_EQ(result.err, "tovkit: stopped at " + row.why + "\n");
  }
}

TEST(PagesCommand, LenientPrintsWhatTheLibrarySelectsAndExitsWithZero) {
  if (!LocalTextIsUtf8()) GTEST_SKIP() << "local text is no UTF-8 here";
  const char* const kTable[][3] = {
      {"1,3-5,x,9", "0\n2\n3\n4\n", "segment 3, \"x\": \"x\" is no number; all, odd and even stand alone"},
      {"1\u20133,7", "0\n6\n",
       "segment 1, \"1\u20133\": \"\u20133\" is not understood; ranges are written as 3-5"},
      {"foo", "", "segment 1, \"foo\": \"foo\" is no number; all, odd and even stand alone"},
  };
  for (const auto& row : kTable) {
    const CommandResult result = RunCommand({"pages", row[0], "--count", "10", "--lenient"});
    EXPECT_EQ(result.status, 0) << row[0];
    EXPECT_EQ(result.out, row[1]) << row[0];
    EXPECT_EQ(result.err, std::string("tovkit: ") + row[2] + "\n");
  }
  EXPECT_EQ(RunCommand({"pages", "1-3", "--count", "10", "--lenient"}).err, "");
}

std::vector<int> Selected(const std::string& selection, int count, int origin) {
  CoreArray<int> pages;
  (origin == 0 ? tovkit::ParsePageIndices : tovkit::ParsePageNumbers)(selection.c_str(), count, pages, 0);
  std::vector<int> selected;
  for (int i = 0; i < pages.GetSize(); ++i) selected.push_back(pages[i]);
  return selected;
}

// The library goes through a selection to its end exactly when the command finds no reason to stop: a page
// behind everything, put at the end, is then selected and otherwise not.
TEST(PageSelection, StopsWhereTheLibraryDoes) {
  constexpr int kBehind = 900;
  std::mt19937 random(20);
  const std::string letters = "0123456789112233,,,,,----- x";
  int stops = 0, ends = 0, ignored = 0;
  for (int round = 0; round < 200000; ++round) {
    std::string selection;
    for (unsigned length = 1 + random() % 9; selection.size() < length;)
      selection += letters[random() % letters.size()];
    const int origin = static_cast<int>(random() % 2);
    const int count = static_cast<int>(random() % 14);
    const auto stop = jobs::FindSelectionStop(selection, count, origin);
    const std::vector<int> all = Selected(selection, count, origin);
    if (!stop) {
      const std::string longer =
          selection + (selection.back() == ',' ? "" : ",") + std::to_string(kBehind + origin);
      std::vector<int> expected = all;
      expected.push_back(kBehind);
      ASSERT_EQ(Selected(longer, 2 * kBehind, origin), expected) << selection << " of " << count;
      ++ends;
      continue;
    }
    const std::vector<int> some =
        stop->hasSelected ? Selected(stop->selected, count, origin) : std::vector<int>();
    ASSERT_LE(some.size(), all.size()) << selection;
    ASSERT_TRUE(std::equal(some.begin(), some.end(), all.begin()))
        << selection << " of " << count << ": " << stop->why;
    // What the library passes over, and a text that it takes for 0, do not stop it.
    if (stop->why.find("not understood") != std::string::npos ||
        (origin == 0 && stop->why.find("no number") != std::string::npos)) {
      ++ignored;
      continue;
    }
    ASSERT_EQ(some, all) << selection << " of " << count << ": " << stop->why;
    ++stops;
  }
  EXPECT_GT(stops, 1000);
  EXPECT_GT(ends, 1000);
  EXPECT_GT(ignored, 1000);
}

TEST(PagesCommand, WrongUse) {
  const std::vector<std::vector<std::string>> kTable = {
      {"pages"},
      {"pages", "all"},
      {"pages", "--count", "3"},
      {"pages", "all", "--count", "-1"},
      {"pages", "all", "--count", "100000001"},
      {"pages", "all", "--count", "99999999999999999999"},
      {"pages", "all", "--count", "x"},
      {"pages", "all", "--count", "3", "--base", "2147483648"},
      {"pages", "all", "more", "--count", "3"},
  };
  for (const auto& arguments : kTable) {
    const CommandResult result = RunCommand(arguments);
    EXPECT_EQ(result.status, 2) << arguments.back();
    EXPECT_EQ(result.out, "") << arguments.back();
    EXPECT_EQ(result.err.rfind("tovkit: ", 0), 0U) << result.err;
  }
}

}  // namespace
