// SPDX-License-Identifier: MIT
// Texts into documents, and what is printed when that fails.
#include "json_support.h"

#include <bit>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

std::string ErrorLine(int code) { return "Parse json error. code=" + std::to_string(code) + "\n"; }

constexpr char kRootLine[] = "Only allow array and object\n";

void ExpectError(const std::string& text, int code) {
  const ParseOutcome outcome = ParseCaptured(text);
  EXPECT_FALSE(outcome.root) << text;
  EXPECT_EQ(outcome.root.UseCount(), 1) << text;
  EXPECT_EQ(outcome.out, ErrorLine(code)) << text;
  EXPECT_EQ(outcome.err, "") << text;
}

void ExpectText(const std::string& text, const std::string& written) {
  const ParseOutcome outcome = ParseCaptured(text);
  ASSERT_TRUE(outcome.root) << text << ": " << outcome.out;
  EXPECT_EQ(Text(outcome.root), written) << text;
  EXPECT_EQ(outcome.out, "") << text;
  EXPECT_EQ(outcome.err, "") << text;
}

std::string Utf8(std::uint32_t code) {
  if (code < 0x80) return {static_cast<char>(code)};
  std::string bytes;
  const int tails = code < 0x800 ? 1 : code < 0x10000 ? 2 : 3;
  bytes += static_cast<char>((tails == 1 ? 0xC0 : tails == 2 ? 0xE0 : 0xF0) | code >> (6 * tails));
  for (int i = tails; i-- > 0;) bytes += static_cast<char>(0x80 | (code >> (6 * i) & 0x3F));
  return bytes;
}

std::string Escape(std::uint32_t unit, bool upper = false) {
  char text[8];
  std::snprintf(text, sizeof text, upper ? "\\u%04X" : "\\u%04x", static_cast<unsigned>(unit));
  return text;
}

// A high half asks for its other half; a low one alone is encoded as it is.
TEST(JsonParse, EveryEscapeIsItsCharacter) {
  for (const bool upper : {false, true}) {
    std::string text = "[";
    std::vector<std::string> expected;
    const auto add = [&](const std::string& escapes, std::uint32_t code) {
      text += (expected.empty() ? "\"" : ",\"") + escapes + '"';
      expected.push_back(Utf8(code));
    };
    for (std::uint32_t unit = 1; unit < 0x10000; ++unit) {
      if (unit < 0xD800 || unit > 0xDBFF) add(Escape(unit, upper), unit);
    }
    for (const std::uint32_t high : {0xD800U, 0xD801U, 0xD83DU, 0xDBFEU, 0xDBFFU}) {
      for (const std::uint32_t low : {0xDC00U, 0xDC01U, 0xDE00U, 0xDFFEU, 0xDFFFU})
        add(Escape(high, upper) + Escape(low, upper), 0x10000 + ((high - 0xD800) << 10) + (low - 0xDC00));
    }
    const Handle root = Parse(text + "]");
    ASSERT_TRUE(root);
    ASSERT_EQ(root->Size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
      ASSERT_EQ(root->GetAtString(static_cast<std::uint32_t>(i), ""), expected[i]) << i;
    }
  }
}

TEST(JsonParse, AnEscapeThatIsNotWholeIsNone) {
  for (const std::uint32_t high : {0xD800U, 0xDA00U, 0xDBFFU}) {
    for (const std::string& rest :
         {std::string(), std::string("x"), std::string("\\n"), Escape(0xD800), Escape(0xDBFF), Escape(0xE000),
          Escape(0x41), std::string("\\uDC0"), std::string("\\xDC00")}) {
      EXPECT_FALSE(ParseCaptured("[\"" + Escape(high) + rest + "\"]").root) << rest;
    }
  }
  for (const char* digits : {"", "0", "00", "004", "004g", "g041", "0g41", "00g1", "/041", ":041", "@041",
                             "`041", "G041", "-041", "+041", " 041"}) {
    EXPECT_FALSE(ParseCaptured(std::string("[\"\\u") + digits + "\"]").root) << digits;
    EXPECT_FALSE(ParseCaptured(std::string("[\"\\u") + digits).root) << digits;
  }
}

