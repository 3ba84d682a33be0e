// SPDX-License-Identifier: MIT
// DescribeText: what would be drawn, and what of a description is not used as it stands.
#include <tovkit/imaging.h>
#include <tovkit/json.h>
#include <tovmx/device.h>
#include <tovmx/font.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <limits>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace {

using tovkit::DescribeText;
using tovkit::Json;
using tovkit::JsonValue;
using tovkit::SharedPtr;
using ConstHandle = SharedPtr<const JsonValue>;

SharedPtr<JsonValue> Parse(const std::string& text) {
  return Json::Parse(text.data(), static_cast<unsigned>(text.size()), nullptr);
}

SharedPtr<JsonValue> Report(const std::string& text, std::uint32_t limit = 1000) {
  SharedPtr<JsonValue> report = DescribeText(Parse(text), limit);
  // Whatever it holds, it can be read again.
  const CoreString written = report->ToString();
  EXPECT_EQ(Json::Diagnose(written.c_str(), static_cast<std::size_t>(written.GetLength())).code, 0) << text;
  return report;
}

std::string Text(const JsonValue& object, const char* key) { return object.GetMemberString(key, "(none)"); }

SharedPtr<JsonValue> Warning(const std::string& text, int index = 0) {
  // A part of a report does not keep the report alive.
  const SharedPtr<JsonValue> report = Report(text);
  const SharedPtr<JsonValue> warning = report->GetMember("warnings")->GetAt(index);
  EXPECT_TRUE(warning) << text;
  return warning ? warning->Clone() : Parse("{}");
}

TEST(DescribeText, TellsWhatIsDrawn) {
  const auto report = Report(R"({"Content": "Hello", "DeltaX": 10, "DeltaY": 5,
      "Font": {"FontName": "DejaVu Sans", "FontSize": 36, "Bold": true, "Color": "#1F4E79"}})");
  EXPECT_TRUE(report->GetMemberBool("drawable", false));
  EXPECT_EQ(Text(*report, "content"), "Hello");
  EXPECT_EQ(Text(*report, "color"), "#1F4E79");
  const auto font = report->GetMember("font");
  EXPECT_EQ(Text(*font, "wanted"), "DejaVu Sans");
  EXPECT_TRUE(font->GetMemberBool("named", false));
  EXPECT_EQ(Text(*font, "family"), "DejaVu Sans");
  EXPECT_FALSE(font->GetMemberBool("substituted", true));
  EXPECT_EQ(font->GetMemberInt("size", 0), 36);
  EXPECT_EQ(font->GetMemberDouble("pixelSize", 0), 48);
  EXPECT_TRUE(font->GetMemberBool("bold", false));
  const auto baseline = report->GetMember("baseline");
  EXPECT_EQ(baseline->GetMemberDouble("x", 0), 10);
  EXPECT_EQ(baseline->GetMemberDouble("y", 0), 41);
  const auto run = report->GetMember("runs")->GetAt(0);
  EXPECT_EQ(Text(*run, "text"), "Hello");
  EXPECT_EQ(Text(*run, "script"), "Latn");
  EXPECT_EQ(Text(*run, "direction"), "ltr");
  EXPECT_EQ(Text(*run, "style"), "Bold");
  EXPECT_EQ(Text(*run, "standsInFor"), "(none)");
  EXPECT_EQ(report->GetMemberInt("warningCount", -1), 0);
  EXPECT_EQ(report->GetMemberInt("missingCount", -1), 0);
}

// Writes down the extents of what reaches it.
class MeasuringDevice final : public CoreDevice {
 public:
  bool DrawText(const wchar_t* characters, int count, const CoreFontLoader& fonts, const CoreMatrix& matrix,
                std::uint32_t argb, float pixelSize) override {
    place = matrix;
    color = argb;
    return fonts.MeasureText(characters, count, pixelSize, extents);
  }
  bool EndText() override { return true; }
  bool Flush() override { return true; }

  CoreTextExtents extents;
  CoreMatrix place;
  std::uint32_t color = 0;
};

