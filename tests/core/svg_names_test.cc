// SPDX-License-Identifier: MIT
#include "device/svg_names.h"

#include <gtest/gtest.h>

#include <string>

namespace {

// Names are counted anew in the order of their first use, each word by itself; what only looks like one
// stays.
TEST(SvgNames, AreCountedFromOneInTheOrderOfTheirUse) {
  const struct {
    const char* before;
    const char* after;
  } rows[] = {
      {"", ""},
      {"plain", "plain"},
      {"\"image7\"", "\"image1\""},
      {"url(#surface41)", "url(#surface1)"},
      {"<a id=\"surface9\"/><b id=\"surface12\"/><c href=\"#surface9\"/>",
       "<a id=\"surface1\"/><b id=\"surface2\"/><c href=\"#surface1\"/>"},
      {"\"image5\"\"surface5\"\"image3\"url(#image5)", "\"image1\"\"surface1\"\"image2\"url(#image1)"},
      {"\"source-141\"\"image5\"url(#source-9)#source-141)",
       "\"source-1\"\"image1\"url(#source-2)#source-1)"},
      {"\"source-\" \"source-1-2\"", "\"source-\" \"source-1-2\""},
      {"\"surface99\" and then some", "\"surface1\" and then some"},
      {"x\"image10\"", "x\"image1\""},
      // Without digits, without an end, with another one.
      {"\"image\"", "\"image\""},
      {"\"image7", "\"image7"},
      {"\"image7 \"", "\"image7 \""},
      {"\"image7x\"", "\"image7x\""},
      {"#image7;", "#image7;"},
      {"\"images7\"", "\"images7\""},
      {"\"Image7\"", "\"Image7\""},
      {"image7\"", "image7\""},
      {"(image7)", "(image7)"},
      {"\"\"image7\"", "\"\"image1\""},
      {"#", "#"},
      {"\"", "\""},
      {"#surface", "#surface"},
      {"\"glyph-0-1\" \"clip2\"", "\"glyph-0-1\" \"clip2\""},
  };
  for (const auto& row : rows) EXPECT_EQ(tovmx::WithCountedNames(row.before), row.after) << row.before;
}

TEST(SvgNames, MoreThanNineOfThem) {
  std::string before, after;
  for (int i = 1; i <= 120; ++i) {
    before += "id=\"image" + std::to_string(1000 - i) + "\" #surface" + std::to_string(7 * i) + ")";
    after += "id=\"image" + std::to_string(i) + "\" #surface" + std::to_string(i) + ")";
  }
  EXPECT_EQ(tovmx::WithCountedNames(before), after);
  EXPECT_EQ(tovmx::WithCountedNames(after), after);
}

}  // namespace
