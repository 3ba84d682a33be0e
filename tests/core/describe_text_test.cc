// SPDX-License-Identifier: MIT
// CoreFontLoader::DescribeText: the runs of a line and what has no glyph, in the characters that were given.
#include <tovmx/font.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

CoreFontLoader Fonts(const wchar_t* family = L"DejaVu Sans") {
  CoreFontLoader fonts(nullptr);
  fonts.LoadFont(family, family, kCoreFontAny, 400, false);
  return fonts;
}

CoreTextDescription Describe(const std::wstring& text, const CoreFontLoader& fonts = Fonts(),
                             int maxRuns = 1000, float size = 32) {
  CoreTextDescription line;
  EXPECT_TRUE(fonts.DescribeText(text.c_str(), static_cast<int>(text.size()), size, maxRuns, line));
  return line;
}

TEST(DescribeLine, OneFontIsOneRun) {
  const CoreTextDescription line = Describe(L"Hello");
  ASSERT_EQ(line.runs.size(), 1U);
  const CoreTextRun& run = line.runs[0];
  EXPECT_EQ(run.first, 0);
  EXPECT_EQ(run.count, 5);
  EXPECT_STREQ(run.script.c_str(), "Latn");
  EXPECT_FALSE(run.rightToLeft);
  EXPECT_STREQ(run.family.c_str(), "DejaVu Sans");
  EXPECT_STREQ(run.style.c_str(), "Book");
  EXPECT_NE(std::string(run.file.c_str()).find("/DejaVuSans.ttf"), std::string::npos);
  EXPECT_EQ(run.face, 0);
  EXPECT_FALSE(run.substituted);
  EXPECT_EQ(run.left, 0);
  EXPECT_EQ(run.right, line.extents.logical.right);
  EXPECT_EQ(line.runCount, 1);
  EXPECT_TRUE(line.missing.empty());
}

TEST(DescribeLine, ExtentsAreThoseOfAMeasurement) {
  for (const wchar_t* text : {L"Hello", L"\u5b8b\u4f53 and more", L"", L" "}) {
    CoreTextExtents measured;
    ASSERT_TRUE(Fonts().MeasureText(text, -1, 32, measured));
    CoreTextDescription line;
    ASSERT_TRUE(Fonts().DescribeText(text, -1, 32, 10, line));
    EXPECT_EQ(line.extents.ink, measured.ink);
    EXPECT_EQ(line.extents.logical, measured.logical);
  }
}

TEST(DescribeLine, ACharacterThatTheFamilyLacksIsARunThatStandsIn) {
  const CoreTextDescription line = Describe(L"ab\u5b8bcd");
  ASSERT_EQ(line.runs.size(), 3U);
  EXPECT_STREQ(line.runs[1].script.c_str(), "Hani");
  EXPECT_EQ(line.runs[1].first, 2);
  EXPECT_EQ(line.runs[1].count, 1);
  EXPECT_TRUE(line.runs[1].substituted);
  EXPECT_FALSE(line.runs[0].substituted);
  EXPECT_EQ(line.runs[0].right, line.runs[1].left);
  EXPECT_EQ(line.runs[2].first, 3);
  EXPECT_STRNE(line.runs[1].family.c_str(), line.runs[0].family.c_str());
}

TEST(DescribeLine, AFamilyThatIsMissingIsStoodInForEverywhere) {
  for (const CoreTextRun& run : Describe(L"ab\u5b8b", Fonts(L"No Such Family")).runs) {
    EXPECT_TRUE(run.substituted) << run.family.c_str();
  }
  for (const CoreTextRun& run : Describe(L"ab", Fonts(L"")).runs) EXPECT_FALSE(run.substituted);
}

