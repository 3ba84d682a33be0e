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

#include "report_support.h"
#include "terminal.h"

namespace {

using tovkit::JsonValue;
using tovkit::SharedPtr;

using report::Has;
using report::Line;
using report::Report;
using report::WithFont;

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
  refused(Path("a-1.png"), Path("a-1.png") + " cannot hold both the page and the report");
  EXPECT_EQ(Read("a.json"), line);
  EXPECT_FALSE(IsDrawn());
  std::filesystem::create_directory(Path("folder"));
  // No page has such a name.
  for (const char* name : {"a-.png", "a-1x.png", "a-1.pdf", "b-1.png", "a1.png", "folder/a-1.png"}) {
    const CommandResult result =
        RunCommand({"draw", "--quiet", file, "-o", Path("a.png"), "--report=" + Path(name)});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_NE(Read(name), "") << name;
  }
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
  const auto run = [&arguments](const std::vector<std::string>& options) {
    std::vector<std::string> all = arguments;
    all.insert(all.end(), options.begin(), options.end());
    return RunCommand(all, "", {{"LC_ALL", "C.UTF-8"}});
  };
  const CommandResult strict = run({"--strict=glyphs"});
  EXPECT_EQ(strict.status, 1);
  EXPECT_EQ(strict.err, "tovkit: --text: no font has U+E123 PRIVATE USE CHARACTER\n");
  EXPECT_TRUE(Has(run({}).err, "tovkit: --text: the font \"No Such Font\" is not installed"));
  const SharedPtr<JsonValue> report = Line(run({"--report"}).out);
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
  const CommandResult result =
      RunCommand({"draw", name, "-o", Path("a.png"), "--report"}, "", {{"LC_ALL", "C.UTF-8"}});
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
