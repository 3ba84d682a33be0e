// SPDX-License-Identifier: MIT
#include "fake_value.h"
#include "in_locale.h"
#include "parsed.h"

#include <tovkit/convert.h>

#include <emmintrin.h>
#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <type_traits>
#include <utility>

using tovkit::Convert;
using tovkit::FakeAnswers;
using tovkit::FakeValue;
using tovkit::JsonType;
using tovkit::JsonValue;
using tovkit::SharedPtr;

namespace {

using Handle = SharedPtr<const JsonValue>;

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

Handle Fake(const FakeAnswers& answers) { return Handle(new FakeValue(answers)); }

Handle FakeDouble(double number) {
  FakeAnswers answers;
  answers.type = tovkit::JsonDouble;
  answers.doubleValue = number;
  return Fake(answers);
}

Handle FakeFloat(float number) {
  FakeAnswers answers;
  answers.type = tovkit::JsonFloat;
  answers.floatValue = number;
  return Fake(answers);
}

// Equal numbers, or both NaN.
template <typename T>
bool Same(T a, T b) {
  return a == b || (std::isnan(a) && std::isnan(b));
}

TEST(ConvertSignatures, ResultsHaveTheStatedTypes) {
  const Handle empty;
  static_assert(std::is_same_v<decltype(Convert::ToInt(empty)), int>);
  static_assert(std::is_same_v<decltype(Convert::ToUint(empty)), unsigned>);
  static_assert(std::is_same_v<decltype(Convert::ToFloat(empty)), float>);
  static_assert(std::is_same_v<decltype(Convert::ToDouble(empty)), double>);
  static_assert(std::is_same_v<decltype(Convert::ToBoolean(empty)), bool>);
  static_assert(std::is_same_v<decltype(Convert::ToText(empty, 1)), CoreString>);
  static_assert(!std::is_default_constructible_v<Convert>);
}

void ExpectFallbacks(const Handle& value) {
  EXPECT_EQ(Convert::ToInt(value), -1);
  EXPECT_EQ(Convert::ToUint(value), 0u);
  EXPECT_EQ(Convert::ToFloat(value), 0.0f);
  EXPECT_EQ(Convert::ToDouble(value), 0.0);
  EXPECT_FALSE(Convert::ToBoolean(value));
  EXPECT_STREQ(Convert::ToText(value, 3).c_str(), "");
}

TEST(ConvertScalar, EmptyHandleGivesTheFallbacks) { ExpectFallbacks(Handle()); }

TEST(ConvertScalar, UnusableKindsGiveTheFallbacks) {
  for (const char* text : {"null", "5000000000", "-5000000000", "-2147483649", "4294967296",
                           "18446744073709551615", "[]", "[1]", "{}", "{\"a\": 1}"}) {
    SCOPED_TRACE(text);
    ExpectFallbacks(Parsed("[" + std::string(text) + "]")[0]);
  }
}

TEST(ConvertScalar, EveryKindCodeReadsWithItsOwnGetterOrNotAtAll) {
  for (int code = -2; code <= 300; ++code) {
    SCOPED_TRACE(code);
    FakeAnswers answers;
    answers.type = static_cast<JsonType>(code);
    auto* const fake = new FakeValue(answers);
    const Handle value(fake);
    const bool usable = code == 1 || code == 2 || (code >= 5 && code <= 8);
    if (usable) {
      const int number = code == 8 ? 1 : 77;
      EXPECT_EQ(Convert::ToInt(value), number);
      EXPECT_EQ(Convert::ToUint(value), static_cast<unsigned>(number));
      EXPECT_EQ(Convert::ToFloat(value), static_cast<float>(number));
      EXPECT_EQ(Convert::ToDouble(value), number);
      EXPECT_EQ(Convert::ToBoolean(value), code != 7);
      EXPECT_FALSE(Convert::ToText(value, 0).IsEmpty());
    } else {
      ExpectFallbacks(value);
    }
    EXPECT_EQ(fake->reads, usable ? 6 : 0);
    EXPECT_EQ(fake->readsWithOk, 0);
  }
}

struct Row {
  const char* json;
  int toInt;
  unsigned toUint;
  float toFloat;
  double toDouble;
  bool toBoolean;
};

constexpr int kSmallest = std::numeric_limits<int>::min();

void ExpectRow(const Row& row) {
  SCOPED_TRACE(row.json);
  const Parsed parsed("[" + std::string(row.json) + "]");
  const Handle value = parsed[0];
  ASSERT_TRUE(value);
  EXPECT_EQ(Convert::ToInt(value), row.toInt);
  EXPECT_EQ(Convert::ToUint(value), row.toUint);
  EXPECT_TRUE(Same(Convert::ToFloat(value), row.toFloat)) << Convert::ToFloat(value);
  EXPECT_TRUE(Same(Convert::ToDouble(value), row.toDouble)) << Convert::ToDouble(value);
  EXPECT_EQ(Convert::ToBoolean(value), row.toBoolean);
}

constexpr Row kIntegers[] = {
    {"0", 0, 0, 0, 0, false},
    {"5", 5, 5, 5, 5, true},
    {"-5", -5, 4294967291u, -5, -5, true},
    {"-1", -1, 4294967295u, -1, -1, true},
    {"2147483647", 2147483647, 2147483647u, 2147483648.0f, 2147483647.0, true},
    {"-2147483648", kSmallest, 2147483648u, -2147483648.0f, -2147483648.0, true},
    {"2147483648", kSmallest, 2147483648u, 2147483648.0f, 2147483648.0, true},
    {"3000000000", -1294967296, 3000000000u, 3e9f, 3e9, true},
    {"4294967295", -1, 4294967295u, 4294967296.0f, 4294967295.0, true},
    {"16777217", 16777217, 16777217u, 16777216.0f, 16777217.0, true},
};

constexpr Row kDoubles[] = {
    {"0.0", 0, 0, 0, 0, false},
    {"-0.0", 0, 0, 0, 0, false},
    {"1.0", 1, 1, 1, 1, true},
    {"2.9", 2, 2, 2.9f, 2.9, true},
    {"-2.9", -2, 4294967294u, -2.9f, -2.9, true},
    {"0.9", 0, 0, 0.9f, 0.9, true},
    {"-0.9", 0, 0, -0.9f, -0.9, true},
    {"-1.5", -1, 4294967295u, -1.5f, -1.5, true},
    {"3e9", kSmallest, 3000000000u, 3e9f, 3e9, true},
    {"1e10", kSmallest, 1410065408u, 1e10f, 1e10, true},
    {"-1e10", kSmallest, 2884901888u, -1e10f, -1e10, true},
    {"1e20", kSmallest, 0, 1e20f, 1e20, true},
    {"-1e20", kSmallest, 0, -1e20f, -1e20, true},
    {"1e300", kSmallest, 0, kInfinity, 1e300, true},
    {"-1e300", kSmallest, 0, -kInfinity, -1e300, true},
    {"1e-320", 0, 0, 0, 1e-320, true},
    {"2147483647.0", 2147483647, 2147483647u, 2147483648.0f, 2147483647.0, true},
    {"2147483647.9", 2147483647, 2147483647u, 2147483648.0f, 2147483647.9, true},
    {"2147483648.0", kSmallest, 2147483648u, 2147483648.0f, 2147483648.0, true},
    {"-2147483648.0", kSmallest, 2147483648u, -2147483648.0f, -2147483648.0, true},
    {"-2147483647.0", -2147483647, 2147483649u, -2147483648.0f, -2147483647.0, true},
    {"-2147483647.9", -2147483647, 2147483649u, -2147483648.0f, -2147483647.9, true},
    {"-2147483648.9", kSmallest, 2147483648u, -2147483648.0f, -2147483648.9, true},
    {"-2147483649.0", kSmallest, 2147483647u, -2147483648.0f, -2147483649.0, true},
    {"9223372036854774784.0", kSmallest, 4294966272u, 9223372036854775808.0f, 9223372036854774784.0, true},
    {"9223372036854775808.0", kSmallest, 0, 9223372036854775808.0f, 9223372036854775808.0, true},
    {"-9223372036854775808.0", kSmallest, 0, -9223372036854775808.0f, -9223372036854775808.0, true},
};

constexpr Row kStrings[] = {
    {"\"\"", 0, 0, 0, 0, false},
    {"\"12abc\"", 12, 12, 12, 12, false},
    {"\"abc\"", 0, 0, 0, 0, false},
    {"\"  -7\"", -7, 4294967289u, -7, -7, false},
    {"\"+8\"", 8, 8, 8, 8, false},
    {"\"- 8\"", 0, 0, 0, 0, false},
    {"\"-1\"", -1, 4294967295u, -1, -1, false},
    {"\"1e3\"", 1, 1, 1000, 1000, false},
    {"\"2.75\"", 2, 2, 2.75f, 2.75, false},
    {"\"0x10\"", 0, 0, 16, 16, false},
    {"\"0x1p4\"", 0, 0, 16, 16, false},
    {"\"010\"", 10, 10, 10, 10, false},
    {"\"inf\"", 0, 0, kInfinity, std::numeric_limits<double>::infinity(), false},
    {"\"-Infinity\"", 0, 0, -kInfinity, -std::numeric_limits<double>::infinity(), false},
    {"\"nan\"", 0, 0, std::numeric_limits<float>::quiet_NaN(), kNan, false},
    {"\"1e300\"", 1, 1, kInfinity, 1e300, false},
    {"\"1e999\"", 1, 1, kInfinity, std::numeric_limits<double>::infinity(), false},
    {"\"4294967295\"", -1, 4294967295u, 4294967296.0f, 4294967295.0, false},
    {"\"4294967297\"", 1, 1, 4294967296.0f, 4294967297.0, false},
    {"\"99999999999999999999\"", -1, 4294967295u, 1e20f, 1e20, false},
    {"\"-99999999999999999999\"", 0, 0, -1e20f, -1e20, false},
    {"\"\\t\\n 9\"", 9, 9, 9, 9, false},
    {"\"7\\u00009\"", 7, 7, 7, 7, false},
    {"\"true\"", 0, 0, 0, 0, true},
    {"\"TRUE\"", 0, 0, 0, 0, false},
    {"\"True\"", 0, 0, 0, 0, false},
    {"\" true\"", 0, 0, 0, 0, false},
    {"\"true \"", 0, 0, 0, 0, false},
    {"\"yes\"", 0, 0, 0, 0, false},
    {"\"1\"", 1, 1, 1, 1, false},
};

TEST(ConvertScalar, IntegersKeepTheir32Bits) {
  for (const Row& row : kIntegers) ExpectRow(row);
}

TEST(ConvertScalar, DoublesAreCutTowardZeroAndOneOutsideTheRangeIsMinus2147483648InToIntAnd0InToUint) {
  for (const Row& row : kDoubles) ExpectRow(row);
}

TEST(ConvertScalar, StringsAreReadUpToTheFirstCharacterThatDoesNotFitAndNoDigitsAre0) {
  for (const Row& row : kStrings) ExpectRow(row);
}

TEST(ConvertScalar, BooleansAre1Or0) {
  ExpectRow({"true", 1, 1, 1, 1, true});
  ExpectRow({"false", 0, 0, 0, 0, false});
}

TEST(ConvertScalar, NaNIsTrueMinus2147483648InToIntAnd0InToUint) {
  for (const Handle& value : {FakeDouble(kNan), FakeFloat(std::numeric_limits<float>::quiet_NaN())}) {
    EXPECT_EQ(Convert::ToInt(value), kSmallest);
    EXPECT_EQ(Convert::ToUint(value), 0u);
    EXPECT_TRUE(std::isnan(Convert::ToFloat(value)));
    EXPECT_TRUE(std::isnan(Convert::ToDouble(value)));
    EXPECT_TRUE(Convert::ToBoolean(value));
  }
}

TEST(ConvertScalar, FloatsConvertByTheirRules) {
  EXPECT_EQ(Convert::ToInt(FakeFloat(-1.5f)), -1);
  EXPECT_EQ(Convert::ToUint(FakeFloat(-1.5f)), 4294967295u);
  EXPECT_EQ(Convert::ToUint(FakeFloat(3e9f)), 3000000000u);
  EXPECT_EQ(Convert::ToInt(FakeFloat(3e9f)), kSmallest);
  EXPECT_EQ(Convert::ToFloat(FakeFloat(0.1f)), 0.1f);
  EXPECT_EQ(Convert::ToDouble(FakeFloat(0.1f)), static_cast<double>(0.1f));
  EXPECT_TRUE(Convert::ToBoolean(FakeFloat(1e-40f)));
  EXPECT_FALSE(Convert::ToBoolean(FakeFloat(-0.0f)));
}

// The processor's truncating conversions are the reference for doubles of every size.
TEST(ConvertScalar, DoublesConvertAsTheProcessorDoes) {
  std::mt19937_64 random(21);
  for (int i = 0; i < 200000; ++i) {
    const std::uint64_t bits = random();
    double number = 0;
    std::memcpy(&number, &bits, sizeof number);
    if (i % 2 == 0)
      number =
          std::ldexp(static_cast<double>(static_cast<std::int64_t>(bits)), static_cast<int>(i % 80) - 70);
    const Handle value = FakeDouble(number);
    const __m128d packed = _mm_set_sd(number);
    ASSERT_EQ(Convert::ToInt(value), _mm_cvttsd_si32(packed)) << number;
    ASSERT_EQ(Convert::ToUint(value), static_cast<std::uint32_t>(_mm_cvttsd_si64(packed))) << number;
    ASSERT_TRUE(Same(Convert::ToFloat(value), _mm_cvtss_f32(_mm_cvtsd_ss(_mm_setzero_ps(), packed))))
        << number;
  }
}

TEST(ConvertScalar, TheDecimalPointIsThatOfTheProcesssLocale) {
  EXPECT_IN("de_DE.ISO-8859-1", [] {
    const Parsed parsed("[\"2,5\", \"2.5\", 2.5]");
    HOLDS(Convert::ToDouble(parsed[0]) == 2 && Convert::ToDouble(parsed[1]) == 2.5);
    HOLDS(std::setlocale(LC_NUMERIC, "") != nullptr);
    HOLDS(Convert::ToDouble(parsed[0]) == 2.5 && Convert::ToFloat(parsed[0]) == 2.5f);
    HOLDS(Convert::ToDouble(parsed[1]) == 2 && Convert::ToFloat(parsed[1]) == 2);
    HOLDS(std::string(Convert::ToText(parsed[2], 1).c_str()) == "2,5");
  });
}

struct TextRow {
  const char* json;
  int precision;
  const char* text;
};

TEST(ConvertText, AnIntegerAbove2147483647PrintsNegative) {
  const std::pair<const char*, const char*> rows[] = {{"2147483647", "2147483647"},
                                                      {"2147483648", "-2147483648"},
                                                      {"3000000000", "-1294967296"},
                                                      {"4294967295", "-1"}};
  for (const auto& [json, text] : rows) {
    EXPECT_STREQ(Convert::ToText(Parsed("[" + std::string(json) + "]")[0], 0).c_str(), text);
  }
}

TEST(ConvertText, IntegersInDecimalDoublesWithPrecisionDecimalsTrueOrFalseAndStringsUpToANul) {
  const TextRow rows[] = {
      {"5", 3, "5"},
      {"-5", 0, "-5"},
      {"0", 2, "0"},
      {"2147483647", 0, "2147483647"},
      {"-2147483648", 0, "-2147483648"},
      {"4294967296", 0, ""},
      {"-2147483649", 0, ""},
      {"null", 0, ""},
      {"[1]", 0, ""},
      {"{\"a\":1}", 0, ""},
      {"3.14159", 2, "3.14"},
      {"3.14159", 0, "3.141590"},
      {"3.14159", -7, "3.141590"},
      {"3.14159", 1, "3.1"},
      {"3.14159", 10, "3.1415900000"},
      {"2.5", 1, "2.5"},
      {"0.125", 2, "0.12"},
      {"-0.0", 1, "-0.0"},
      {"1e20", 1, "100000000000000000000.0"},
      {"\"as it is\"", 1, "as it is"},
      {"\"\"", 1, ""},
      {"\"\\u5b8b\\u4f53\"", 1, "\xE5\xAE\x8B\xE4\xBD\x93"},
      {"\"cut\\u0000here\"", 1, "cut"},
      {"true", 4, "true"},
      {"false", 4, "false"},
  };
  for (const TextRow& row : rows) {
    SCOPED_TRACE(testing::Message() << row.json << " with " << row.precision);
    const Parsed parsed("[" + std::string(row.json) + "]");
    EXPECT_STREQ(Convert::ToText(parsed[0], row.precision).c_str(), row.text);
  }
}

TEST(ConvertText, FloatsPrintAsTheirDouble) {
  EXPECT_STREQ(Convert::ToText(FakeFloat(0.1f), 12).c_str(), "0.100000001490");
  EXPECT_STREQ(Convert::ToText(FakeFloat(0.1f), 0).c_str(), "0.100000");
}

TEST(ConvertText, NumbersWithoutDigitsTakeAnyPrecision) {
  for (const int precision : {0, 5, 63, 64, std::numeric_limits<int>::max()}) {
    EXPECT_STREQ(Convert::ToText(FakeDouble(HUGE_VAL), precision).c_str(), "inf");
    EXPECT_STREQ(Convert::ToText(FakeDouble(-HUGE_VAL), precision).c_str(), "-inf");
    EXPECT_STREQ(Convert::ToText(FakeDouble(std::fabs(kNan)), precision).c_str(), "nan");
  }
}

TEST(ConvertText, TextsOf63CharactersFit) {
  EXPECT_EQ(Convert::ToText(FakeDouble(9e55), 0).GetLength(), 63);
  EXPECT_EQ(Convert::ToText(FakeDouble(0.5), 61).GetLength(), 63);
  EXPECT_EQ(Convert::ToText(FakeDouble(-0.5), 60).GetLength(), 63);
}

TEST(ConvertTextDeathTest, LongerTextsEndTheProcess) {
  EXPECT_DEATH(Convert::ToText(FakeDouble(1e57), 0), "a text of 65 bytes does not fit a buffer of 64 bytes");
  EXPECT_DEATH(Convert::ToText(FakeDouble(1e56), 0), "a text of 64 bytes does not fit a buffer of 64 bytes");
  EXPECT_DEATH(Convert::ToText(FakeDouble(0.5), 62), "a text of 64 bytes does not fit a buffer of 64 bytes");
  EXPECT_DEATH(Convert::ToText(FakeDouble(0.5), 63), "does not fit a buffer of 64 bytes");
  EXPECT_DEATH(Convert::ToText(FakeDouble(0.5), 64), "a text of 66 bytes does not fit a buffer of 64 bytes");
  EXPECT_DEATH(Convert::ToText(FakeDouble(0.5), std::numeric_limits<int>::max()),
               "does not fit a buffer of 64 bytes");
  EXPECT_DEATH(Convert::ToText(FakeFloat(1e30f), 40), "does not fit a buffer of 64 bytes");
}

}  // namespace