TEST(DescribeText, AgreesWithWhatADeviceGets) {
  for (const char* text :
       {R"({"Content": "x"})", R"({"Content": "\u5b8bab", "DeltaX": -7.5, "Font": {"Italic": true}})",
        R"({"Content": "red", "Font": {"Color": "red", "FontSize": 0}})",
        R"({"Content": "eight", "Font": {"Color": "#00112233", "FontName": "No Such Font"}})",
        R"({"Content": "b", "Font": {"Color": "300 0 -1", "FontSize": 12.5}})",
        R"({"Content": "b", "Font": 5})"}) {
    MeasuringDevice device;
    ASSERT_TRUE(tovkit::DrawTextOnDevice(&device, Parse(text)));
    const auto report = Report(text);
    const auto ink = report->GetMember("ink");
    EXPECT_EQ(ink->GetMemberDouble("left", 0), double{device.extents.ink.left} + device.place.e) << text;
    EXPECT_EQ(ink->GetMemberDouble("bottom", 0), double{device.extents.ink.bottom} + device.place.f) << text;
    EXPECT_EQ(report->GetMember("logical")->GetMemberDouble("right", 0),
              double{device.extents.logical.right} + device.place.e);
    char color[8];
    std::snprintf(color, sizeof color, "#%06X", device.color & 0xFFFFFF);
    EXPECT_EQ(Text(*report, "color"), color) << text;
  }
}

TEST(DescribeText, TheDefaultFontIsWantedButNotNamed) {
  const auto report = Report(R"({"Content": "x"})");
  const auto font = report->GetMember("font");
  EXPECT_EQ(Text(*font, "wanted"), "SimSun");
  EXPECT_FALSE(font->GetMemberBool("named", true));
}

TEST(DescribeText, TellsWhatStandsInForWhat) {
  const auto report = Report(R"({"Content": "ab", "Font": {"FontName": "No Such Font"}})");
  EXPECT_TRUE(report->GetMember("font")->GetMemberBool("substituted", false));
  EXPECT_EQ(Text(*report->GetMember("runs")->GetAt(0), "standsInFor"), "No Such Font");
}

// A longer word is not compared with any.
TEST(DescribeText, AKeyOfUpTo32CharactersHasANearestOne) {
  for (const std::size_t length : {7U, 31U, 32U, 33U}) {
    const std::string key = "Contnt" + std::string(length - 6, '_');
    const std::string message = Text(*Warning("{\"Content\": \"x\", \"" + key + "\": 1}"), "message");
    EXPECT_EQ(message.find("did you mean \"Content\"?") != std::string::npos, length <= 32) << message;
  }
}

// A NUL in a name makes it another one, and ends a text.
TEST(DescribeText, NulsAreTold) {
  for (const char* text :
       {R"({"Content": "x", "Font\u0000": {"Bold": true}})", R"({"Content": "x", "DeltaX\u0000": 5})",
        R"({"Content": "x", "Content\u0000": "y"})"}) {
    EXPECT_EQ(Text(*Warning(text), "kind"), "unknown-key") << text;
    EXPECT_EQ(Report(text)->GetMemberInt("warningCount", 0), 1) << text;
  }
  EXPECT_EQ(Text(*Warning(R"({"Content": "x", "Font": {"Bold\u0000": true}})"), "message"),
            R"("Bold\u0000" is no key of a font; there are FontSize, FontName, Bold, Italic, Color)");
  EXPECT_EQ(Report(R"({"Content\u0000": "x"})")->GetMemberInt("warningCount", 0), 2) << "and none has a text";
  EXPECT_EQ(Text(*Warning(R"({"Content": "Pay 100\u0000 000"})"), "message"),
            R"("Content" holds a NUL character; what stands behind it is not used)");
  EXPECT_EQ(Text(*Warning(R"({"Content": "x", "Font": {"FontName": "DejaVu Sans\u0000B"}})"), "pointer"),
            "/Font/FontName");
  EXPECT_EQ(Text(*Warning(R"({"Content": "x", "Font": {"Color": "\u0000red"}})"), "pointer"), "/Font/Color");
  EXPECT_EQ(Report(R"({"Content": "a\\u0000b"})")->GetMemberInt("warningCount", 9), 0) << "no NUL";
}