TEST(JsonParse, NothingToReadGivesANewEmptyObject) {
  const struct {
    const char* text;
    unsigned int length;
  } kTable[] = {{nullptr, 0}, {nullptr, 5}, {"", 0}, {"", 3}, {"[1]", 0}, {"\0[1]", 4}};
  for (const auto& row : kTable) {
    const ParseOutcome outcome = ParseCaptured(row.text, row.length);
    ASSERT_TRUE(outcome.root);
    EXPECT_EQ(outcome.root->GetType(), tovkit::JsonObject);
    EXPECT_EQ(outcome.root->Size(), 0U);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "");
    outcome.root->SetMemberInt("a", 1);
    EXPECT_EQ(Text(outcome.root), "{\"a\":1}");
  }
}

TEST(JsonParse, OnlyWhiteSpaceIsCodeOne) {
  for (const char* const text : {" ", "\n", "\t", "\r", " \t\r\n ", "\xEF\xBB\xBF", "\xEF\xBB\xBF "}) {
    ExpectError(text, 1);
  }
}

TEST(JsonParse, EveryErrorCodeThatATextCanProvoke) {
  const struct {
    const char* text;
    int code;
  } kTable[] = {
      {" ", 1},
      // 2: more after the root
      {"{}{}", 2},
      {"{} {}", 2},
      {"[]]", 2},
      {"[],", 2},
      {"{}x", 2},
      {"1 2", 2},
      {"01", 2},
      {"[]// comment", 2},
      // 3: no value
      {"x", 3},
      {"]", 3},
      {"}", 3},
      {",", 3},
      {"[", 3},
      {"[1,", 3},
      {"[1,]", 3},
      {"[,1]", 3},
      {"{\"a\":}", 3},
      {"{\"a\":", 3},
      {"[nul]", 3},
      {"[tru]", 3},
      {"[fals]", 3},
      {"[True]", 3},
      {"[NaN]", 3},
      {"[nan]", 3},
      {"[Infinity]", 3},
      {"[-Infinity]", 3},
      {"[inf]", 3},
      {"[+1]", 3},
      {"[.5]", 3},
      {"[-]", 3},
      {"['a']", 3},
      {"// comment\n[]", 3},
      {"/* comment */ []", 3},
      {"[/* comment */]", 3},
      {"[1,/* comment */2]", 3},
      {"\xFE\xFF[]", 3},
      {"\xEF\xBB\xBF\xEF\xBB\xBF[]", 3},
      {"\f[]", 3},
      {"\v[]", 3},
      {"\xC2\xA0[]", 3},
      // 4: member name missing
      {"{", 4},
      {"{1:2}", 4},
      {"{a:1}", 4},
      {"{'a':1}", 4},
      {"{\"a\":1,", 4},
      {"{\"a\":1,}", 4},
      {"{,}", 4},
      {"{/**/}", 4},
      // 5: colon missing
      {"{\"a\"", 5},
      {"{\"a\"}", 5},
      {"{\"a\" 1}", 5},
      {"{\"a\",1}", 5},
      // 6: comma or brace missing
      {"{\"a\":1", 6},
      {"{\"a\":1]", 6},
      {"{\"a\":1 \"b\":2}", 6},
      {"{\"a\":01}", 6},
      {"{\"a\":1;}", 6},
      // 7: comma or bracket missing
      {"[1", 7},
      {"[1}", 7},
      {"[1 2]", 7},
      {"[1;2]", 7},
      {"[01]", 7},
      {"[-01]", 7},
      {"[0x10]", 7},
      {"[1// comment\n]", 7},
      {"[1.5.5]", 7},
      {"[1e5e5]", 7},
      {"[nullx]", 7},
      // 8: four hexadecimal digits missing
      {"[\"\\u\"]", 8},
      {"[\"\\u12\"]", 8},
      {"[\"\\u123g\"]", 8},
      {"[\"\\u12", 8},
      {"[\"\\ud800\\u12\"]", 8},
      // 9: half a surrogate pair
      {"[\"\\ud800\"]", 9},
      {"[\"\\ud800x\"]", 9},
      {"[\"\\ud800\\n\"]", 9},
      {"[\"\\ud800\\u0041\"]", 9},
      {"[\"\\ud800\\ud800\"]", 9},
      {"[\"\\ud800\\ue000\"]", 9},
      // 10: unknown escape
      {"[\"\\x\"]", 10},
      {"[\"\\'\"]", 10},
      {"[\"\\0\"]", 10},
      {"[\"\\U0041\"]", 10},
      {"[\"\\", 10},
      {"[\"a\tb\"]", 10},
      {"[\"a\nb\"]", 10},
      {"[\"\x01\"]", 10},
      {"[\"\x1F\"]", 10},
      {"{\"\x1F\":1}", 10},
      // 11: closing quotation mark missing
      {"\"", 11},
      {"[\"", 11},
      {"[\"abc", 11},
      {"[\"a text that is longer than sixteen bytes", 11},
      {"{\"a", 11},
      // 13: number too big
      {"[1e309]", 13},
      {"[-1e309]", 13},
      {"[1e400]", 13},
      {"[1E+2147483648]", 13},
      {"[1e99999999999999999999]", 13},
      // 14: no digit after the point
      {"[1.]", 14},
      {"[1.e5]", 14},
      {"[0.", 14},
      {"[-1.x]", 14},
      // 15: no digit in the exponent
      {"[1e]", 15},
      {"[1e+]", 15},
      {"[1e-", 15},
      {"[1.5ex]", 15},
  };
  for (const auto& row : kTable) ExpectError(row.text, row.code);
}

