// SPDX-License-Identifier: MIT
// The compact text of a value.
#include "json_support.h"

#include <cfloat>
#include <cmath>
#include <cstring>
#include <random>
#include <stdexcept>
#include <string>

namespace {

std::string WrittenDouble(double value) {
  Handle array = Parse("[0]");
  array->SetAtDouble(0, value);
  return Text(array->GetAt(0));
}

TEST(JsonWrite, IsCompactInStoredOrder) {
  const char* const kTexts[][2] = {
      {" { } ", "{}"},
      {"[ ]", "[]"},
      {"{ \"b\" : 1 , \"a\" : [ true , false , null ] }", "{\"b\":1,\"a\":[true,false,null]}"},
      {"[[],{},[[]],{\"a\":{}}]", "[[],{},[[]],{\"a\":{}}]"},
      {"{\"\":\"\"}", "{\"\":\"\"}"},
  };
  for (const auto& row : kTexts) {
    const Handle root = Parse(row[0]);
    EXPECT_EQ(Text(root), row[1]);
    EXPECT_EQ(Bytes(tovkit::Json::Write(root, nullptr)), row[1]);
  }
}

TEST(JsonWrite, OptionsAreNotReadAndMayBeNull) {
  const auto* const wild = reinterpret_cast<const tovkit::JsonWriteOptions*>(1);
  EXPECT_EQ(Bytes(tovkit::Json::Write(Parse("[1]"), wild)), "[1]");
  const tovkit::JsonWriteOptions write;
  const tovkit::JsonParseOptions parse;
  EXPECT_EQ(Bytes(tovkit::Json::Write(tovkit::Json::Parse("[ 1 ]", 5, &parse), &write)), "[1]");
}

TEST(JsonWrite, EmptyContainersFreshAndFilledAndEmptiedAgain) {
  Handle object = Parse("");
  EXPECT_EQ(Text(object), "{}");
  object->SetMemberInt("a", 1);
  object->RemoveMember("a");
  EXPECT_EQ(Text(object), "{}");
  Handle array = Parse("[1]");
  array->RemoveAt(0);
  EXPECT_EQ(Text(array), "[]");
}

TEST(JsonWrite, ChildGivesItsOwnSubtree) {
  Handle root = Parse("{\"a\": [1, {\"b\": \"c\"}], \"d\": 2}");
  EXPECT_EQ(Text(root->GetMember("a")), "[1,{\"b\":\"c\"}]");
  EXPECT_EQ(Text(root->GetMember("a")->GetAt(1)), "{\"b\":\"c\"}");
  EXPECT_EQ(Text(root->GetMember("a")->GetAt(1)->GetMember("b")), "\"c\"");
  EXPECT_EQ(Text(root->GetMember("d")), "2");
  const tovkit::JsonValue& constant = *root;
  EXPECT_EQ(Bytes(tovkit::Json::Write(constant.GetMember("d"), nullptr)), "2");
}

TEST(JsonWrite, AfterRemovalTheChangedOrder) {
  Handle object = Parse("{\"a\": 1, \"b\": 2, \"c\": 3}");
  object->RemoveMember("a");
  EXPECT_EQ(Text(object), "{\"c\":3,\"b\":2}");
}

TEST(JsonWrite, EveryByteOfAString) {
  for (int byte = 1; byte < 256; ++byte) {
    const char text[] = {'<', static_cast<char>(byte), '>', '\0'};
    char expected[16] = {'"', '<', static_cast<char>(byte), '>', '"', '\0'};
    static constexpr struct {
      int byte;
      const char* escape;
    } kNamed[] = {{'"', "\\\""}, {'\\', "\\\\"}, {'\b', "\\b"}, {'\t', "\\t"},
                  {'\n', "\\n"}, {'\f', "\\f"},  {'\r', "\\r"}};
    if (byte < 0x20) std::snprintf(expected, sizeof expected, "\"<\\u00%02X>\"", static_cast<unsigned>(byte));
    for (const auto& named : kNamed) {
      if (named.byte == byte) std::snprintf(expected, sizeof expected, "\"<%s>\"", named.escape);
    }
    Handle root = Parse("{}");
    root->SetMemberString("k", text);
    EXPECT_EQ(Text(root->GetMember("k")), expected) << byte;
    root->SetMemberInt(text, 1);
    EXPECT_EQ(Text(root), std::string("{\"k\":") + expected + "," + expected + ":1}") << byte;
  }
}

TEST(JsonWrite, NulInsideAStringIsEscaped) {
  const CoreString text = Parse("{\"a\\u0000\": \"\\u0000b\\u0000\"}")->ToString();
  EXPECT_EQ(Bytes(text), "{\"a\\u0000\":\"\\u0000b\\u0000\"}");
  EXPECT_EQ(std::strlen(text.c_str()), static_cast<std::size_t>(text.GetLength()));
}

TEST(JsonWrite, TabAndControlSolidusAndUtf8) {
  Handle root = Parse("{}");
  root->SetMemberString("k", "\t\x01/\u5B8B\u4F53\U0001F600\x7F");
  EXPECT_EQ(Text(root), "{\"k\":\"\\t\\u0001/\u5B8B\u4F53\U0001F600\x7F\"}");
}

TEST(JsonWrite, InvalidUtf8IsCopied) {
  Handle root = Parse("[\"\xFF\xC0\x80 \xED\xA0\x80\"]");
  ASSERT_TRUE(root);
  EXPECT_EQ(Text(root), "[\"\xFF\xC0\x80 \xED\xA0\x80\"]");
}

TEST(JsonWrite, EscapesOfTheTextBecomeTheirBytes) {
  EXPECT_EQ(Text(Parse("[\"\\u5B8B\\ud83d\\ude00\\/\\b\\f\\n\\r\\t\\u0041\"]")),
            "[\"\u5B8B\U0001F600/\\b\\f\\n\\r\\tA\"]");
}

TEST(JsonWrite, Integers) {
  for (const char* const text :
       {"0", "1", "-1", "2147483647", "-2147483648", "2147483648", "4294967295", "4294967296", "-2147483649",
        "9223372036854775807", "-9223372036854775808", "18446744073709551615"}) {
    EXPECT_EQ(Text(Element(text).value), text);
  }
}

TEST(JsonWrite, Doubles) {
  const struct {
    double value;
    const char* text;
  } kTable[] = {
      {0.0, "0.0"},
      {-0.0, "-0.0"},
      {1.0, "1.0"},
      {-1.5, "-1.5"},
      {0.1, "0.1"},
      {1e20, "100000000000000000000.0"},
      {1e21, "1e21"},
      {1.5e22, "1.5e22"},
      {123456789.125, "123456789.125"},
      {1e-5, "0.00001"},
      {1e-6, "0.000001"},
      {1e-7, "1e-7"},
      {1.25e-7, "1.25e-7"},
      {3.0e9, "3000000000.0"},
      {18446744073709551616.0, "18446744073709553000.0"},
      {DBL_MAX, "1.7976931348623157e308"},
      {-DBL_MAX, "-1.7976931348623157e308"},
      {DBL_MIN, "2.2250738585072014e-308"},
      {DBL_TRUE_MIN, "5e-324"},
      {1.0 / 3, "0.3333333333333333"},
  };
  for (const auto& row : kTable) EXPECT_EQ(WrittenDouble(row.value), row.text);
}

TEST(JsonWrite, DoubleThatIsWholeKeepsItsPoint) {
  Handle object = Parse("{}");
  object->SetMemberDouble("d", 1.0);
  object->SetMemberInt("i", 1);
  EXPECT_EQ(Text(object), "{\"d\":1.0,\"i\":1}");
}

TEST(JsonWrite, FloatsWithTheDigitsOfTheWidenedValue) {
  Handle root = Parse("{\"a\": [0]}");
  root->SetMemberFloat("f", 0.1F);
  root->GetMember("a")->SetAtFloat(0, 16777216.0F);
  root->GetMember("a")->InsertFloat(-1, -2.7F);
  EXPECT_EQ(Text(root), "{\"a\":[16777216.0,-2.700000047683716],\"f\":0.10000000149011612}");
}

TEST(JsonWrite, DoublesReadBackAsTheSameDouble) {
  std::mt19937_64 random(7);
  int compared = 0;
  for (int i = 0; i < 20000; ++i) {
    double value = 0;
    const std::uint64_t bits = random();
    std::memcpy(&value, &bits, sizeof value);
    if (!std::isfinite(value)) continue;
    EXPECT_EQ(std::strtod(WrittenDouble(value).c_str(), nullptr), value);
    ++compared;
  }
  EXPECT_GT(compared, 19000);
}

TEST(JsonWrite, StopsAtADoubleThatCannotBeWritten) {
  for (const double bad : {static_cast<double>(NAN), HUGE_VAL, -HUGE_VAL}) {
    SCOPED_TRACE(bad);
    Handle array = Parse("[1,2]");
    array->SetAtDouble(1, bad);
    EXPECT_EQ(Text(array), "[1,");
    array->InsertInt(-1, 3);
    EXPECT_EQ(Text(array), "[1,");
    array->RemoveAt(0);
    EXPECT_EQ(Text(array), "[");
    EXPECT_EQ(Text(array->GetAt(0)), "");
    array->RemoveAt(0);
    EXPECT_EQ(Text(array), "[3]");

    Handle root = Parse("{\"a\": {\"b\": [1, [true, {\"c\": 0, \"d\": 5}]], \"e\": 6}, \"f\": 7}");
    root->GetMember("a")->GetMember("b")->GetAt(1)->GetAt(1)->SetMemberDouble("c", bad);
    EXPECT_EQ(Text(root), "{\"a\":{\"b\":[1,[true,{\"c\":");
    EXPECT_EQ(Text(root->GetMember("a")->GetMember("b")->GetAt(1)), "[true,{\"c\":");
    root->SetMemberFloat("a", static_cast<float>(bad));
    EXPECT_EQ(Text(root), "{\"a\":");
    root->SetMemberInt("a", 0);
    root->SetMemberDouble("f", bad);
    EXPECT_EQ(Text(root), "{\"a\":0,\"f\":");
  }
}

TEST(JsonWrite, SaysNothingWhenItStops) {
  Handle array = Parse("[1]");
  array->SetAtDouble(0, NAN);
  Captured out(stdout);
  Captured err(stderr);
  const std::string text = Text(array);
  EXPECT_EQ(out.Text(), "");
  EXPECT_EQ(err.Text(), "");
  EXPECT_EQ(text, "[");
}

TEST(JsonWrite, LargeDocuments) {
  Handle array = Parse("[]");
  std::string expected = "[";
  for (int i = 0; i < 20000; ++i) {
    array->InsertInt(-1, i);
    expected += (i == 0 ? "" : ",") + std::to_string(i);
  }
  const std::string megabyte(1 << 20, 'm');
  array->InsertString(-1, megabyte.c_str());
  expected += ",\"" + megabyte + "\"]";
  EXPECT_EQ(Text(array), expected);
}

// The document takes half a gigabyte, the text and its copy two each.
TEST(JsonWrite, ThrowsLengthErrorWhenTheTextHasMoreThan2147483646Bytes) {
  constexpr int kMost = 2147483646;
  if (sysconf(_SC_PHYS_PAGES) < (8L << 30) / sysconf(_SC_PAGESIZE)) GTEST_SKIP() << "8 GB of memory";
  Handle array = Parse("[]");
  constexpr int kEscaped = 17'000'000, kElements = 20;
  const std::string escaped(kEscaped, '\x01');  // six bytes each
  for (int i = 0; i < kElements; ++i) array->InsertString(-1, escaped.c_str());
  const std::string rest(kMost - 4 - kElements * (kEscaped * 6 + 3), 'x');
  array->InsertString(-1, rest.c_str());
  EXPECT_EQ(array->ToString().GetLength(), kMost);
  array->SetAtString(kElements, (rest + "x").c_str());
  EXPECT_THROW(array->ToString(), std::length_error);
}

TEST(JsonWrite, ParsedAgainIsTheSameText) {
  for (const char* const text :
       {"{}", "[]", "[1,-2,3000000000,-3000000000,10000000000,1.5,1e300,1e-300,0.0,-0.0]",
        "{\"a\":{\"b\":{\"c\":[[],[{}],null,true,false]}},\"a\":\"\\u0000\\u001F\\\"\\\\/\x7F\"}",
        "[\"\u5B8B\u4F53\",\"\",\"\\b\\f\\n\\r\\t\"]"}) {
    const std::string once = Text(Parse(text));
    EXPECT_EQ(once, text);
    EXPECT_EQ(Text(Parse(once)), once);
  }
}

}  // namespace