TEST(DescribeLine, RunsFromRightToLeftStandInTheOrderOfTheEye) {
  const CoreTextDescription line = Describe(L"ab \u05d0\u05d1 \u05d2 1");
  ASSERT_GE(line.runs.size(), 2U);
  EXPECT_FALSE(line.runs.front().rightToLeft);
  float pen = 0;
  bool hasHebrew = false;
  for (const CoreTextRun& run : line.runs) {
    EXPECT_EQ(run.left, pen);
    pen = run.right;
    hasHebrew |= run.rightToLeft && std::string(run.script.c_str()) == "Hebr";
  }
  EXPECT_EQ(pen, line.extents.logical.right);
  EXPECT_TRUE(hasHebrew);
}

TEST(DescribeLine, CharactersWithoutAGlyphHaveTheirPlaces) {
  const CoreTextDescription line = Describe(L"a\U000F1234b\U000F1235\U000F1234");
  ASSERT_EQ(line.missing.size(), 3U);
  EXPECT_EQ(line.missing[0].position, 1);
  EXPECT_EQ(line.missing[0].character, U'\U000F1234');
  EXPECT_EQ(line.missing[1].position, 3);
  EXPECT_EQ(line.missing[1].character, U'\U000F1235');
  EXPECT_EQ(line.missing[2].position, 4);
}

// Of letters from right to left the last cluster has the first glyph.
TEST(DescribeLine, CharactersWithoutAGlyphAreFoundInEveryDirection) {
  const CoreTextDescription line = Describe(L"\u05d0\U00010AC0\u05d1");
  ASSERT_EQ(line.missing.size(), 1U);
  EXPECT_EQ(line.missing[0].position, 1);
  EXPECT_EQ(line.missing[0].character, U'\U00010AC0');
}

// What joins a character that no font has is missing with it, unless it is never drawn.
TEST(DescribeLine, OnlyWhatIsDrawnIsMissingBesideABox) {
  for (const wchar_t* const family : {L"Liberation Sans", L"AR PL UMing CN", L"DejaVu Sans"}) {
    const auto missing = [family](const std::wstring& text) {
      std::vector<std::pair<int, char32_t>> found;
      for (const CoreMissingCharacter& each : Describe(text, Fonts(family)).missing) {
        found.emplace_back(each.position, each.character);
      }
      return found;
    };
    using Found = std::vector<std::pair<int, char32_t>>;
    const Found box = {{1, U'\U0010FC21'}};
    for (const wchar_t unseen :
         {L'\u200B', L'\u200C', L'\u200D', L'\u2060', L'\uFE00', L'\uFE01', L'\uFE0D', L'\uFE0E', L'\uFE0F',
          L'\U000E0100', L'\U000E0101', L'\U000E01EE', L'\U000E01EF'}) {
      EXPECT_EQ(missing(std::wstring(L"x\U0010FC21") + unseen + L"y"), box) << std::hex << int(unseen);
    }
    // Marks that are drawn, from beside and between the ranges of selectors.
    for (const wchar_t mark : {L'\U0001E000', L'\U0001DA00', L'\U000116AB'}) {
      const Found both = {{1, U'\U0010FC21'}, {2, static_cast<char32_t>(mark)}};
      EXPECT_EQ(missing(std::wstring(L"x\U0010FC21") + mark + L"y"), both) << std::hex << int(mark);
      EXPECT_EQ(missing(std::wstring(L"x\U0010FC21") + mark + L'\uFE00'), both) << std::hex << int(mark);
    }
    EXPECT_EQ(missing(L"\U0010FC21\U0010FC22"), (Found{{0, U'\U0010FC21'}, {1, U'\U0010FC22'}}));
  }
}

TEST(DescribeLine, WhatIsNotDrawnIsNotMissing) {
  for (const wchar_t* text : {L"a\u200db", L"a\ufe0fb",
                              L"a\x01"
                              L"b",
                              L"a\tb", L"\u200e", L"a\u00ad"}) {
    EXPECT_TRUE(Describe(text).missing.empty()) << text;
  }
}