TEST(JsonParse, TheRootMustBeAnArrayOrAnObjectAndCommentsTrailingCommasNaNAndInfinityAreErrors) {
  for (const char* const text : {"42", "-1", "1.5", "\"text\"", "\"\"", "true", "false", "null", " null "}) {
    const ParseOutcome outcome = ParseCaptured(text);
    EXPECT_FALSE(outcome.root) << text;
    EXPECT_EQ(outcome.root.UseCount(), 1) << text;
    EXPECT_EQ(outcome.out, kRootLine) << text;
    EXPECT_EQ(outcome.err, "") << text;
  }
  for (const char* const text :
       {"[1,]", "{\"a\":1,}", "[// comment\n1]", "[1] // comment", "[/* comment */1]", "[1]/**/", "[NaN]",
        "[nan]", "{\"a\":NaN}", "[Infinity]", "[-Infinity]", "[inf]", "[-inf]"}) {
    const ParseOutcome outcome = ParseCaptured(text);
    EXPECT_FALSE(outcome.root) << text;
    EXPECT_EQ(outcome.out.rfind("Parse json error. code=", 0), 0U) << text;
  }
}

// The codes 12, 16 and 17 tell of checks that are off: of UTF-8, of a handler that stops, and of another way
// to parse. No text reaches them.
TEST(JsonParse, InvalidUtf8InsideAStringIsKeptAsItIs) {
  for (const char* const text :
       {"[\"\xFF\"]", "[\"\x80\"]", "[\"\xC0\x80\"]", "[\"\xED\xA0\x80\"]", "[\"\xF8\x88\x80\x80\x80\"]"}) {
    ExpectText(text, text);
  }
}

TEST(JsonParse, LoneLowSurrogateIsNoError) {
  // Compatibility: only a high half asks for its other half.
  ExpectText("[\"\\udc00\"]", "[\"\xED\xB0\x80\"]");
}

TEST(JsonParse, WhiteSpaceAroundAndWithin) {
  ExpectText(" \t\r\n[ \t\r\n1 \t\r\n, \t\r\n2 \t\r\n] \t\r\n", "[1,2]");
  ExpectText("\n{\t\"a\"\r:\n1\t,\"b\" : { } }\n", "{\"a\":1,\"b\":{}}");
}

TEST(JsonParse, ByteOrderMarkIsSkipped) {
  ExpectText("\xEF\xBB\xBF{\"a\":1}", "{\"a\":1}");
  ExpectText("\xEF\xBB\xBF []", "[]");
}

TEST(JsonParse, EachByteOfTheMarkIsSkippedByItself) {
  // Compatibility: any of the three bytes is dropped where it is due, with or without the others.
  for (const char* const text :
       {"\xEF[1]", "\xBB[1]", "\xBF[1]", "\xEF\xBB[1]", "\xEF\xBF[1]", "\xBB\xBF[1]"}) {
    ExpectText(text, "[1]");
  }
  ExpectError("\xEF\xEF[1]", 3);
  ExpectError("\xBF\xBB[1]", 3);
  ExpectError(" \xEF\xBB\xBF[1]", 3);
}

