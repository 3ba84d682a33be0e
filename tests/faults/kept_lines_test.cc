// SPDX-License-Identifier: MIT
// A line that was shaped before takes no memory when it comes again, and its report takes little.
#include "allocation_faults.h"

#include <tovkit/imaging.h>
#include <tovkit/json.h>
#include <tovmx/font.h>

#include <gtest/gtest.h>

#include <climits>
#include <new>
#include <string>

namespace {

long AllocationsOf(const CoreFontLoader& fonts, const std::wstring& text) {
  CoreTextExtents extents;
  const AllocationFaults none = AllocationFaults::OfAny(LONG_MAX, 1);
  EXPECT_TRUE(fonts.MeasureText(text.c_str(), static_cast<int>(text.size()), 20.0f, extents));
  return none.seen();
}

// As a description has it, family and face are one name.
CoreFontLoader Loaded(const wchar_t* name) {
  CoreFontLoader fonts(nullptr);
  fonts.LoadFont(name, name, kCoreFontAny, 400, false);
  return fonts;
}

TEST(KeptLines, LinesOfTwoFamiliesInTurnAreKept) {
  const CoreFontLoader fonts[] = {Loaded(L"DejaVu Sans"), Loaded(L"Liberation Serif"), Loaded(L"SimSun")};
  const auto lineOf = [](int i) { return L"line " + std::to_wstring(i / 3); };
  for (int i = 0; i < 60; ++i) EXPECT_GT(AllocationsOf(fonts[i % 3], lineOf(i)), 0) << i;
  for (int i = 0; i < 60; ++i) EXPECT_EQ(AllocationsOf(fonts[i % 3], lineOf(i)), 0) << i;
}

tovkit::SharedPtr<tovkit::JsonValue> Description(int number) {
  const std::string text = "{\"Content\": \"a line\", \"DeltaX\": " + std::to_string(number) +
                           R"(, "Font": {"FontName": "DejaVu Sans"}, "Unknown": [1]})";
  return tovkit::Json::Parse(text.data(), static_cast<unsigned>(text.size()), nullptr);
}

TEST(KeptLines, AReportThatComesAgainIsCopied) {
  const auto description = Description(-1);
  const auto allocations = [&description] {
    const AllocationFaults none = AllocationFaults::OfAny(LONG_MAX, 1);
    EXPECT_TRUE(tovkit::DescribeText(description));
    return none.seen();
  };
  EXPECT_GT(allocations(), 30);
  EXPECT_GT(allocations(), 30);
  for (int i = 0; i < 3; ++i) EXPECT_LT(allocations(), 15);
}

// Whichever allocation fails while a report is kept, the next one is whole.
TEST(KeptLines, AFailureToKeepAReportLeavesNothingHalfMade) {
  const std::string expected = tovkit::DescribeText(Description(-2))->ToString().c_str();
  const auto isRight = [&expected](const tovkit::SharedPtr<tovkit::JsonValue>& report, int number) {
    const std::string place = "\"x\":" + std::to_string(number) + ".0,";
    const std::string written = report->ToString().c_str();
    return written.size() + 10 > expected.size() && written.find(place) != std::string::npos;
  };
  int failed = 0;
  for (int nth = 1; nth < 400; ++nth) {
    const auto description = Description(nth);
    for (int call = 0; call < 4; ++call) {
      try {
        const AllocationFaults faults = AllocationFaults::OfNew(nth, 1);
        EXPECT_TRUE(isRight(tovkit::DescribeText(description), nth)) << nth;
      } catch (const std::bad_alloc&) {
        ++failed;
      }
      EXPECT_TRUE(isRight(tovkit::DescribeText(description), nth)) << nth;
    }
  }
  EXPECT_GT(failed, 20);
}

}  // namespace