// Control characters are left out, and the rule for emoji puts selectors in.
TEST(DescribeLine, PositionsCountTheCharactersThatWereGiven) {
  const CoreTextDescription line = Describe(
      L"\x01\x02"
      L"a\u261d\x03\U000F1234");
  ASSERT_EQ(line.missing.size(), 1U);
  EXPECT_EQ(line.missing[0].position, 5);
  int first = 100;
  int end = 0;
  for (const CoreTextRun& run : line.runs) {
    first = std::min(first, run.first);
    end = std::max(end, run.first + run.count);
  }
  EXPECT_EQ(first, 2);
  EXPECT_EQ(end, 6);
}

TEST(DescribeLine, TheRunsAreBoundedAndCounted) {
  std::wstring text;
  for (int i = 0; i < 50; ++i) text += L"a\u5b8b";
  const CoreTextDescription line = Describe(text, Fonts(), 7);
  EXPECT_EQ(line.runs.size(), 7U);
  EXPECT_EQ(line.runCount, 100);
  EXPECT_TRUE(Describe(text, Fonts(), 0).runs.empty());
}

TEST(DescribeLine, ALineThatIsKeptHasAsManyRunsAsAreAskedFor) {
  for (const int most : {16, 3, 1, 0, -1, 4, 2}) {
    const CoreTextDescription line = Describe(L"a\u5b8bb\u5b8b", Fonts(), most);
    EXPECT_EQ(line.runs.size(), static_cast<std::size_t>(std::clamp(most, 0, 4))) << most;
    EXPECT_EQ(line.runCount, 4);
  }
}

std::string Everything(const CoreTextDescription& line) {
  std::string all = std::to_string(line.runCount) + "/" + std::to_string(line.extents.logical.right);
  for (const CoreTextRun& run : line.runs) {
    all += "\n" + std::to_string(run.first) + "+" + std::to_string(run.count) + " " + run.script.c_str() +
           (run.rightToLeft ? " rtl " : " ") + std::to_string(run.left) + " " + std::to_string(run.right) +
           " " + run.family.c_str() + " " + run.style.c_str() + " " + run.file.c_str() + " " +
           std::to_string(run.face) + (run.substituted ? " substituted" : "");
  }
  for (const CoreMissingCharacter& one : line.missing) {
    all += "\n" + std::to_string(one.position) + " " + std::to_string(static_cast<unsigned>(one.character));
  }
  return all;
}

// A thread that has shaped nothing yet.
std::string ToldForTheFirstTime(const std::wstring& text, float size, int maxRuns) {
  std::string told;
  std::thread([&] { told = Everything(Describe(text, Fonts(), maxRuns, size)); }).join();
  return told;
}

TEST(DescribeLine, ALineThatIsToldAgainIsToldTheSame) {
  std::wstring manyRuns;
  for (int i = 0; i < 12; ++i) manyRuns += L"a\u5b8b\ue000";
  for (const std::wstring& text : {std::wstring(L"Hello"), std::wstring(L"ab\u5b8b \u05d0\u05d1 1\ue000"),
                                   manyRuns, std::wstring(L"\a\u261d"), std::wstring()}) {
    for (const int maxRuns : {1, 1000, 0, 2, -1}) {
      for (const float size : {32.0f, 7.3f}) {
        EXPECT_EQ(Everything(Describe(text, Fonts(), maxRuns, size)),
                  ToldForTheFirstTime(text, size, maxRuns));
      }
    }
  }
}

TEST(DescribeLine, WhatADeviceRefusesLeavesTheOutputAlone) {
  CoreTextDescription line;
  line.runCount = 77;
  const std::wstring tooLong((1 << 18) + 1, L'x');
  CoreFontLoader none(nullptr);
  none.LoadFont(L"x", L"x", kCoreFontApplication, 400, false);
  EXPECT_FALSE(Fonts().DescribeText(nullptr, 1, 32, 10, line));
  EXPECT_FALSE(Fonts().DescribeText(L"a", 1, 0, 10, line));
  EXPECT_FALSE(Fonts().DescribeText(tooLong.c_str(), -1, 32, 10, line));
  EXPECT_FALSE(none.DescribeText(L"a", 1, 32, 10, line));
  EXPECT_EQ(line.runCount, 77);
}

}  // namespace