TEST(JsonParse, ReadsNoMoreThanItsLength) {
  const char text[] = "{\"a\":1}";
  for (unsigned int length = 1; length < sizeof text - 1; ++length) {
    const ParseOutcome outcome = ParseCaptured(text, length);
    EXPECT_FALSE(outcome.root) << length;
    EXPECT_EQ(outcome.out.rfind("Parse json error. code=", 0), 0U) << length;
  }
  EXPECT_EQ(ParseCaptured(text, 3).out, ErrorLine(11));
  EXPECT_TRUE(ParseCaptured(text, 7).root);
  EXPECT_EQ(Text(ParseCaptured("[1]garbage", 3).root), "[1]");
  EXPECT_EQ(ParseCaptured("[12]", 2).out, ErrorLine(7));
}

TEST(JsonParse, ReadsNoByteBehindAnUnterminatedText) {
  // The block ends with the text, so that a sanitizer sees any byte read beyond it.
  for (const std::string text :
       {"[1]", "[", "[\"a\\", "[\"\\u1", "[tr", "[1.", "[1e", "{\"a\"", "1", "[12345", "\xEF", "\xEF\xBB",
        "\xEF\xBB\xBF", "[\"0123456789abcdef", "[1]      "}) {
    const std::vector<char> block(text.begin(), text.end());
    const ParseOutcome outcome = ParseCaptured(block.data(), static_cast<unsigned int>(block.size()));
    EXPECT_EQ(static_cast<bool>(outcome.root), outcome.out.empty()) << text;
  }
}

TEST(JsonParse, NulEndsTheText) {
  using namespace std::string_literals;
  ExpectText("{\"a\":1}\0"s, "{\"a\":1}");
  ExpectText("{\"a\":1}\0garbage"s, "{\"a\":1}");
  ExpectText("[1] \0]"s, "[1]");
  ExpectError("[1\0]"s, 7);
  ExpectError("[\"a\0b\"]"s, 11);
  ExpectError("  \0[]"s, 1);
  ExpectError("\xEF\xBB\xBF\0[]"s, 1);
  ExpectError("{\0}"s, 4);
}

TEST(JsonParse, LengthMayReachBeyondTheNul) {
  // The text ends at its NUL; nothing behind it is read, whatever length is given.
  const std::string text = "[1.5e-3,\"a text that is longer than sixteen bytes\"]";
  const std::vector<char> block(text.c_str(), text.c_str() + text.size() + 1);
  const ParseOutcome outcome = ParseCaptured(block.data(), 4294967295U);
  ASSERT_TRUE(outcome.root);
  EXPECT_EQ(outcome.root->Size(), 2U);
}

TEST(JsonParse, EmptyNamesAndDuplicatesAreKept) {
  ExpectText("{\"\":1,\"a\":2,\"\":3,\"a\":4}", "{\"\":1,\"a\":2,\"\":3,\"a\":4}");
}

double ParsedNumber(const std::string& text) {
  const Handle root = Parse("[" + text + "]");
  return root ? root->GetAtDouble(0, -12345) : -54321;
}

TEST(JsonParse, NumbersAtTheLimits) {
  const struct {
    const char* text;
    double value;
  } kTable[] = {
      {"1e308", 1e308},
      {"-1e308", -1e308},
      {"1.7976931348623157e308", DBL_MAX},
      {"2.2250738585072014e-308", DBL_MIN},
      {"1e-400", 0.0},
      {"-1e-400", -0.0},
      {"0e99", 0.0},
      {"0.0e-99", 0.0},
      {"1e+2", 100.0},
      {"1E-2", 0.01},
      {"1e00000000000000000000000000002", 100.0},
      {"1e-2147483647", 0.0},
      {"1e-2147483648", 0.0},
      {"1e-2147483649", 0.0},
      {"1e-4294967296", 0.0},
      {"1e-99999999999999999999999999", 0.0},
      {"1.00000000001e-2147483638", 0.0},
      {"1.00000000001e-2147483639", 0.0},
      {"1.00000000001e-2147483630", 0.0},
      {"1.0000000000000000000001e-2147483639", 0.0},
      {"0.00000000000000000000000001e-2147483639", 0.0},
      {"-1.00000000001e-2147483638", -0.0},
      {"12345678901234567890.00000000001e-2147483638", 0.0},
  };
  for (const auto& row : kTable) {
    const double value = ParsedNumber(row.text);
    EXPECT_EQ(value, row.value) << row.text;
    EXPECT_EQ(std::signbit(value), std::signbit(row.value)) << row.text;
  }
}

