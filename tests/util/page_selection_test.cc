// SPDX-License-Identifier: MIT
#include <tovkit/util.h>

#include <gtest/gtest.h>

#include <climits>
#include <cstddef>
#include <string>
#include <vector>

#include "every_text.h"

namespace {

using Pages = std::vector<int>;
using Parse = void (*)(const char*, int, CoreArray<int>&, int);

Pages PagesOf(Parse parse, const char* selection, int count, int base = 0) {
  CoreArray<int> out;
  parse(selection, count, out, base);
  return Pages(out.GetData(), out.GetData() + out.GetSize());
}
Pages Indices(const char* selection, int count, int base = 0) {
  return PagesOf(tovkit::ParsePageIndices, selection, count, base);
}
Pages Numbers(const char* selection, int count, int base = 0) {
  return PagesOf(tovkit::ParsePageNumbers, selection, count, base);
}

TEST(PageRanges, KeywordsInTheirThreeSpellings) {
  struct Row {
    const char* selection;
    Pages base0;
    Pages base10;
  };
  const Pages kAll = {0, 1, 2, 3, 4};
  const Row kTable[] = {
      {"", kAll, kAll},
      {"all", kAll, kAll},
      {"ALL", kAll, kAll},
      {"All", kAll, kAll},
      {"even", {1, 3}, {11, 13}},
      {"EVEN", {1, 3}, {11, 13}},
      {"Even", {1, 3}, {11, 13}},
      {"odd", {0, 2, 4}, {10, 12, 14}},
      {"ODD", {0, 2, 4}, {10, 12, 14}},
      {"Odd", {0, 2, 4}, {10, 12, 14}},
  };
  for (const Row& row : kTable) {
    EXPECT_EQ(Indices(row.selection, 5), row.base0) << row.selection;
    EXPECT_EQ(Numbers(row.selection, 5), row.base0) << row.selection;
    EXPECT_EQ(Indices(row.selection, 5, 10), row.base10) << row.selection;
    EXPECT_EQ(Numbers(row.selection, 5, 10), row.base10) << row.selection;
  }
}

TEST(PageRanges, NullIsTheEmptySelection) {
  EXPECT_EQ(Indices(nullptr, 3), (Pages{0, 1, 2}));
  EXPECT_EQ(Numbers(nullptr, 3, 7), (Pages{0, 1, 2}));
}

TEST(PageRanges, OnePage) {
  EXPECT_EQ(Numbers("even", 1, 7), Pages());
  EXPECT_EQ(Numbers("odd", 1, 7), Pages{7});
  EXPECT_EQ(Numbers("all", 1, 7), Pages{0});
}

TEST(PageRanges, NothingForACountBelowOne) {
  for (const char* selection : {"", "all", "odd", "even", "0", "1", "1-2"}) {
    for (const int count : {0, -1, INT_MIN}) {
      EXPECT_EQ(Indices(selection, count), Pages()) << selection;
      EXPECT_EQ(Numbers(selection, count), Pages()) << selection;
    }
  }
}

TEST(PageRanges, OtherSpellingsAreReadAsAList) {
  // Text without a digit is the number 0: the first page by index, no page by number.
  for (const char* selection : {"aLL", "eVEN", "oDD", "all ", " all", "All,", "x"}) {
    EXPECT_EQ(Indices(selection, 5, 10), Pages{0}) << selection;
    EXPECT_EQ(Numbers(selection, 5, 10), Pages()) << selection;
  }
}

struct ListRow {
  const char* selection;
  Pages numbers;
  Pages indices;
};

void ExpectListsOfTenPages(const std::vector<ListRow>& rows) {
  for (const ListRow& row : rows) {
    EXPECT_EQ(Numbers(row.selection, 10), row.numbers) << row.selection;
    EXPECT_EQ(Indices(row.selection, 10), row.indices) << row.selection;
    EXPECT_EQ(Numbers(row.selection, 10, 1000), row.numbers) << row.selection << " with a base";
    EXPECT_EQ(Indices(row.selection, 10, 1000), row.indices) << row.selection << " with a base";
  }
}

TEST(PageRanges, NumbersAndRangesSelectTheirPagesInTheOrderGiven) {
  ExpectListsOfTenPages({
      {"1,3,5-7", {0, 2, 4, 5, 6}, {1, 3, 5, 6, 7}},
      {"2", {1}, {2}},
      {"1,", {0}, {1}},
  });
}

TEST(PageRanges, NumbersMustRiseStrictlyAndARangeMustHoldTwoPagesAtLeast) {
  ExpectListsOfTenPages({
      {"3,2", {2}, {3}},
      {"3,3", {2}, {3}},
      {"2-2", {}, {}},
      {"5-3", {}, {}},
      {"5,3-4", {4}, {5}},
      {"5,4-6", {4}, {5}},
      {"5,5-6", {4}, {5}},
      {"1-3,3", {0, 1, 2}, {1, 2, 3}},
      {"1-3,4", {0, 1, 2, 3}, {1, 2, 3, 4}},
      {"3-5-9", {2, 3, 4, 5, 6, 7, 8}, {3, 4, 5, 6, 7, 8, 9}},
  });
}

TEST(PageRanges, BlanksBeforeANumberAndTextBehindItAreIgnoredAndTextWithoutADigitIsZero) {
  ExpectListsOfTenPages({
      {" 2 - 4", {1, 2, 3}, {2, 3, 4}},
      {"2x,3y", {1, 2}, {2, 3}},
      {"2 x", {1}, {2}},
      {"\t2,\n3", {1, 2}, {2, 3}},
      {"1-+3", {0, 1, 2}, {1, 2, 3}},
      {"+2", {1}, {2}},
      {"1;2", {0}, {1}},
      {"\xff\x80", {}, {0}},
      {"010", {9}, {}},
      {"0x9", {}, {0}},
      {" -2", {}, {0, 1, 2}},
      {"--2", {}, {0, 1, 2}},
      {"x,1", {}, {0, 1}},
  });
}

// A page outside the document, an empty segment, a dangling or leading dash, a number that is not above the
// one before: what was appended before it stays.
TEST(PageRanges, AnythingElseEndsTheListAtThatPointWithoutAReport) {
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  ExpectListsOfTenPages({
      {"4-12", {3, 4, 5, 6, 7, 8, 9}, {4, 5, 6, 7, 8, 9}},
      {"4-12,13", {3, 4, 5, 6, 7, 8, 9}, {4, 5, 6, 7, 8, 9}},
      {"9,10,11", {8, 9}, {9}},
      {"11,12", {}, {}},
      {"1,,3", {0}, {1}},
      {",1", {}, {}},
      {",", {}, {}},
      {"1,2-", {0}, {1}},
      {"1-", {}, {}},
      {"-5", {}, {}},
      {"-", {}, {}},
      {"-0", {}, {}},
      {"3,-", {2}, {3}},
      {"-5-", {}, {}},
      {"0", {}, {0}},
      {"0-2", {}, {0, 1, 2}},
      {"3,2", {2}, {3}},
      {"2-2", {}, {}},
  });
  EXPECT_EQ(testing::internal::GetCapturedStdout() + testing::internal::GetCapturedStderr(), "");
}

TEST(PageRanges, TwoCallsAppendTwice) {
  CoreArray<int> out;
  tovkit::ParsePageNumbers("1,3", 5, out, 0);
  tovkit::ParsePageIndices("1,3", 5, out, 0);
  EXPECT_EQ(Pages(out.GetData(), out.GetData() + out.GetSize()), (Pages{0, 2, 1, 3}));
}

TEST(PageRanges, BaseWrapsAt32Bits) {
  EXPECT_EQ(Numbers("odd", 4, INT_MAX), (Pages{INT_MAX, INT_MIN + 1}));
  EXPECT_EQ(Numbers("even", 4, INT_MAX), (Pages{INT_MIN, INT_MIN + 2}));
  EXPECT_EQ(Numbers("odd", 4, INT_MIN), (Pages{INT_MIN, INT_MIN + 2}));
}

TEST(PageRanges, NumbersBeyond32BitsSelectNothingThatNobodyAskedFor) {
  const Pages all = {0, 1, 2, 3, 4};
  const Pages butFirst = {1, 2, 3, 4};
  struct Row {
    const char* selection;
    Pages numbers;
    Pages indices;
  };
  const Row kTable[] = {
      {"2147483648", {}, {}},
      {"4294967296", {}, {}},
      {"4294967297", {}, {}},
      {"4294967297-4294967299", {}, {}},
      {"18446744073709551617", {}, {}},
      {"99999999999999999999", {}, {}},
      {"-99999999999999999999", {}, {}},
      {"-4294967295", {}, {}},
      {"1-4294967298", all, butFirst},
      {"1-2147483648", all, butFirst},
      {"1-4294967296", all, butFirst},
      {"1-99999999999999999999", all, butFirst},
      {"99999999999999999998-99999999999999999999", {}, {}},
      {"--4294967295", {}, all},  // 0 to that
      {" -4294967295-3", {}, {}},
      {"1,4294967298,2", {0}, {1}},
      {"1,99999999999999999999,2", {0}, {1}},
      {"1-2,4294967299", {0, 1}, {1, 2}},
      {"2,4294967297-4294967300", {1}, {2}},
  };
  for (const Row& row : kTable) {
    EXPECT_EQ(Numbers(row.selection, 5), row.numbers) << row.selection;
    EXPECT_EQ(Indices(row.selection, 5), row.indices) << row.selection;
  }
}

TEST(PageRanges, WideRangesCostNoMoreThanTheCount) {
  EXPECT_EQ(Indices("0-2147483647", 3), (Pages{0, 1, 2}));
  EXPECT_EQ(Numbers("1-2147483647", 3), (Pages{0, 1, 2}));
  EXPECT_EQ(Numbers("2147483646-2147483647", 3), Pages());
  EXPECT_EQ(Indices("2147483646-2147483647", INT_MAX), Pages{INT_MAX - 1});
  EXPECT_EQ(Numbers("2147483646-2147483647", INT_MAX), (Pages{INT_MAX - 2, INT_MAX - 1}));
}

TEST(PageRanges, MegabyteSelections) {
  std::string list;
  int numbers = 0;
  while (list.size() < (1 << 20)) list += std::to_string(++numbers) + ",";
  const Pages pages = Numbers(list.c_str(), numbers);
  ASSERT_EQ(pages.size(), static_cast<std::size_t>(numbers));
  EXPECT_EQ(pages.back(), numbers - 1);
  EXPECT_EQ(Numbers(std::string(1 << 20, '-').c_str(), 5), Pages());
  EXPECT_EQ(Numbers(std::string(1 << 20, ',').c_str(), 5), Pages());
  EXPECT_EQ(Numbers(std::string(1 << 20, '9').c_str(), 5), Pages());
}

// A second implementation, which splits first and reads the numbers digit by digit.
struct BySplitting {
  int origin;
  int count;
  int last = origin - 1;
  Pages pages = {};

