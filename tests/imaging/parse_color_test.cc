// SPDX-License-Identifier: MIT
#include <tovkit/imaging.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <initializer_list>
#include <string>

namespace {

using tovkit::ParseColor;

constexpr std::uint32_t kUntouched = 0xDEADBEEF;

struct Parsed {
  bool ok = false;
  std::uint32_t color = kUntouched;
  std::uint32_t kind = kUntouched;
};

Parsed Parse(const std::string& text) {
  Parsed parsed;
  parsed.ok = ParseColor(text.c_str(), parsed.color, parsed.kind);
  return parsed;
}

struct Case {
  const char* text;
  std::uint32_t kind;
  std::uint32_t color;
};

void ExpectColors(std::initializer_list<Case> cases) {
  for (const Case& c : cases) {
    const Parsed parsed = Parse(c.text);
    EXPECT_TRUE(parsed.ok) << '"' << c.text << '"';
    EXPECT_EQ(parsed.kind, c.kind) << '"' << c.text << '"';
    EXPECT_EQ(parsed.color, c.color) << '"' << c.text << "\" " << std::hex << parsed.color;
  }
}

void ExpectRefusals(std::initializer_list<const char*> texts) {
  for (const char* text : texts) {
    const Parsed parsed = Parse(text);
    EXPECT_FALSE(parsed.ok) << '"' << text << '"';
    EXPECT_EQ(parsed.color, kUntouched) << '"' << text << '"';
    EXPECT_EQ(parsed.kind, kUntouched) << '"' << text << '"';
  }
}

TEST(ParseColor, TwoDigitsAreGray) {
  ExpectColors({{"#80", 1, 0x00808080}, {"#00", 1, 0}, {"#ff", 1, 0x00FFFFFF}, {"#aF", 1, 0x00AFAFAF}});
}

TEST(ParseColor, EveryByteIsReadInBothCases) {
  for (std::uint32_t byte = 0; byte < 256; ++byte) {
    char lower[4];
    char upper[4];
    std::snprintf(lower, sizeof lower, "#%02x", byte);
    std::snprintf(upper, sizeof upper, "#%02X", byte);
    EXPECT_EQ(Parse(lower).color, byte * 0x010101);
    EXPECT_EQ(Parse(upper).color, byte * 0x010101);
  }
}

TEST(ParseColor, SixDigitsAreRgbWithRedLowest) {
  ExpectColors({{"#FF0000", 2, 0x000000FF}, {"#00FF00", 2, 0x0000FF00}, {"#123456", 2, 0x00563412}});
}

TEST(ParseColor, EightDigitsAreCmykWithTheFirstHighest) {
  ExpectColors({{"#01020304", 3, 0x01020304}, {"#FF000000", 3, 0xFF000000}, {"#000000ff", 3, 0x000000FF}});
}

TEST(ParseColor, AnyOtherNumberOfDigitsIsRefused) {
  ExpectRefusals({"#", "#1", "#123", "#1234", "#12345", "#1234567", "#123456789", "# 80", "#80 "});
  ExpectRefusals({std::string("#" + std::string(1'000'000, 'f')).c_str()});
}

TEST(ParseColor, APairWithABadSecondDigitCountsAsMinus1AndSetsEveryBitFromItsPlace) {
  ExpectColors({{"#0g", 1, 0xFFFFFFFF},
                {"#gg", 1, 0xFFFFFFFF},
                {"#0g0000", 2, 0xFFFFFFFF},
                {"#120g56", 2, 0xFFFFFF12},
                {"#12340g", 2, 0xFFFF3412},
                {"#0g000000", 3, 0xFF000000},
                {"#010g0000", 3, 0xFFFF0000},
                {"#01020g04", 3, 0xFFFFFF04},
                {"#0102030g", 3, 0xFFFFFFFF}});
}

TEST(ParseColor, APairWithOnlyABadFirstDigitCountsAsMinus16) {
  ExpectColors({{"#g0", 1, 0xFFFFFFF0},
                {"#g0ff00", 2, 0xFFFFFFF0},
                {"#g00000", 2, 0xFFFFFFF0},
                {"#12g000", 2, 0xFFFFF012},
                {"#1234g0", 2, 0xFFF03412},
                {"#g0000000", 3, 0xF0000000},
                {"#00g00000", 3, 0xFFF00000},
                {"#0000g000", 3, 0xFFFFF000},
                {"#000000g0", 3, 0xFFFFFFF0}});
}

TEST(ParseColor, CharactersAroundTheDigitsAreNone) {
  for (const char c : {'/', ':', '@', 'G', '`', 'g', ' ', '\x80', '\xFF', '\n'}) {
    EXPECT_EQ(Parse(std::string("#0") + c).color, 0xFFFFFFFFu) << static_cast<int>(c);
    EXPECT_EQ(Parse(std::string("#") + c + '0').color, 0xFFFFFFF0u) << static_cast<int>(c);
  }
}

TEST(ParseColor, OneNumberIsGrayThreeAreRgbFourAreCmyk) {
  ExpectColors({{"128", 1, 0x00808080},
                {"255 0 0", 2, 0x000000FF},
                {"0 0 255", 2, 0x00FF0000},
                {"1 2 3 4", 3, 0x01020304}});
}

TEST(ParseColor, NoNumberTwoOrMoreThanFourAreRefused) {
  ExpectRefusals({"", " ", "\t\n\v\f\r ", "1 2", "1 2 ", "1 2 3 4 5", "1 2 3 4 5 6"});
}

TEST(ParseColor, NullIsRefused) {
  std::uint32_t color = kUntouched;
  std::uint32_t kind = kUntouched;
  EXPECT_FALSE(ParseColor(nullptr, color, kind));
  EXPECT_EQ(color, kUntouched);
  EXPECT_EQ(kind, kUntouched);
}

TEST(ParseColor, LeadingSpaceOfAnyKindAndRunsOfSpacesAreSkipped) {
  ExpectColors({{" \t\n\v\f\r7", 1, 0x00070707}, {"  1   2  3   ", 2, 0x00030201}, {"5    ", 1, 0x00050505}});
  ExpectColors({{" #80", 1, 0}});  // "#80" behind a space is a word, and a word is 0
}

TEST(ParseColor, OnlySpacesDivideNumbers) {
  ExpectColors({{"255,0,0", 1, 0x00FFFFFF}, {"1\t2\t3", 1, 0x00010101}, {"1;2 3/4 5", 2, 0x00050301}});
}

TEST(ParseColor, WhiteSpaceBehindASpaceBelongsToTheNextNumber) {
  ExpectColors({{"1 \t2 3", 2, 0x00030201}});
  // The tab alone is a place of its own, at which the number behind it is read a first time.
  ExpectColors({{"1 \t 2 3", 3, 0x01020203}});
}

TEST(ParseColor, AWordThatIsNoNumberIs0) {
  ExpectColors({{"red", 1, 0}, {"red 5 x", 2, 0x00000500}, {"0x10", 1, 0}, {"12abc", 1, 0x000C0C0C}});
}

TEST(ParseColor, ANumberAbove255OrBelow0RunsIntoTheBytesAboveItsOwn) {
  ExpectColors({{"300 0 0", 2, 0x0000012C},
                {"256", 1, 0x01010100},
                {"-1", 1, 0xFFFFFFFF},
                {"0 -1 0", 2, 0xFFFFFF00},
                {"0 0 0 256", 3, 0x00000100},
                {"256 0 0 0", 3, 0},
                {"+5 0 0", 2, 5}});
}

TEST(ParseColor, NumbersBeyondTheRangeSaturateAsLongAndKeepTheirLowHalf) {
  ExpectColors({{"2147483647 0 0", 2, 0x7FFFFFFF},
                {"2147483648 0 0", 2, 0x80000000},
                {"4294967296 0 0", 2, 0},
                {"9223372036854775807 0 0", 2, 0xFFFFFFFF},
                {"99999999999999999999 0 0", 2, 0xFFFFFFFF},
                {"-99999999999999999999 0 0", 2, 0}});
}

TEST(ParseColor, LongTextsEndAtOnce) {
  std::string tabs = "1";
  for (int i = 0; i < 500'000; ++i) tabs += " \t";
  EXPECT_FALSE(Parse(tabs).ok);
  EXPECT_TRUE(Parse(std::string(1'000'000, ' ') + "1").ok);
  EXPECT_EQ(Parse(std::string(1'000'000, '9')).color, 0xFFFFFFFFu);
  EXPECT_EQ(Parse(std::string(1'000'000, '\xFF')).color, 0u);
}

}  // namespace
