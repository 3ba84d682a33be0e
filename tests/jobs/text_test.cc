// SPDX-License-Identifier: MIT
// What jobs read from short texts: sizes, backgrounds, excerpts.
#include "jobs/background.h"
#include "jobs/excerpt.h"
#include "jobs/page_size.h"
#include "jobs/picture_size.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>

namespace {

TEST(PageSize, TwoPositiveNumbers) {
  EXPECT_EQ(jobs::ParsePageSize("800x600"), (CoreSizeF{800, 600}));
  EXPECT_EQ(jobs::ParsePageSize("0.5X1e3"), (CoreSizeF{0.5f, 1000}));
  for (const char* text :
       {"", "10", "x", "10x", "x10", "0x10", "-1x1", "10x10x", " 1x1", "1 x1", "nanx1", "infx1"}) {
    EXPECT_EQ(jobs::ParsePageSize(text), std::nullopt) << text;
  }
}

TEST(PageSize, UnitsAndPapers) {
  const auto near = [](const std::string& text, double width, double height) {
    const auto size = jobs::ParsePageSize(text);
    ASSERT_TRUE(size) << text;
    EXPECT_NEAR(size->width, width, width * 1e-6) << text;
    EXPECT_NEAR(size->height, height, height * 1e-6) << text;
  };
  near("10x20px", 10, 20);
  near("1x2in", 96, 192);
  near("72X36PT", 96, 48);
  near("25.4x50.8mm", 96, 192);
  near("2.54x5.08cm", 96, 192);
  // ISO 216, in millimeters.
  const int a[][2] = {{841, 1189}, {594, 841}, {420, 594}, {297, 420}, {210, 297}, {148, 210},
                      {105, 148},  {74, 105},  {52, 74},   {37, 52},   {26, 37}};
  const int b[][2] = {{1000, 1414}, {707, 1000}, {500, 707}, {353, 500}, {250, 353}, {176, 250},
                      {125, 176},   {88, 125},   {62, 88},   {44, 62},   {31, 44}};
  for (int i = 0; i <= 10; ++i) {
    const std::string number = std::to_string(i);
    near("A" + number, a[i][0] * 96 / 25.4, a[i][1] * 96 / 25.4);
    near("b" + number, b[i][0] * 96 / 25.4, b[i][1] * 96 / 25.4);
    near("a" + number + "-Landscape", a[i][1] * 96 / 25.4, a[i][0] * 96 / 25.4);
    near("B" + number + "-portrait", b[i][0] * 96 / 25.4, b[i][1] * 96 / 25.4);
  }
  near("letter", 8.5 * 96, 11 * 96);
  near("Legal-landscape", 14 * 96, 8.5 * 96);
  near("TABLOID", 11 * 96, 17 * 96);
  near("Ledger", 17 * 96, 11 * 96);
  near("Ledger-portrait", 11 * 96, 17 * 96);
  near("Ledger-landscape", 17 * 96, 11 * 96);
  near("Executive", 7.25 * 96, 10.5 * 96);
  for (const char* text :
       {"A",   "B",   "A11",  "A-1",     "A00",    "A010",     "B99",      "C4",  "A4x", "A4-",  "A4-up",
        "A4 ", " A4", "Lett", "Letters", "10x20m", "10x20mm ", "10x20 mm", "0x1", "1x0", "1x-1", "1e99x1"}) {
    EXPECT_EQ(jobs::ParsePageSize(text), std::nullopt) << text;
  }
}

// "W x H", "P %", or nothing.
std::string SizeOf(const std::string& text) {
  const auto size = jobs::ParsePictureSize(text);
  if (!size) return "none";
  if (size->percent > 0) return std::to_string(size->percent) + " %";
  return std::to_string(size->pixels.width) + " x " + std::to_string(size->pixels.height);
}

TEST(PictureSize, TwoSidesOneOrAShare) {
  const char* const rows[][2] = {{"80x60", "80 x 60"},
                                 {"80X60", "80 x 60"},
                                 {"1x1", "1 x 1"},
                                 {"80x", "80 x 0"},
                                 {"x60", "0 x 60"},
                                 {"2147483647x2", "2147483647 x 2"},
                                 {"50%", "50.000000 %"},
                                 {"0.5%", "0.500000 %"},
                                 {"250%", "250.000000 %"},
                                 {"", "none"},
                                 {"x", "none"},
                                 {"80", "none"},
                                 {"0x1", "none"},
                                 {"1x0", "none"},
                                 {"-1x1", "none"},
                                 {"1x-1", "none"},
                                 {"80x60x", "none"},
                                 {"80.5x60", "none"},
                                 {" 80x60", "none"},
                                 {"2147483648x2", "none"},
                                 {"%", "none"},
                                 {"0%", "none"},
                                 {"-5%", "none"},
                                 {"5 %", "none"},
                                 {"nan%", "none"}};
  for (const auto& row : rows) EXPECT_EQ(SizeOf(row[0]), row[1]) << row[0];
}

TEST(PictureSize, WhatIsNotSaidFollowsFromThePicture) {
  const auto pixels = [](const char* text, CoreSize own) {
    const CoreSize size = jobs::PixelsOf(*jobs::ParsePictureSize(text), own);
    return std::to_string(size.width) + " x " + std::to_string(size.height);
  };
  EXPECT_EQ(pixels("80x60", {7, 9}), "80 x 60");
  EXPECT_EQ(pixels("80x", {40, 30}), "80 x 60");
  EXPECT_EQ(pixels("x60", {40, 30}), "80 x 60");
  EXPECT_EQ(pixels("10x", {3, 2}), "10 x 7") << "rounded to the nearest";
  EXPECT_EQ(pixels("x10", {2, 3}), "7 x 10");
  EXPECT_EQ(pixels("1x", {1000, 1}), "1 x 1") << "a pixel at least";
  EXPECT_EQ(pixels("x1", {1, 1000}), "1 x 1");
  EXPECT_EQ(pixels("50%", {41, 20}), "21 x 10");
  EXPECT_EQ(pixels("50%", {1000, 2000}), "500 x 1000");
  EXPECT_EQ(pixels("1%", {41, 20}), "1 x 1");
  EXPECT_EQ(pixels("150%", {4, 2}), "6 x 3");
  EXPECT_EQ(pixels("0.5%", {1000, 400}), "5 x 2");
  EXPECT_EQ(pixels("2000000000x", {1, 2}), "2000000000 x 2147483647") << "no more than an int";
}

TEST(Background, EveryWayToWriteAColor) {
  const struct {
    const char* text;
    std::optional<std::uint32_t> argb;
  } kTable[] = {{"none", 0},
                {"#80", 0xFF808080},
                {"#fff", 0xFFFFFFFF},
                {"#1a2", 0xFF11AA22},
                {"#1g2", std::nullopt},
                {"#336699", 0xFF336699},
                {"51 102 153", 0xFF336699},
                {"128", 0xFF808080},
                {"#00000000", 0xFFFFFFFF},
                {"#000000FF", 0xFF000000},
                // 254 * 254 / 255 is 253.004, 127 * 254 / 255 is 126.502
                {"#01018001", 0xFFFDFD7F},
                {"0 0 0 1", 0xFFFEFEFE},
                {" 0051  102 153 ", 0xFF336699},
                {"256", std::nullopt},
                {"0 0 300", std::nullopt},
                {"99999999999999999999", std::nullopt},
                {"red", std::nullopt},
                {"", std::nullopt},
                {"1 2", std::nullopt},
                {"#0g", std::nullopt},
                {"255,0,0", std::nullopt}};
  for (const auto& row : kTable) EXPECT_EQ(jobs::ParseBackground(row.text), row.argb) << row.text;
}

std::string Shown(const std::string& text, std::size_t offset) {
  const jobs::Excerpt excerpt = jobs::ExcerptAt(text, offset);
  return excerpt.line.substr(0, excerpt.at) + "|" + excerpt.line.substr(excerpt.at);
}

TEST(Excerpt, TheLineAndThePlaceInIt) {
  EXPECT_EQ(Shown("", 0), "|");
  EXPECT_EQ(Shown("abc", 1), "a|bc");
  EXPECT_EQ(Shown("a\nbcd\ne", 3), "b|cd");
  EXPECT_EQ(Shown("a\nbcd\ne", 5), "bcd|");
  EXPECT_EQ(Shown("a\nbcd\ne", 2), "|bcd");
  EXPECT_EQ(Shown("ab\r\nc", 1), "a|b");
  EXPECT_EQ(Shown("\xEF\xBB\xBF[1 2]", 6), "[1 |2]");
}

TEST(Excerpt, NeitherAMarkInFrontNorAReturnBehindBelongsToTheLine) {
  EXPECT_EQ(Shown("\xEF\xBB\xBFx", 3), "|x");
  EXPECT_EQ(Shown("\xEF\xBB\xBFx\ny", 6), "y|");
  EXPECT_EQ(Shown("ab\r\nc", 2), "ab|");
  EXPECT_EQ(Shown("ab\r", 1), "a|b");
  // The place itself is never cut away.
  EXPECT_EQ(Shown("ab\r\nc", 3), "ab\r|");
  EXPECT_EQ(Shown("\xEF\xBB\xBFx", 2), "\xEF\xBB|\xBFx");
}

// A piece that takes no more room than the dots stays.
TEST(Excerpt, SixtyThreeBytesOnEitherSideStayWhole) {
  const std::string x(64, 'x');
  EXPECT_EQ(Shown(x.substr(1), 63), x.substr(1) + "|");
  EXPECT_EQ(Shown(x, 64), "..." + x.substr(4) + "|");
  EXPECT_EQ(Shown(x.substr(1), 0), "|" + x.substr(1));
  EXPECT_EQ(Shown(x, 0), "|" + x.substr(4) + "...");
}

TEST(Excerpt, ALongLineIsCutBetweenCodePoints) {
  const std::string x(200, 'x');
  EXPECT_EQ(Shown(x, 100), "..." + x.substr(0, 60) + "|" + x.substr(0, 60) + "...");
  EXPECT_EQ(Shown(x, 0), "|" + x.substr(0, 60) + "...");
  EXPECT_EQ(Shown(x, 200), "..." + x.substr(0, 60) + "|");
  std::string wide;
  for (int i = 0; i < 100; ++i) wide += "\u5B8B";
  const jobs::Excerpt excerpt = jobs::ExcerptAt(wide, 150);
  EXPECT_EQ((excerpt.line.size() - 6) % 3, 0u);
  EXPECT_EQ(excerpt.line.substr(3, 3), "\u5B8B");
  const jobs::Excerpt noUtf8 = jobs::ExcerptAt(std::string(200, '\x80'), 100);
  EXPECT_EQ(noUtf8.line, "......");
  EXPECT_EQ(noUtf8.at, 3u);
}

}  // namespace