TEST(DescribeText, CodePointsThatAreNoCharactersAreTold) {
  EXPECT_EQ(Text(*Warning(R"({"Content": "a\uFFFF"})"), "message"),
            R"("Content" holds 1 code point that is no character, which shows as U+FFFD)");
  EXPECT_EQ(Text(*Warning(R"({"Content": "\uFDD0\uFDEF\uD83F\uDFFE"})"), "message"),
            R"("Content" holds 3 code points that are no characters, which show as U+FFFD)");
  EXPECT_EQ(Report(R"({"Content": "\uFDCF\uFDF0\uFFFD\uD7FF\uE000"})")->GetMemberInt("warningCount", 9), 0);
}

TEST(DescribeText, NamesThatFollowARule) {
  const std::pair<const char*, const char*> rows[] = {
      {R"(\u3402)", "CJK UNIFIED IDEOGRAPH-3402"},   {R"(\uD842\uDFB7)", "CJK UNIFIED IDEOGRAPH-20BB7"},
      {R"(\uD81C\uDC00)", "TANGUT IDEOGRAPH-17000"}, {R"(\uAC00)", "HANGUL SYLLABLE GA"},
      {R"(\uAD55)", "HANGUL SYLLABLE GYONJ"},        {R"(\uD7A3)", "HANGUL SYLLABLE HIH"}};
  for (const auto& [text, name] : rows) {
    const auto report =
        Report(std::string(R"({"Content": ")") + text + R"(", "Font": {"FontName": "DejaVu Sans"}})");
    const auto missing = report->GetMember("missing");
    // Where a font has it, nothing is missing.
    if (missing->Size() == 0) continue;
    EXPECT_EQ(Text(*missing->GetAt(0), "name"), name);
  }
}

TEST(DescribeText, MissingCharactersHaveNamesAndPositions) {
  const auto report = Report(R"({"Content": "a\uE123b\uDB80\uDC00\uE123\u0378"})");
  EXPECT_EQ(report->GetMemberInt("missingCount", 0), 4);
  const auto missing = report->GetMember("missing");
  ASSERT_EQ(missing->Size(), 3U);
  EXPECT_EQ(Text(*missing->GetAt(0), "character"), "U+E123");
  EXPECT_EQ(Text(*missing->GetAt(0), "name"), "PRIVATE USE CHARACTER");
  EXPECT_EQ(missing->GetAt(0)->GetMemberInt("count", 0), 2);
  EXPECT_STREQ(missing->GetAt(0)->GetMember("positions")->ToString().c_str(), "[1,4]");
  EXPECT_EQ(Text(*missing->GetAt(1), "character"), "U+F0000");
  EXPECT_EQ(Text(*missing->GetAt(2), "name"), "UNASSIGNED CHARACTER");
  const auto gothic = Report(R"({"Content": "\uD800\uDF30"})");
  const auto named = gothic->GetMember("missing");
  if (named->Size() != 0) {
    EXPECT_EQ(Text(*named->GetAt(0), "name"), "GOTHIC LETTER AHSA");
  }
}

TEST(DescribeText, AMisspelledKeyHasItsNearest) {
  const struct {
    const char* description;
    const char* pointer;
    const char* nearest;
  } rows[] = {
      {R"({"Content": "x", "Fnot": {}})", "/Fnot", "Font"},
      {R"({"Content": "x", "font": {}})", "/font", "Font"},
      {R"({"Content": "x", "delta_x": 1})", "/delta_x", "DeltaX"},
      {R"({"Content": "x", "Font": {"FontNmae": ""}})", "/Font/FontNmae", "FontName"},
      {R"({"Content": "x", "Font": {"Size": 12}})", "/Font/Size", "FontSize"},
      {R"({"Content": "x", "Font": {"Coler": "#000000"}})", "/Font/Coler", "Color"},
      {R"({"Content": "x", "FontSize": 12})", "/FontSize", "FontSize"},
      {R"({"Content": "x", "Bold": true})", "/Bold", "Bold"},
      {R"({"Content": "x", "Font": {"DeltaX": 3}})", "/Font/DeltaX", "DeltaX"},
      {R"({"Content": "x", "a/b~c": 3})", "/a~1b~0c", "(none)"},
      {R"({"Content": "x", "Wholly Other": 3})", "/Wholly Other", "(none)"},
  };
  for (const auto& row : rows) {
    const auto warning = Warning(row.description);
    EXPECT_EQ(Text(*warning, "kind"), "unknown-key") << row.description;
    EXPECT_EQ(Text(*warning, "pointer"), row.pointer);
    EXPECT_EQ(Text(*warning, "nearest"), row.nearest) << row.description;
    EXPECT_EQ(Report(row.description)->GetMemberInt("warningCount", 0), 1) << row.description;
  }
  EXPECT_EQ(Text(*Warning(R"({"Content": "x", "FontSize": 12})"), "message"),
            R"("FontSize" is no key of a line; "FontSize" belongs into "Font")");
}

TEST(DescribeText, AKeySaysWhichMemberItIs) {
  const auto report = Report(
      "{\"Content\": \"x\", \"\xFF\": 1, \"DeltaX\": \"5\", \"DeltaX\": 1, \"\xFF\": 2, \"Font\": {\"Bold\": "
      "true, \"Bold\": 1, \"a\": 1}}");
  const auto warnings = report->GetMember("warnings");
  std::string members;
  for (std::uint32_t i = 0; i < warnings->Size(); ++i) {
    const auto warning = warnings->GetAt(static_cast<std::int32_t>(i));
    members += Text(*warning, "pointer") + " " + std::to_string(warning->GetMemberInt("member", -1)) + "\n";
  }
  EXPECT_EQ(members, "/\uFFFD 1\n/DeltaX -1\n/DeltaX 3\n/\uFFFD 4\n/Font/Bold 1\n/Font/a 2\n");
}

TEST(DescribeText, AValueThatIsNotUsedIsTold) {
  const struct {
    const char* description;
    const char* pointer;
    const char* kind;
  } rows[] = {
      {R"({})", "", "text"},
      {R"([])", "", "wrong-type"},
      {R"({"Content": ""})", "/Content", "text"},
      {R"({"Content": 5})", "/Content", "wrong-type"},
      {R"({"Content": "a\nb"})", "/Content", "text"},
      {R"({"Content": "a\u0007b"})", "/Content", "text"},
      {"{\"Content\": \"a\xFF\"}", "/Content", "text"},
      {R"({"Content": "x", "DeltaX": "5"})", "/DeltaX", "wrong-type"},
      {R"({"Content": "x", "DeltaX": 1e39})", "/DeltaX", "out-of-range"},
      {R"({"Content": "x", "DeltaY": 3000000000})", "/DeltaY", "out-of-range"},
      {R"({"Content": "x", "Font": "Arial"})", "/Font", "wrong-type"},
      {R"({"Content": "x", "Font": null})", "/Font", "wrong-type"},
      {R"({"Content": "x", "Font": {"FontSize": "12"}})", "/Font/FontSize", "wrong-type"},
      {R"({"Content": "x", "Font": {"FontSize": 12.5}})", "/Font/FontSize", "wrong-type"},
      {R"({"Content": "x", "Font": {"FontSize": 0}})", "/Font/FontSize", "out-of-range"},
      {R"({"Content": "x", "Font": {"FontSize": -3}})", "/Font/FontSize", "out-of-range"},
      {R"({"Content": "x", "Font": {"FontSize": 75001}})", "/Font/FontSize", "out-of-range"},
      {R"({"Content": "x", "Font": {"FontSize": 3000000000}})", "/Font/FontSize", "out-of-range"},
      {R"({"Content": "x", "Font": {"FontName": ["a"]}})", "/Font/FontName", "wrong-type"},
      {R"({"Content": "x", "Font": {"Bold": 1}})", "/Font/Bold", "wrong-type"},
      {R"({"Content": "x", "Font": {"Italic": "true"}})", "/Font/Italic", "wrong-type"},
      {R"({"Content": "x", "Font": {"Color": 255}})", "/Font/Color", "wrong-type"},
      {R"({"Content": "x", "Font": {"Color": "#12345"}})", "/Font/Color", "color"},
      {R"({"Content": "x", "Font": {"Color": "red"}})", "/Font/Color", "color"},
      {R"({"Content": "x", "Font": {"Color": "255,0,0"}})", "/Font/Color", "color"},
      {R"({"Content": "x", "Font": {"Color": "256 0 0"}})", "/Font/Color", "color"},
      {R"({"Content": "x", "Font": {"Color": "1 2"}})", "/Font/Color", "color"},
      {R"({"Content": "x", "Font": {"Color": "#0g"}})", "/Font/Color", "color"},
      {R"({"Content": "x", "Font": {"Color": "#00112233"}})", "/Font/Color", "color"},
      {R"({"Content": "x", "Content": "y"})", "/Content", "duplicate-key"},
  };
  for (const auto& row : rows) {
    const auto report = Report(row.description);
    EXPECT_EQ(report->GetMemberInt("warningCount", 0), 1) << row.description;
    const auto warning = report->GetMember("warnings")->GetAt(0);
    ASSERT_TRUE(warning) << row.description;
    EXPECT_EQ(Text(*warning, "kind"), row.kind) << row.description;
    EXPECT_EQ(Text(*warning, "pointer"), row.pointer) << row.description;
    EXPECT_NE(Text(*warning, "message"), "(none)");
  }
}

TEST(DescribeText, WhatIsUsedAsItStandsIsNotWarnedOf) {
  for (const char* text :
       {R"({"Content": "x", "Font": {"FontName": "", "Color": ""}})",
        R"({"Content": "x", "DeltaX": 5, "DeltaY": -0.5, "Font": {}})",
        R"({"Content": "x", "$schema": "line.schema.json", "Font": {"FontSize": 1, "Bold": false}})",
        R"({"Content": "x", "Font": {"FontSize": 75000, "Color": " 255 0 0 "}})",
        R"({"Content": "x", "Font": {"Color": "#fF"}})", R"({"Content": "x", "Font": {"Color": "128"}})"}) {
    EXPECT_STREQ(Report(text)->GetMember("warnings")->ToString().c_str(), "[]") << text;
  }
}

TEST(DescribeText, AWholeNumberThatIsNotReadIsToldHowToWriteIt) {
  const auto message = [](const std::string& number) {
    return Text(*Warning(R"({"Content": "x", "Font": {"FontSize": )" + number + "}}"), "message");
  };
  const std::string said =
      "\"FontSize\" is a number with a fraction or an exponent, where an integer is expected; 26 is used";
  EXPECT_EQ(message("30.0"), said + "; write 30");
  EXPECT_EQ(message("3e1"), said + "; write 30");
  EXPECT_EQ(message("2147483647.0"), said + "; write 2147483647");
  for (const char* number : {"30.5", "3e9", "1e300", "-1e300"}) EXPECT_EQ(message(number), said) << number;
  EXPECT_EQ(Text(*Warning(R"({"Content": "x", "DeltaY": -3e9})"), "message"),
            "\"DeltaY\" is below -2147483648, far beyond any page");
}

TEST(DescribeText, WhatADeviceWouldNotGetIsNotDrawable) {
  for (const auto& [text, reason] :
       {std::pair(std::string("{}"), "there is no text"),
        {R"({"Content": 1})", "there is no text"},
        {"[]", "there is no text"},
        {R"({"Content": "x", "Font": {"FontSize": 75001}})", "the font size is above 75000"},
        {"{\"Content\": \"" + std::string(262145, 'x') + "\"}",
         "the text is longer than 262144 characters"}}) {
    const auto report = Report(text);
    EXPECT_FALSE(report->GetMemberBool("drawable", true));
    EXPECT_EQ(Text(*report, "reason"), reason);
    EXPECT_FALSE(report->HasMember("runs"));
  }
  const auto drawable = Report(R"({"Content": "x", "Font": {"FontSize": 75000}})");
  EXPECT_TRUE(drawable->GetMemberBool("drawable", false));
  EXPECT_FALSE(drawable->HasMember("reason"));
  EXPECT_FALSE(DescribeText(SharedPtr<const JsonValue>()));
}

TEST(DescribeText, AnOffsetThatIsNoFloatIsNone) {
  const double infinity = std::numeric_limits<double>::infinity();
  for (const char* const offset : {"DeltaX", "DeltaY"}) {
    for (const double number : {infinity, -infinity, std::numeric_limits<double>::quiet_NaN(), 3.5e38}) {
      const auto line = Json::Parse(R"({"Content": "x"})", -1, nullptr);
      line->SetMemberDouble(offset, number);
      const auto report = DescribeText(line);
      EXPECT_TRUE(report->GetMemberBool("drawable", false)) << offset << " " << number;
      EXPECT_EQ(report->GetMember("baseline")->GetMemberDouble("x", -1), 0);
      EXPECT_EQ(report->GetMember("baseline")->GetMemberDouble("y", -1), 26);
    }
  }
}

std::string Repeated(const std::string& piece, int times) {
  std::string text;
  for (int i = 0; i < times; ++i) text += piece;
  return text;
}

TEST(DescribeText, TheLimitBoundsThePositionsOfMissingCharacters) {
  const auto report = Report(R"({"Content": ")" + Repeated(R"(\uE123)", 100) + "\"}", 5);
  const auto missing = report->GetMember("missing")->GetAt(0);
  EXPECT_EQ(missing->GetMemberInt("count", 0), 100);
  EXPECT_STREQ(missing->GetMember("positions")->ToString().c_str(), "[0,1,2,3,4]");
  EXPECT_EQ(report->GetMemberInt("missingCount", 0), 100);
}

TEST(DescribeText, AtMost1000CharactersOfAnyTextAreToldButAPointerIsWhole) {
  const std::string piece = "\xE5\xAE\x8B", most = Repeated(piece, 1000), more = most + piece;
  EXPECT_EQ(Text(*Report(R"({"Content": ")" + most + "\"}"), "content"), most);
  const auto report =
      Report(R"({"Content": ")" + more + R"(", "Font": {"FontName": ")" + more + "\"}, \"" + more + "\": 1}");
  EXPECT_EQ(Text(*report, "content"), most);
  EXPECT_EQ(Text(*report->GetMember("font"), "wanted"), most);
  EXPECT_EQ(Text(*report->GetMember("runs")->GetAt(0), "text"), most);
  EXPECT_EQ(report->GetMember("runs")->GetAt(0)->GetMemberInt("count", 0), 1001);
  EXPECT_EQ(Text(*report->GetMember("runs")->GetAt(0), "standsInFor"), most);
  const auto warning = report->GetMember("warnings")->GetAt(0);
  EXPECT_EQ(Text(*warning, "pointer"), "/" + more);
  EXPECT_LT(Text(*warning, "message").size(), 1000U);
}

int CountValues(const ConstHandle& value) {
  int count = 1;
  for (int i = 0; value->GetType() == tovkit::JsonArray && i < static_cast<int>(value->Size()); ++i) {
    count += CountValues(value->GetAt(i));
  }
  for (const CoreString& name : value->GetMemberNames()) count += CountValues(value->GetMember(name.c_str()));
  return count;
}

TEST(DescribeText, RunsTellWhichCharactersTheyAre) {
  const auto report = Report(R"({"Content": "ab \u05d0\u05d1 12 \u5b8b cd"})");
  const auto runs = report->GetMember("runs");
  ASSERT_GE(runs->Size(), 3U);
  std::map<int, int> counts;
  for (std::size_t i = 0; i < runs->Size(); ++i)
    counts[runs->GetAt(i)->GetMemberInt("first", -1)] = runs->GetAt(i)->GetMemberInt("count", -1);
  int next = 0;
  for (const auto& [first, count] : counts) {
    EXPECT_EQ(first, next);
    next = first + count;
  }
  EXPECT_EQ(next, 13);
}

TEST(DescribeText, TheDocumentOfALineHasSome40Values) {
  const int count = CountValues(Report(R"({"Content": "Hello", "Font": {"FontName": "DejaVu Sans"}})"));
  EXPECT_GE(count, 36);
  EXPECT_LE(count, 44);
}

TEST(DescribeText, TheLimitBoundsWhatIsToldAndTheCountsAreOfAll) {
  std::string text = "{\"Content\": \"";
  for (int i = 0; i < 100; ++i) text += "a\\u5b8b\\uDB80\\uDC" + std::to_string(10 + i % 50);
  text += "\"";
  for (int i = 0; i < 10000; ++i) text += ", \"key" + std::to_string(i) + "\": 1";
  const auto report = Report(text + "}", 5);
  EXPECT_GE(report->GetMemberInt("runCount", 0), 200);
  EXPECT_EQ(report->GetMember("runs")->Size(), 5U);
  EXPECT_EQ(report->GetMemberInt("missingCount", 0), 100);
  EXPECT_LE(report->GetMember("missing")->Size(), 5U);
  EXPECT_EQ(report->GetMemberInt("warningCount", 0), 10000);
  EXPECT_EQ(report->GetMember("warnings")->Size(), 5U);
  EXPECT_LT(report->ToString().GetLength(), 5000);
  EXPECT_EQ(Report(text + "}", 0)->GetMember("warnings")->Size(), 0U);
}

TEST(DescribeText, NothingIsPrintedAndWhateverTheDescriptionHoldsTheReportIsValidJson) {
  std::string planes;
  for (unsigned c = 0x20; c <= 0x10FFFF; c += 997) {
    const auto wide = static_cast<wchar_t>(c);
    std::string utf8;
    if (c >= 0x10000) {
      utf8 = {static_cast<char>(0xF0 | c >> 18), static_cast<char>(0x80 | (c >> 12 & 0x3F)),
              static_cast<char>(0x80 | (c >> 6 & 0x3F)), static_cast<char>(0x80 | (c & 0x3F))};
    } else if (c >= 0x800) {
      utf8 = {static_cast<char>(0xE0 | c >> 12), static_cast<char>(0x80 | (c >> 6 & 0x3F)),
              static_cast<char>(0x80 | (c & 0x3F))};  // lone surrogates too
    } else if (wide != '"' && wide != '\\' && c < 0x80) {
      utf8 = {static_cast<char>(c)};
    }
    planes += utf8;
  }
  for (const std::string& content :
       {planes, Repeated("\xFF\xC0\xED\xA0\x80", 1000), Repeated("\\uE000", 260000),
        Repeated("\xD7\x90"
                 "a",
                 100000),
        std::string(1000000, 'x'), Repeated("\xCC\x81", 5000)}) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    Report("{\"Content\": \"" + content + "\"}");
    Report("{\"Content\": \"x\", \"" + content + "\": 1, \"Font\": {\"FontName\": \"" + content +
           "\", \"Color\": \"" + content + "\"}}");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  }
}

double SecondsFor(const std::string& description, std::uint32_t limit) {
  const auto parsed = Parse(description);
  const auto now = [] {
    timespec time = {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
  };
  const double start = now();
  EXPECT_TRUE(DescribeText(parsed, limit)) << description.substr(0, 80);
  return now() - start;
}

// Eight times as much takes eight times as long, with room for a busy machine; a cost that grew with the
// square would take 64 times as long. The lines are too long to be kept.
TEST(DescribeText, TheCostGrowsWithTheDescription) {
  const auto content = [](const std::string& text) { return "{\"Content\": \"" + text + "\"}"; };
  const std::function<std::string(int)> forms[] = {
      [&](int n) { return content(Repeated("x", n)); },
      [&](int n) { return content(Repeated("a\xE5\xAE\x8B", n / 2)); },
      [&](int n) { return content(Repeated("a\xD7\x90", n / 2)); },
      [&](int n) { return content(Repeated("\xF3\xB0\x80\x80\xF3\xB0\x80\x81", n / 2)); },
      [&](int n) { return content(Repeated("\xFF\xC0\xED\xA0\x80", n / 5)); },
      [&](int n) {
        std::string keys = "{\"Content\": \"x\"";
        for (int i = 0; i < n; ++i) keys += ", \"Key" + std::to_string(i) + "\": 1";
        return keys + "}";
      },
      [&](int n) { return "{" + Repeated("\"Content\": \"x\", ", n) + "\"Font\": {}}"; },
      [&](int n) {
        return "{\"Content\": \"x\", \"Font\": {" + Repeated("\"Color\": 1, ", n) + "\"Bold\": 2}}";
      },
  };
  for (const auto& form : forms) {
    for (const std::uint32_t limit : {10U, 1000000U}) {
      constexpr int kSome = 4000;
      SecondsFor(form(kSome), limit);  // fonts are opened
      // Other lines each time: one that comes again at once is not shaped again.
      const double some = std::min({SecondsFor(form(kSome + 5), limit), SecondsFor(form(kSome + 10), limit)});
      const double many = SecondsFor(form(8 * kSome), limit);
      EXPECT_LT(many, 28 * some + 0.01) << form(10) << ", limit " << limit;
    }
  }
}

}  // namespace
