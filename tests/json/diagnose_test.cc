// SPDX-License-Identifier: MIT
// Json::Diagnose: accepts what Parse accepts, stops where RapidJSON stops, and says where that is.
#include <tovkit/json.h>

#include <gtest/gtest.h>
#include <rapidjson/encodedstream.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <random>
#include <string>

namespace {

using tovkit::Json;
using tovkit::JsonDiagnosis;

JsonDiagnosis Diagnose(const std::string& text) { return Json::Diagnose(text.data(), text.size()); }

std::string PlaceOf(const JsonDiagnosis& found) {
  return std::to_string(found.offset) + " " + std::to_string(found.line) + ":" +
         std::to_string(found.column) + ":" + std::to_string(found.codePointColumn) + " '" +
         found.pointer.c_str() + "'";
}

TEST(JsonDiagnose, NamesCodePlaceAndReason) {
  struct Row {
    const char* text;
    int code;
    const char* place;  // offset line:column:code-point column 'pointer'
    const char* message;
  };
  const Row kTable[] = {
      {" ", 1, "1 1:2:2 ''", "nothing but white space, where JSON is expected"},
      {"{} x", 2, "3 1:4:4 ''", "the text goes on behind the end of its value"},
      {"[1,]", 3, "3 1:4:4 '/1'", "a value is expected"},
      {"{\"Lines\": [\n  {\"Content\": }\n]}", 3, "26 2:15:15 '/Lines/0/Content'", "a value is expected"},
      {"{\"a\":1,}", 4, "7 1:8:8 ''", "a member's name, in quotation marks, is expected"},
      {"[{\"a\" 1}]", 5, "6 1:7:7 '/0/a'", "a colon is expected behind a member's name"},
      {"[{\"a\":1 2}]", 6, "8 1:9:9 '/0'", "a comma or } is expected"},
      {"{\"a\":[1,[2 3]]}", 7, "11 1:12:12 '/a/1'", "a comma or ] is expected"},
      {"[\"\\u12x4\"]", 8, nullptr, "\\u is not followed by four hexadecimal digits"},
      {"[\"\\ud800\"]", 9, nullptr, "half of a surrogate pair"},
      {"[\"\\q\"]", 10, nullptr, "an unknown escape, or a control character in a string"},
      {"[\"a\nb\"]", 10, nullptr, "an unknown escape, or a control character in a string"},
      {"[\"abc", 11, nullptr, "the text ends inside a string"},
      {"[1e309]", 13, nullptr, "the number is too big"},
      {"[1.]", 14, nullptr, "a digit is expected behind the decimal point"},
      {"[1e]", 15, nullptr, "a digit is expected in the exponent"},
      {"\r\n 42", 20, "3 2:2:2 ''", "neither an array nor an object"},
      {"\"x\"", 20, "0 1:1:1 ''", "neither an array nor an object"},
      {"[\"\u5B8B\u00E9\" 1]", 7, "9 1:10:7 ''", "a comma or ] is expected"},
      {"\xEF\xBB\xBFx", 3, "3 1:1:1 ''", "a value is expected"},
      {"\xEF\xBB\xBF[1 2]", 7, "6 1:4:4 ''", "a comma or ] is expected"},
      {"{\"a/b~c\":{\"\":x}}", 3, "13 1:14:14 '/a~1b~0c/'", "a value is expected"},
      // Behind the end of what stood inside, the way leads around it.
      {"{\"a\":[1] 2}", 6, "9 1:10:10 ''", "a comma or } is expected"},
      {"[[1],x]", 3, "5 1:6:6 '/1'", "a value is expected"},
      {"{\"a\":{\"b\":[]},\"c\":x}", 3, "18 1:19:19 '/c'", "a value is expected"},
  };
  for (const Row& row : kTable) {
    const JsonDiagnosis found = Diagnose(row.text);
    EXPECT_EQ(found.code, row.code) << row.text;
    if (row.place != nullptr) {
      EXPECT_EQ(PlaceOf(found), row.place) << row.text;
    }
    EXPECT_STREQ(found.message.c_str(), row.message) << row.text;
  }
}

// Cut at every byte, the words say inside of what.
TEST(JsonDiagnose, ATextThatEndsEarlySaysInsideOfWhat) {
  const std::string text = R"({"a": [-1.5e+3, true, "x\n\u12aB\ud83d\uDE00", {}]})";
  // A letter for each length: a number that is whole as far as it goes ends inside its array.
  const std::string inside = " ossoooananannaaawwwaaassssssssssssssssssssssaaaoao";
  ASSERT_EQ(inside.size(), text.size());
  for (std::size_t length = 1; length < text.size(); ++length) {
    const std::string message = Diagnose(text.substr(0, length)).message.c_str();
    const char* const cut = inside[length] == 'o'   ? "the text ends inside an object: "
                            : inside[length] == 'a' ? "the text ends inside an array: "
                            : inside[length] == 's' ? "the text ends inside a string"
                            : inside[length] == 'w' ? "the text ends inside a word"
                                                    : "the text ends inside a number: ";
    EXPECT_EQ(message.find(cut), 0U) << length << " " << text.substr(0, length) << " " << message;
  }
  EXPECT_STREQ(Diagnose("[1,").message.c_str(), "the text ends inside an array: a value is expected");
  EXPECT_STREQ(Diagnose("{\"a\"").message.c_str(),
               "the text ends inside an object: a colon is expected behind a member's name");
  EXPECT_STREQ(Diagnose("[1e").message.c_str(),
               "the text ends inside a number: a digit is expected in the exponent");
  EXPECT_STREQ(Diagnose(std::string("[1,\0 2]", 8)).message.c_str(),
               "a NUL character ends the text inside an array: a value is expected");
  EXPECT_STREQ(Diagnose("nul").message.c_str(), "the text ends inside a word");
  // What is wrong and not cut off keeps its words.
  for (const char* wrong : {"[\"\\u12x", "[\"\\ud83dx", "[\"\\ud83d\\n", "[\"\\q", "[\"\\ud83d\\u12x"}) {
    EXPECT_STRNE(Diagnose(wrong).message.c_str(), "the text ends inside a string") << wrong;
  }
}

TEST(JsonDiagnose, UTF16AndUTF32AreNamed) {
  const auto bytes = [](const std::u32string& text, int width, bool bigEndian) {
    std::string result;
    for (const char32_t c : text) {
      for (int i = 0; i < width; ++i) {
        const int shift = 8 * (bigEndian ? width - 1 - i : i);
        result += static_cast<char>(c >> shift & 0xFF);
      }
    }
    return result;
  };
  for (const std::u32string text : {U"{\"a\": 1}", U"[1]", U" [1]", U"\"x\"", U"[\u5B8B]"}) {
    for (const int width : {2, 4}) {
      const std::string message = width == 2 ? "this looks like UTF-16, and JSON is UTF-8"
                                             : "this looks like UTF-32, and JSON is UTF-8";
      EXPECT_EQ(Diagnose(bytes(text, width, false)).message.c_str(), message);
      EXPECT_EQ(Diagnose(bytes(U"\uFEFF" + text, width, false)).message.c_str(), message);
      // Others begin with a NUL.
      if (width == 2) {
        EXPECT_EQ(Diagnose(bytes(U"\uFEFF" + text, width, true)).message.c_str(), message);
      }
    }
  }
}

TEST(JsonDiagnose, AnAcceptedTextLeavesEveryFieldAsItIs) {
  for (const char* text : {"", "{}", "[1.8e308]", "\xEF\xBB\xBF[null]\n"}) {
    const JsonDiagnosis found = Diagnose(text);
    EXPECT_EQ(found.code, tovkit::kJsonAccepted) << text;
    EXPECT_EQ(PlaceOf(found), "0 0:0:0 ''") << text;
    EXPECT_TRUE(found.message.IsEmpty()) << text;
  }
  EXPECT_EQ(Json::Diagnose(nullptr, 5).code, tovkit::kJsonAccepted);
  EXPECT_EQ(Json::Diagnose("x", 0).code, tovkit::kJsonAccepted);
  EXPECT_EQ(Diagnose(std::string("[]\0x", 4)).code, tovkit::kJsonAccepted) << "ends at the NUL byte";
}

TEST(JsonDiagnose, CodesBesideThoseThatParsePrints) {
  EXPECT_EQ(+tovkit::kJsonAccepted, 0);
  EXPECT_EQ(+tovkit::kJsonRootIsScalar, 20);
  EXPECT_EQ(+tovkit::kJsonTooLong, 21);
  EXPECT_EQ(Diagnose("[1]").code, 0) << "Parse accepts the text";
  EXPECT_EQ(Diagnose("1").code, 20) << "JSON, but neither an array nor an object";
  EXPECT_EQ(Json::Diagnose("[1]", 4294967296).code, 21) << "more than 4294967295 bytes";
  EXPECT_EQ(Json::Diagnose("[1]", 4294967295).code, 0) << "ends at the NUL byte";
}

TEST(JsonDiagnose, ATextBeyondFourGibIsTooLong) {
  const JsonDiagnosis found = Json::Diagnose("[]", std::size_t{1} << 32);  // the length alone is looked at
  EXPECT_EQ(found.code, tovkit::kJsonTooLong);
  EXPECT_STREQ(found.message.c_str(), "longer than 4 GiB");
  EXPECT_EQ(PlaceOf(found), "4294967295 0:0:0 ''");
}

TEST(JsonDiagnose, DepthIsNoLimit) {
  constexpr int kDepth = 1'000'000;
  std::string deep(kDepth, '[');
  const JsonDiagnosis found = Diagnose(deep);
  EXPECT_EQ(found.code, 3);
  EXPECT_EQ(found.offset, deep.size());
  EXPECT_EQ(found.pointer.GetLength(), 2 * kDepth);
  deep += std::string(kDepth, ']');
  EXPECT_EQ(Diagnose(deep).code, tovkit::kJsonAccepted);
}

// RapidJSON's own parser, as it comes.
rapidjson::ParseResult PlainParse(const std::string& text) {
  rapidjson::MemoryStream bytes(text.data(), text.size());
  rapidjson::EncodedInputStream<rapidjson::UTF8<>, rapidjson::MemoryStream> input(bytes);
  rapidjson::Reader reader;
  rapidjson::BaseReaderHandler<> ignore;
  return reader.Parse(input, ignore);
}

TEST(JsonDiagnose, MutatedTextsStopWhereThePlainParserStops) {
  const std::string kSeeds[] = {
      "{\"Content\": \"Hello \\u5B8B \\ud83d\\ude00\", \"Font\": {\"FontSize\": 24, \"Bold\": true}}",
      "[1, -2.5e3, 0.1, [null, false, {\"a\": [{}], \"b\\n\": \"\\\"\"}], 12345678901234567890]",
      "\xEF\xBB\xBF [[[[]]], {\"x\": {\"y\": {\"z\": \"w\"}}}, \"\u5B8B\"] "};
  constexpr char kLiteral[] = "{}[]\",:\\u0123456789eE+-. tfn/\n\0\xEF\xFF";
  const std::string kBytes(kLiteral, sizeof kLiteral - 1);
  std::mt19937 random(15);
  const auto below = [&random](std::size_t count) { return random() % count; };
  int refused = 0;
  for (int round = 0; round < 60'000; ++round) {
    std::string text = kSeeds[below(3)];
    for (std::size_t edits = 1 + below(3); edits != 0; --edits) {
      const std::size_t at = below(text.size());
      if (below(3) == 0) {
        text.erase(at, 1 + below(4));
      } else if (below(2) == 0) {
        text[at] = kBytes[below(kBytes.size())];
      } else {
        text.insert(at, 1, kBytes[below(kBytes.size())]);
      }
    }
    const JsonDiagnosis found = Diagnose(text);
    if (text[0] == '\0') {
      EXPECT_EQ(found.code, tovkit::kJsonAccepted);
      continue;
    }
    const rapidjson::ParseResult plain = PlainParse(text);
    const bool scalar = found.code == tovkit::kJsonRootIsScalar;
    ASSERT_EQ(scalar ? 0 : found.code, static_cast<int>(plain.Code())) << text;
    if (plain.IsError()) {
      ASSERT_EQ(found.offset, plain.Offset()) << text;
      ++refused;
    }
  }
  EXPECT_GT(refused, 30'000);
}

TEST(JsonDiagnose, TellsWhetherParseAcceptsAndPrintsNothing) {
  const char* const kTexts[] = {"[1,2]", "{\"a\":}",   "7",    "[",   "{\"a\":1}",
                                "nul",   "[\"\xFF\"]", "[01]", "[1]]"};
  for (const char* text : kTexts) {
    testing::internal::CaptureStdout();
    const JsonDiagnosis found = Diagnose(text);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "") << text;
    testing::internal::CaptureStdout();
    const bool accepted =
        static_cast<bool>(Json::Parse(text, static_cast<unsigned>(std::strlen(text)), nullptr));
    const std::string printed = testing::internal::GetCapturedStdout();
    EXPECT_EQ(accepted, found.code == tovkit::kJsonAccepted) << text;
    const std::string wanted = found.code == tovkit::kJsonRootIsScalar
                                   ? "Only allow array and object\n"
                                   : "Parse json error. code=" + std::to_string(found.code) + "\n";
    EXPECT_EQ(printed, accepted ? "" : wanted) << text;
  }
}

}  // namespace
