// SPDX-License-Identifier: MIT
// What tovkit draw says of its findings without a report: a note for each kind, and --strict.
#include "report_support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

namespace {

using report::Has;
using report::Line;
using report::Report;
using report::WithFont;

// Every kind of finding, the second line with more of it.
constexpr char kFindings[] =
    R"([{"Content": "\uE123\uE124\uE123", "DeltaX": 5, "DeltaY": 40, "Font": {"FontName": "No Such Font", "FontNmae": 1}},
{"Content": "\uE124x", "DeltaX": 5000, "Bold": true, "Font": {"FontName": "No Such Serif"}}])";

// Without the folder of the file, and what stands in for fonts.
std::string Plain(std::string err, const std::string& folder) {
  for (std::size_t at = 0; (at = err.find(folder)) != std::string::npos;) err.erase(at, folder.size());
  const std::string before = "is not installed; ";
  for (std::size_t at = 0; (at = err.find(before, at)) != std::string::npos;) {
    at += before.size();
    err.erase(at, err.find(" stands in", at) - at);
  }
  return err;
}

TEST_F(Report, AShortLineTellsTheFirstOfEachKindOfFinding) {
  const auto said = [](const std::string& tells) {
    return "tovkit: a.json:1:14: no font has U+E123 PRIVATE USE CHARACTER (and 2 more" + tells +
           ")\n"
           "tovkit: a.json:1:84: the font \"No Such Font\" is not installed;  stands in for it; fc-list "
           "names those that are (and 1 more" +
           tells +
           ")\n"
           "tovkit: a.json:1:100: \"FontNmae\" is no key of a font; did you mean \"FontName\"? (and 1 more" +
           tells + ")\n";
  };
  const std::string clip = "tovkit: a.json:2:1: the text is wholly outside the page: ";
  const CommandResult result = Draw(kFindings, {"--size", "600x200"});
  EXPECT_EQ(result.status, 0);
  EXPECT_TRUE(IsDrawn());
  const std::string err = Plain(result.err, Path(""));
  EXPECT_EQ(err.substr(0, err.find(clip)), said("; --report tells all"));
  EXPECT_TRUE(Has(err, clip)) << err;
  EXPECT_FALSE(Has(err.substr(err.find(clip)), "more")) << "there is only one";
  EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 4);
  EXPECT_EQ(Plain(Draw(kFindings, {"--size", "600x200", "--report"}).err, Path("")).rfind(said(""), 0), 0U);
  EXPECT_EQ(Plain(Draw(kFindings, {"--size", "600x200", "--report=" + Path("r")}).err, Path(""))
                .rfind(said("; r tells all"), 0),
            0U);
}

TEST_F(Report, NothingIsSaidWithoutAFindingOrWhenNobodyWantsToHearIt) {
  for (const std::string& quiet : {std::string("--quiet"), std::string("-q")}) {
    const CommandResult result = Draw(kFindings, {"--size", "600x200", quiet});
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(Draw(kFindings, {"--size", "600x200", quiet, "--report"}).err, "");
  }
  EXPECT_FALSE(Has(Draw(kFindings).err, "outside the page")) << "the page is as large as the text needs";
  EXPECT_EQ(Draw(WithFont(R"("Content": "fine")")).err, "");
  EXPECT_EQ(Draw(R"({"Content": "fine"})").err, "") << "no font is named";
}