  static int Number(const std::string& text) {
    std::size_t at = text.find_first_not_of(' ');
    if (at == std::string::npos) return 0;
    const int sign = text[at] == '-' ? -1 : 1;
    if (sign < 0) ++at;
    int number = 0;
    for (; at < text.size() && text[at] >= '0' && text[at] <= '9'; ++at) {
      number = 10 * number + (text[at] - '0');
    }
    return sign * number;
  }

  bool Add(int number) {
    if (number - origin >= count) return false;
    pages.push_back(number - origin);
    return true;
  }

  bool Segment(const std::string& text) {
    const std::size_t dash = text.rfind('-');
    if (dash == std::string::npos && !text.empty()) {
      const int number = Number(text);
      if (number <= last) return false;
      last = number;
      return Add(number);
    }
    if (text.empty() || dash == 0 || dash + 1 == text.size()) return false;
    const int first = Number(text.substr(0, dash));
    const int end = Number(text.substr(dash + 1));
    if (first >= end || first <= last) return false;
    last = end;
    for (int number = first; number <= end; ++number) {
      if (!Add(number)) return false;
    }
    return true;
  }

  void Parse(std::string text) {
    for (std::size_t comma; (comma = text.find(',')) != std::string::npos; text.erase(0, comma + 1)) {
      if (!Segment(text.substr(0, comma))) return;
    }
    if (!text.empty()) Segment(text);
  }
};

TEST(PageRanges, EveryShortListAgreesWithTheSecondImplementation) {
  int wrong = 0;
  ForEveryText("0123,- ", 6, [&](const std::string& selection) {
    if (selection.empty()) return;
    for (const int origin : {0, 1}) {
      BySplitting second{origin, 13};
      second.Parse(selection);
      const Pages pages = origin == 0 ? Indices(selection.c_str(), 13) : Numbers(selection.c_str(), 13);
      if (pages != second.pages && ++wrong < 10) ADD_FAILURE() << '"' << selection << "\" from " << origin;
    }
  });
  EXPECT_EQ(wrong, 0);
}

}  // namespace