TEST(JsonParse, NumbersHaveNormalPrecision) {
  // The double that is read, and its distance in last places from the nearest one, which a parser of full
  // precision reads.
  const struct {
    const char* text;
    std::uint64_t bits;
    int distance;
  } kTable[] = {
      {"1e-23", 0x3b282db34012b252, 1},
      {"123456789012345678901", 0x441ac53a7e04bcd9, -1},
      {"1.602176634e-19", 0x3c07a4da290c1654, 1},
      {"179769313486231570000000000000000000000", 0x47e0e7c9eebc444a, 1},
      {"4018109.7213967675", 0x414ea7dedc56bab1, -1},
      {"3634877.7165388172", 0x414bbb5edbb78b42, 1},
      {"1849836.2735586897", 0x413c39ec4607f139, -1},
      {"-1963679.7034173047", 0xc13df69fb4132810, 1},
      // Read as the nearest.
      {"0.1", 0x3fb999999999999a, 0},
      {"-65.613616999999977", 0xc0506745803cd140, 0},
  };
  for (const auto& row : kTable) {
    const double value = ParsedNumber(row.text);
    EXPECT_EQ(std::bit_cast<std::uint64_t>(value), row.bits) << row.text;
    const auto nearest = std::bit_cast<std::uint64_t>(std::strtod(row.text, nullptr));
    EXPECT_EQ(static_cast<std::int64_t>(row.bits - nearest), row.distance) << row.text;
  }
}

TEST(JsonParse, DenormalsAreRead) {
  // Normal precision: the last digit may differ from the nearest double.
  for (const double value : {5e-324, 1e-320, 1.5e-310, 2.2250738585072009e-308}) {
    char text[64];
    std::snprintf(text, sizeof text, "%.17g", value);
    EXPECT_NEAR(ParsedNumber(text) / value, 1.0, 1e-2) << text;
    EXPECT_GT(ParsedNumber(text), 0.0) << text;
  }
}

TEST(JsonParse, Doubles1Point8e308AndAboveAreReadAsInfinity) {
  // The exponent is in range, the product is not: the text is read and cannot be written.
  const Handle root = Parse("[1.8e308]");
  ASSERT_TRUE(root);
  EXPECT_EQ(root->GetAtDouble(0, 0), HUGE_VAL);
  EXPECT_EQ(ParsedNumber("-1.8e308"), -HUGE_VAL);
  EXPECT_EQ(ParsedNumber("9.9e308"), HUGE_VAL);
  EXPECT_EQ(Text(root), "[");
}

TEST(JsonParse, NumbersOfAThousandDigits) {
  const std::string nines(1000, '9');
  const std::string zeros(1000, '0');
  ExpectError("[" + nines + "]", 13);
  ExpectError("[-1" + zeros + "]", 13);
  EXPECT_DOUBLE_EQ(ParsedNumber("0." + nines), 1.0);
  EXPECT_EQ(ParsedNumber("0." + zeros), 0.0);
  EXPECT_EQ(ParsedNumber("0." + zeros + "1"), 0.0);
  EXPECT_DOUBLE_EQ(ParsedNumber("1." + zeros + "1"), 1.0);
  EXPECT_DOUBLE_EQ(ParsedNumber("0." + zeros + "1e1001"), 1.0);
  EXPECT_DOUBLE_EQ(ParsedNumber("1" + std::string(300, '0')), 1e300);
  EXPECT_EQ(ParsedNumber("1e-" + zeros + "5"), ParsedNumber("1e-5"));
  EXPECT_EQ(ParsedNumber("0." + zeros + "1e-2147483639"), 0.0);
}

TEST(JsonParse, OptionsAreNotReadAndMayBeNull) {
  const auto* const wild = reinterpret_cast<const tovkit::JsonParseOptions*>(1);
  EXPECT_EQ(Text(tovkit::Json::Parse("[1]", 3, wild)), "[1]");
}

TEST(JsonParse, LongStringsAndManyMembers) {
  const std::string megabyte(1 << 20, 'm');
  ExpectText("[\"" + megabyte + "\"]", "[\"" + megabyte + "\"]");
  std::string text = "{";
  for (int i = 0; i < 50000; ++i) {
    text += (i == 0 ? "\"" : ",\"") + std::to_string(i) + "\":" + std::to_string(i);
  }
  text += "}";
  const Handle root = Parse(text);
  ASSERT_TRUE(root);
  EXPECT_EQ(root->Size(), 50000U);
  EXPECT_EQ(root->GetMemberInt("49999", 0), 49999);
  EXPECT_EQ(Text(root), text);
}

}  // namespace
