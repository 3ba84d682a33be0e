// SPDX-License-Identifier: MIT
// What jobs read from short texts: sizes, backgrounds, excerpts.
#include "jobs/background.h"
#include "jobs/excerpt.h"
#include "jobs/page_size.h"

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
