// SPDX-License-Identifier: MIT
// tovkit draw --report, --strict, --quiet and --schema: what a person is told of a drawing.
#include <tovkit/json.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "run_command.h"
#include "scratch_dir.h"
#include "terminal.h"

namespace {

using tovkit::Json;
using tovkit::JsonValue;
using tovkit::SharedPtr;

constexpr char kFont[] = R"("Font": {"FontName": "DejaVu Sans", "FontSize": 20})";

bool Has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

class Report : public testing::Test {
 protected:
  std::string Path(const std::string& name) const { return dir_.path() + "/" + name; }
  std::string Write(const std::string& name, const std::string& text) const {
    std::ofstream(Path(name), std::ios::binary) << text;
    return Path(name);
  }
  std::string Read(const std::string& name) const {
    std::ifstream file(Path(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  // Draws the description to a.png.
  CommandResult Draw(const std::string& json, std::vector<std::string> more = {}) const {
    more.insert(more.begin(), {"draw", Write("a.json", json), "-o", Path("a.png")});
    return RunCommand(more);
  }
  bool IsDrawn() const { return std::filesystem::exists(Path("a.png")); }

 private:
  ScratchDir dir_;
};

SharedPtr<JsonValue> Line(const std::string& lines, int index = 0) {
  std::size_t from = 0;
  for (; index > 0; --index) from = lines.find('\n', from) + 1;
  const std::string line = lines.substr(from, lines.find('\n', from) - from);
  SharedPtr<JsonValue> value = Json::Parse(line.data(), static_cast<unsigned>(line.size()), nullptr);
  EXPECT_TRUE(value) << line;
  return value;
}

std::string WithFont(const std::string& members) { return "{" + members + ", " + kFont + "}"; }

TEST_F(Report, AReportTakesNoInputsPlace) {
  const std::string line = R"({"Content": "x"})";
  const std::string file = Write("a.json", line);
  const auto refused = [&](const std::string& report, const std::string& what) {
    const CommandResult result = RunCommand({"draw", file, "-o", Path("a.png"), "--report=" + report});
    EXPECT_EQ(result.status, 2) << report;
    EXPECT_EQ(result.err.rfind("tovkit: " + what + "\n", 0), 0u) << result.err;
  };
  refused(file, "--report: " + file + " is an input");
  const std::string other = Path("./a.json");
  refused(other, "--report: " + other + " is an input");
  refused(Path("a.png"), Path("a.png") + " cannot hold both the page and the report");
  refused(Path("./a-12.png"), Path("./a-12.png") + " cannot hold both the page and the report");
  EXPECT_EQ(Read("a.json"), line);
  EXPECT_FALSE(IsDrawn());
}

TEST_F(Report, ALineOfTextIsALineOfJson) {
  const CommandResult result = Draw(
      "[" + WithFont(R"("Content": "first")") + ",\n " + WithFont(R"("Content": "\uE123", "Xy": 1)") + "]",
      {"--report"});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_TRUE(IsDrawn());
  const auto first = Line(result.out);
  EXPECT_STREQ(first->GetMemberString("file", ""), Path("a.json").c_str());
  EXPECT_STREQ(first->GetMemberString("pointer", ""), "/0");
  EXPECT_STREQ(first->GetMemberString("content", ""), "first");
  const auto second = Line(result.out, 1);
  EXPECT_EQ(second->GetMemberInt("line", 0), 2);
  EXPECT_EQ(second->GetMemberInt("column", 0), 2);
  EXPECT_EQ(second->GetMemberInt("missingCount", 0), 1);
  const auto warning = second->GetMember("warnings")->GetAt(0);
  EXPECT_STREQ(warning->GetMemberString("pointer", ""), "/Xy");
  EXPECT_EQ(warning->GetMemberInt("line", 0), 2);
  EXPECT_EQ(warning->GetMemberInt("column", 0), 24);
}

TEST_F(Report, ValuesComeBehindAnEqualsSignOnly) {
  const std::string json = Write("b.json", WithFont(R"("Content": "b")"));
  CommandResult result = RunCommand({"draw", "--report", json, "-o", Path("a.png")});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_STREQ(Line(result.out)->GetMemberString("content", ""), "b");
  EXPECT_TRUE(IsDrawn());
  result = RunCommand({"draw", "--strict", json, "-o", Path("c.png")});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_TRUE(std::filesystem::exists(Path("c.png")));
  result = RunCommand({"draw", json, "-o", Path("a.png"), "--report=" + Path("report")});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.out, "");
  EXPECT_STREQ(Line(Read("report"))->GetMemberString("content", ""), "b");
}

TEST_F(Report, AValueBehindASpaceThatIsNoFileIsToldWhatWasMeant) {
  const std::string json = Write("b.json", WithFont(R"("Content": "b")"));
  const std::string none = Path("none.json");
  const std::string missing = ": No such file or directory";
  const struct {
    std::vector<std::string> words;
    std::string said;
  } rows[] = {{{"--strict", "keys", json}, "keys" + missing + "; did you mean --strict=keys?"},
              {{json, "--strict", "keys,clip"}, "keys,clip" + missing + "; did you mean --strict=keys,clip?"},
              {{"--strict", none, json}, none + missing},
              {{"--strict=keys", "keys", json}, "keys" + missing},
              {{"--strict", json, "keys"}, "keys" + missing},
              {{"--report", none, json}, none + missing + "; did you mean --report=" + none + "?"},
              {{"--report", none}, none + missing},
              {{"--report", json, none}, none + missing},
              {{"--report=" + Path("r"), none, json}, none + missing}};
  for (const auto& row : rows) {
    std::vector<std::string> arguments = {"draw", "-o", Path("a.png")};
    arguments.insert(arguments.end(), row.words.begin(), row.words.end());
    const CommandResult result = RunCommand(arguments);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "tovkit: " + row.said + "\n");
    EXPECT_FALSE(IsDrawn());
  }
}

TEST_F(Report, ThePageAndTheReportCannotShareAnOutput) {
  const std::string json = Write("b.json", WithFont(R"("Content": "b")"));
  CommandResult result = RunCommand({"draw", json, "-o", "-", "--format", "png", "--report"});
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.out, "");
  EXPECT_TRUE(Has(result.err, "cannot both go to standard output")) << result.err;
  result = RunCommand({"draw", json, "-o", Path("a.png"), "--report=" + Path("a.png")});
  EXPECT_EQ(result.status, 2);
  EXPECT_FALSE(IsDrawn());
}

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

// A pointer names neither of them.
TEST_F(Report, KeysThatStandTwiceOrAreNoTextAreToldWhereTheyStand) {
  const std::string json =
      "[{\"Content\": \"x\"},\n {\"Content\": \"x\",\n  \"Fo\xFFt\": 1, \"Fo\xFFt\": 2,\n  \"Font\": "
      "{\"FontSize\": 9,\n"
      "   \"FontSize\": 10, \"\xC3\": 1}, \"DeltaX\": 1,   \"DeltaX\": 2, \"a\\u0000b\": 1, \"\": 1}]";
  const CommandResult result = Draw(json, {"--report"});
  const SharedPtr<JsonValue> report = Line(result.out, 1);
  const SharedPtr<const JsonValue> warnings = report->GetMember("warnings");
  const struct {
    const char* kind;
    const char* pointer;
    int line;
    int column;
  } rows[] = {{"unknown-key", "/Fo\uFFFDt", 3, 3},   {"unknown-key", "/Fo\uFFFDt", 3, 14},
              {"duplicate-key", "/DeltaX", 5, 44},   {"unknown-key", "/a\\u0000b", 5, 57},
              {"unknown-key", "/", 5, 72},           {"duplicate-key", "/Font/FontSize", 5, 4},
              {"unknown-key", "/Font/\uFFFD", 5, 20}};
  ASSERT_EQ(warnings->Size(), std::size(rows)) << warnings->ToString().c_str();
  for (int i = 0; i < static_cast<int>(std::size(rows)); ++i) {
    const SharedPtr<const JsonValue> warning = warnings->GetAt(i);
    EXPECT_STREQ(warning->GetMemberString("kind", ""), rows[i].kind) << i;
    EXPECT_STREQ(warning->GetMemberString("pointer", ""), rows[i].pointer) << i;
    EXPECT_EQ(warning->GetMemberInt("line", 0), rows[i].line) << i;
    EXPECT_EQ(warning->GetMemberInt("column", 0), rows[i].column) << i;
  }
  // The errors stand at the same places.
  const std::string said = Draw(json, {"--strict=keys"}).err;
  for (const auto& row : rows) {
    EXPECT_TRUE(Has(said, "a.json:" + std::to_string(row.line) + ":" + std::to_string(row.column) + ": "))
        << row.pointer << said;
  }
}

TEST_F(Report, WhatHidesInNamesIsShownOnATerminal) {
  const std::string json = "{\"Content\": \"a\u202Eb\u2028c\u0085d\", \"Fo\u200Bnt\": {}}";
  const std::string said = Draw(json).err;
  EXPECT_TRUE(Has(said, "\"Fo\\u200bnt\" is no key of a line;")) << said;
  const std::string strict = Draw(json, {"--strict=keys"}).err;
  EXPECT_TRUE(Has(strict, "\"a\\u202eb\\u2028c\\u0085d\"")) << strict;
  for (const char* hidden : {"\u202E", "\u2028", "\u0085", "\u200B"}) {
    EXPECT_FALSE(Has(said + strict, hidden)) << strict;
  }
}

// Nobody has written the description of --text, so nobody is shown it.
TEST_F(Report, WhatIsWrongWithALineWithoutAFileHasNoPlace) {
  const std::vector<std::string> arguments = {"draw",         "--text", "\uE123",     "--font-name",
                                              "No Such Font", "-o",     Path("b.png")};
  const auto run = [&arguments](const std::string& option) {
    std::vector<std::string> all = arguments;
    all.push_back(option);
    return RunCommand(all);
  };
  const CommandResult strict = run("--strict=glyphs");
  EXPECT_EQ(strict.status, 1);
  EXPECT_EQ(strict.err, "tovkit: --text: no font has U+E123 PRIVATE USE CHARACTER\n");
  EXPECT_TRUE(Has(RunCommand(arguments).err, "tovkit: --text: the font \"No Such Font\" is not installed"));
  const SharedPtr<JsonValue> report = Line(run("--report").out);
  EXPECT_STREQ(report->GetMemberString("file", ""), "--text");
  EXPECT_FALSE(report->HasMember("line"));
}

TEST_F(Report, ATextThatIsTooLongAndNoFontAreToldApart) {
  EXPECT_TRUE(Has(Draw("{\"Content\": \"" + std::string(262145, 'x') + "\"}").err,
                  "a.json:1:13: the text is longer than 262144 characters\n"));
  const std::string config = Write("fonts.conf", "<?xml version=\"1.0\"?><fontconfig><cachedir>" +
                                                     Path("cache") + "</cachedir></fontconfig>");
  const CommandResult result =
      RunCommand({"draw", "--text", "x", "-o", Path("b.png")}, "", {{"FONTCONFIG_FILE", config}});
  EXPECT_EQ(result.status, 1);
  EXPECT_TRUE(Has(result.err, ": no font is installed\n")) << result.err;
  const CommandResult large =
      Draw(R"({"Content": "x", "Font": {"FontSize": 80000}})", {"--size", "9x9", "--report"});
  EXPECT_STREQ(Line(large.out)->GetMemberString("reason", ""), "the font size is above 75000");
}

TEST_F(Report, AnUnknownKindIsAUsageError) {
  for (const char* strict : {"--strict=glyph", "--strict=glyphs,", "--strict=glyphs,,keys"}) {
    const CommandResult result = Draw(R"({"Content": "a"})", {strict});
    EXPECT_EQ(result.status, 2) << strict;
    EXPECT_FALSE(IsDrawn());
  }
}

TEST_F(Report, AReportIsWrittenEvenWhenItsFindingIsAFailure) {
  const CommandResult result =
      Draw(R"({"Content": "a", "Fnot": 1})", {"--strict", "--report=" + Path("report")});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(Line(Read("report"))->GetMemberInt("warningCount", 0), 1);
}

TEST_F(Report, TellsHowFarInkIsOutsideThePage) {
  const auto line = Line(Draw(WithFont(R"("Content": "clipped", "DeltaX": -10, "DeltaY": 90)"),
                              {"--size", "300x100", "--report"})
                             .out);
  const auto clipped = line->GetMember("clipped");
  ASSERT_TRUE(clipped);
  EXPECT_NEAR(clipped->GetMemberDouble("left", 0), 10, 3);
  EXPECT_GT(clipped->GetMemberDouble("bottom", 0), 5);
  EXPECT_FALSE(clipped->HasMember("right"));
}

TEST_F(Report, ClippedTextIsToldWhatItNeeds) {
  const struct {
    const char* place;
    const char* said;  // what stands in front of a number and behind it
    const char* behind;
    bool wholly;
    bool fits;  // when it gets what it needs
  } rows[] = {
      {R"("DeltaX": 250, "DeltaY": 20)",
       "the text has ink outside the page: ", " beyond the right edge; it needs ", false, true},
      {R"("DeltaY": 85)", "the text has ink outside the page: ", " beyond the bottom edge; it needs ", false,
       true},
      {R"("DeltaX": 5000, "DeltaY": 20)",
       "the text is wholly outside the page: ", " beyond the right edge; it needs ", true, true},
      {R"("DeltaY": 5000)", "the text is wholly outside the page: ", " beyond the bottom edge; it needs ",
       true, true},
      {R"("DeltaX": -5000, "DeltaY": 20)", "the text is wholly outside the page: ", " beyond the left edge\n",
       true, false},
      {R"("DeltaY": -5000)", "the text is wholly outside the page: ", " beyond the top edge\n", true, false},
      {R"("DeltaX": -10, "DeltaY": 20)", "the text has ink outside the page: ", " beyond the left edge\n",
       false, false}};
  for (const auto& row : rows) {
    const std::string json = WithFont(std::string(R"("Content": "clipped", )") + row.place);
    const std::string err = Draw(json, {"--size", "300x100"}).err;
    EXPECT_TRUE(Has(err, std::string("a.json:1:1: ") + row.said)) << err;
    EXPECT_TRUE(Has(err, row.behind)) << err;
    const auto line = Line(Draw(json, {"--size", "300x100", "--report"}).out);
    const auto clipped = line->GetMember("clipped");
    EXPECT_EQ(clipped->GetMemberBool("wholly", !row.wholly), row.wholly) << err;
    EXPECT_EQ(clipped->HasMember("needs"), row.fits) << err;
    if (!row.fits) continue;
    const std::size_t at = err.find("it needs ") + 9;
    EXPECT_EQ(Draw(json, {"--size", err.substr(at, err.find('\n') - at)}).err, "") << err;
  }
}

TEST_F(Report, TheLimitBoundsEveryList) {
  std::string json = "{\"Content\": \"x\"";
  for (int i = 0; i < 10000; ++i) json += ", \"key" + std::to_string(i) + "\": 1";
  const CommandResult result = Draw(json + "}", {"--report", "--limit", "3"});
  const auto line = Line(result.out);
  EXPECT_EQ(line->GetMemberInt("warningCount", 0), 10000);
  EXPECT_EQ(line->GetMember("warnings")->Size(), 3U);
  EXPECT_LT(result.out.size(), 5000U);
  EXPECT_EQ(Line(Draw(json + "}", {"--report"}).out)->GetMember("warnings")->Size(), 1000U);
}

TEST_F(Report, BytesThatAreNoTextAreStillJson) {
  const std::string name = Path("\xFF.json");
  std::ofstream(name, std::ios::binary) << "{\"Content\": \"a\xFF\xED\xA0\x80\", \"k\xFE\": 1}";
  const CommandResult result = RunCommand({"draw", name, "-o", Path("a.png"), "--report"});
  EXPECT_EQ(result.status, 0) << result.err;
  ASSERT_TRUE(Line(result.out));
  EXPECT_TRUE(Has(result.out, "\xEF\xBF\xBD.json"));
}

// What a person on a terminal is shown.
std::string ShownOnTerminal(const std::vector<std::string>& arguments) {
  Terminal terminal;
  const pid_t child = StartCommand(arguments, STDIN_FILENO, terminal.theirs, STDERR_FILENO);
  terminal.HangUp();
  std::string shown;
  char piece[4096];
  for (ssize_t length = 0; (length = read(terminal.ours, piece, sizeof piece)) > 0;) {
    shown.append(piece, static_cast<std::size_t>(length));
  }
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_EQ(WEXITSTATUS(status), 0);
  return shown;
}

TEST_F(Report, PeopleOnATerminalGetATable) {
  const std::string json = Write("t.json", R"({"Content": "ab\uE123", "Fnot": 1})");
  const std::string shown = ShownOnTerminal({"draw", json, "-o", Path("a.png"), "--report"});
  EXPECT_TRUE(Has(shown, "t.json:1:1")) << shown;
  EXPECT_TRUE(Has(shown, "no glyph  U+E123 PRIVATE USE CHARACTER, at 2")) << shown;
  EXPECT_TRUE(Has(shown, "t.json:1:25: \"Fnot\" is no key of a line; did you mean \"Font\"?")) << shown;
  EXPECT_TRUE(Has(shown,
                  "\r\n\r\nWhat looks wrong:\r\n  1 character has no glyph\r\n"
                  "  1 member of a description is not used as it stands\r\n"))
      << shown;
  EXPECT_FALSE(Has(shown, "{\""));
}

// Each number as "N", with a "d" for each of its decimals.
std::string ShapeOf(const std::string& text) {
  std::string shape;
  bool decimals = false;
  for (const char c : text) {
    const bool isDigit = c >= '0' && c <= '9';
    if (!isDigit) {
      decimals = c == '.';
      shape += c;
    } else if (decimals) {
      shape += 'd';
    } else if (shape.empty() || shape.back() != 'N') {
      shape += 'N';
    }
  }
  return shape;
}

TEST_F(Report, NumbersOfTheTableAreRoundedAndTheEndSaysWhenNothingLooksWrong) {
  const std::string json =
      Write("t.json", WithFont(R"("Content": "clipped", "DeltaX": 0.123456, "DeltaY": 85)"));
  std::string shown = ShownOnTerminal({"draw", json, "-o", Path("a.png"), "--report", "--size", "300x100"});
  EXPECT_TRUE(Has(ShapeOf(shown), "ink       N.d,N.d to N.d,N.d, color #N\r\n")) << shown;
  EXPECT_TRUE(Has(ShapeOf(shown), "clipped   outside the page: N.d beyond the bottom edge; it needs NxN\r\n"))
      << shown;
  EXPECT_TRUE(Has(shown, "\r\n\r\nWhat looks wrong:\r\n  1 line has ink outside the page\r\n")) << shown;
  shown = ShownOnTerminal({"draw", json, "-o", Path("a.png"), "--report"});
  EXPECT_TRUE(Has(shown, "\r\n\r\nNothing looks wrong.\r\n")) << shown;
}

TEST_F(Report, TheSchemaIsPrintedWithoutAnythingElse) {
  const CommandResult result = RunCommand({"draw", "--schema"});
  EXPECT_EQ(result.status, 0) << result.err;
  std::ifstream file(TOVKIT_SOURCE_DIR "/share/tovkit/line.schema.json");
  EXPECT_EQ(result.out, std::string(std::istreambuf_iterator<char>(file), {}));
  EXPECT_EQ(result.err, "");
}

// The places of many lines are found in one pass.
TEST_F(Report, ManyLinesOnOneLineOfTextHaveTheirColumns) {
  std::string json = "[";
  for (int i = 0; i < 3000; ++i) json += R"({"Content": "é", "Xy": 1},)";
  json.back() = ']';
  const CommandResult result = Draw(json, {"--report"});
  EXPECT_EQ(result.status, 0) << result.err;
  const auto last = Line(result.out, 2999);
  EXPECT_EQ(last->GetMemberInt("column", 0), 2 + 2999 * 26);
  EXPECT_EQ(last->GetMember("warnings")->GetAt(0)->GetMemberInt("column", 0), 2 + 2999 * 26 + 17);
}

}  // namespace