TEST_F(Report, AControlCharacterInANoteForgesNoLine) {
  const CommandResult result = Draw(R"({"Content": "x", "Font": {"FontName": "No\nSuch\u001b[31m"}})");
  EXPECT_TRUE(Has(result.err, "the font \"No\\nSuch\\x1b[31m\" is not installed")) << result.err;
}

TEST_F(Report, StrictDrawsNothingAndSaysWhereItIs) {
  const struct {
    const char* kind;
    const char* json;
    const char* message;
  } rows[] = {
      {"glyphs", R"({"Content": "a\uE123", "DeltaX": 5, "DeltaY": 30})",
       "a.json:1:13: no font has U+E123 PRIVATE USE CHARACTER"},
      {"fonts", R"({"Content": "a", "Font": {"FontName": "No Such Font"}})",
       "a.json:1:39: the font \"No Such Font\" is not installed; "},
      {"keys", R"({"Content": "a", "Fnot": {}})",
       "a.json:1:18: \"Fnot\" is no key of a line; did you mean \"Font\"?"},
      {"keys", R"({"Content": "a", "Font": {"FontSize": "12"}})",
       "a.json:1:39: \"FontSize\" is a string, where an integer is expected; 26 is used"},
      {"keys", R"({"Content": "a", "Font": {"Color": 5}})",
       "a.json:1:36: \"Color\" is an integer, where a string is expected; #000000 is used"},
      {"keys", R"({"Content": "a", "Font": {"Color": "1 2"}})",
       "a.json:1:36: \"1 2\" is no color such as \"#1F4E79\" or \"31 78 121\"; #000000 is used"},
      {"clip", R"({"Content": "a", "DeltaX": 395})", "beyond the right edge"},
  };
  for (const auto& row : rows) {
    for (const std::string& strict : {std::string("--strict"), std::string("--strict=") + row.kind,
                                      std::string("--strict=clip,glyphs,fonts,keys")}) {
      const CommandResult result = Draw(row.json, {"--size", "400x100", strict});
      EXPECT_EQ(result.status, 1) << row.json;
      EXPECT_TRUE(Has(result.err, row.message)) << result.err;
      EXPECT_EQ(result.err.substr(result.err.size() - 2), "^\n") << result.err;
      EXPECT_FALSE(IsDrawn()) << row.json;
    }
    for (const char* other : {"glyphs", "fonts", "keys", "clip"}) {
      if (std::string(other) == row.kind) continue;
      EXPECT_EQ(Draw(row.json, {"--size", "400x100", std::string("--strict=") + other}).status, 0)
          << row.json;
      std::filesystem::remove(Path("a.png"));
    }
  }
  EXPECT_EQ(Draw(R"({"Content": "a"})", {"--strict", "--size", "400x100"}).status, 0)
      << "a font that nobody names may be missing";
}

TEST_F(Report, StrictTellsEveryFindingOfItsKinds) {
  const char* const json = R"([{"Content": "\uE123\uE124",
  "Font": {"FontName": "No Such Font", "FontNmae": 1}},
{"Content": "x", "Bold": true,
  "Font": {"FontName": "No Such Font"}}])";
  const std::string keys =
      "tovkit: a.json:2:40: \"FontNmae\" is no key of a font; did you mean \"FontName\"?\n"
      "    \"Font\": {\"FontName\": \"No Such Font\", \"FontNmae\": 1}},\n" +
      std::string(41, ' ') + "^\n";
  const std::string otherKeys =
      "tovkit: a.json:3:18: \"Bold\" is no key of a line; \"Bold\" belongs into \"Font\"\n"
      "  {\"Content\": \"x\", \"Bold\": true,\n" +
      std::string(19, ' ') + "^\n";
  const std::string fonts =
      "tovkit: a.json:2:24: the font \"No Such Font\" is not installed;  stands in for it; fc-list names "
      "those that are\n"
      "    \"Font\": {\"FontName\": \"No Such Font\", \"FontNmae\": 1}},\n" +
      std::string(25, ' ') + "^\n";
  const std::string glyphs =
      "tovkit: a.json:1:14: no font has U+E123 PRIVATE USE CHARACTER\n"
      "tovkit: a.json:1:14: no font has U+E124 PRIVATE USE CHARACTER\n"
      "  [{\"Content\": \"\\uE123\\uE124\",\n" +
      std::string(15, ' ') + "^\n";
  const auto said = [this, json](const std::string& strict) {
    const CommandResult result = Draw(json, {strict});
    EXPECT_EQ(result.status, 1);
    EXPECT_FALSE(IsDrawn());
    return Plain(result.err, Path(""));
  };
  EXPECT_EQ(said("--strict"), keys + fonts + glyphs + otherKeys);
  EXPECT_EQ(said("--strict=keys"), keys + otherKeys);
  EXPECT_EQ(said("--strict=glyphs,fonts"), fonts + glyphs);
}

TEST_F(Report, StrictTellsTwentyFindingsAndHowManyMoreThereAre) {
  const auto said = [this](int keys, const std::vector<std::string>& more = {}) {
    std::string json = "{\"Content\": \"x\"";
    for (int i = 0; i < keys; ++i) json += ",\n\"key" + std::to_string(i) + "\": 1";
    std::vector<std::string> arguments = {"--strict=keys"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return Draw(json + "}", arguments).err;
  };
  const auto lines = [](const std::string& text) { return std::count(text.begin(), text.end(), '\n'); };
  EXPECT_EQ(lines(said(20)), 60);
  EXPECT_FALSE(Has(said(20), "tovkit: and"));
  EXPECT_EQ(lines(said(21)), 61);
  EXPECT_TRUE(Has(said(21), "\ntovkit: and 1 more\n"));
  EXPECT_TRUE(Has(said(10000), "\ntovkit: and 9980 more\n"));
  EXPECT_EQ(said(30, {"--report=" + Path("r"), "--limit", "0"}), said(30))
      << "the limit is that of the report";
  EXPECT_EQ(Line(Read("r"))->GetMember("warnings")->Size(), 0U);
}

TEST_F(Report, SeveralStrictsAddUp) {
  const std::string json = R"({"Content": "\uE123", "Fnot": 1})";
  EXPECT_EQ(Draw(json, {"--strict=clip", "--strict=fonts"}).status, 0);
  for (const auto& [one, other] :
       {std::pair("keys", "glyphs"), {"glyphs", "keys"}, {"glyphs,clip", "fonts,keys"}}) {
    const std::string said =
        Draw(json, {std::string("--strict=") + one, std::string("--strict=") + other}).err;
    EXPECT_TRUE(Has(said, "U+E123") && Has(said, "Fnot")) << said;
  }
  const std::string all = Draw(json, {"--strict"}).err;
  EXPECT_EQ(Draw(json, {"--strict", "--strict=clip"}).err, all);
  EXPECT_EQ(Draw(json, {"--strict=clip", "--strict"}).err, all);
  EXPECT_EQ(Draw(json, {"--strict=clip,all"}).err, all);
  EXPECT_EQ(Draw(json, {"--strict=clip", "--strict=glyph"}).status, 2);
}

}  // namespace
