// SPDX-License-Identifier: MIT
// Kinds, their names, and what each type accepts.
#include "typed_families.h"

#include <cfloat>
#include <climits>
#include <cmath>
#include <limits>
#include <optional>
#include <vector>

namespace {

using tovkit::JsonType;
using tovkit::JsonTypeName;
using tovkit::JsonValue;

TEST(JsonKind, EnumeratorsHaveTheirNumbers) {
  const JsonType kinds[] = {tovkit::JsonNull,    tovkit::JsonInt,   tovkit::JsonUint,   tovkit::JsonInt64,
                            tovkit::JsonUint64,  tovkit::JsonFloat, tovkit::JsonDouble, tovkit::JsonString,
                            tovkit::JsonBoolean, tovkit::JsonArray, tovkit::JsonObject};
  for (int i = 0; i < 11; ++i) EXPECT_EQ(kinds[i], i);
  static_assert(std::is_same_v<std::underlying_type_t<JsonType>, std::int32_t>);
}

TEST(JsonKind, OfParsedTexts) {
  const struct {
    const char* text;
    JsonType kind;
  } kTable[] = {
      {"null", tovkit::JsonNull},
      {"5", tovkit::JsonUint},
      {"0", tovkit::JsonUint},
      {"-5", tovkit::JsonInt},
      {"-0", tovkit::JsonUint},
      {"-1", tovkit::JsonInt},
      {"2147483647", tovkit::JsonUint},
      {"2147483648", tovkit::JsonUint},
      {"3000000000", tovkit::JsonUint},
      {"4294967295", tovkit::JsonUint},
      {"4294967296", tovkit::JsonUint64},
      {"10000000000", tovkit::JsonUint64},
      {"9223372036854775807", tovkit::JsonUint64},
      {"9223372036854775808", tovkit::JsonUint64},
      {"18446744073709551615", tovkit::JsonUint64},
      {"18446744073709551616", tovkit::JsonDouble},
      {"-2147483648", tovkit::JsonInt},
      {"-2147483649", tovkit::JsonInt64},
      {"-3000000000", tovkit::JsonInt64},
      {"-9223372036854775808", tovkit::JsonInt64},
      {"-9223372036854775809", tovkit::JsonDouble},
      {"1.5", tovkit::JsonDouble},
      {"1.0", tovkit::JsonDouble},
      {"0.0", tovkit::JsonDouble},
      {"-0.0", tovkit::JsonDouble},
      {"1e2", tovkit::JsonDouble},
      {"1E+2", tovkit::JsonDouble},
      {"\"\"", tovkit::JsonString},
      {"\"5\"", tovkit::JsonString},
      {"true", tovkit::JsonBoolean},
      {"false", tovkit::JsonBoolean},
      {"[]", tovkit::JsonArray},
      {"{}", tovkit::JsonObject},
  };
  for (const auto& row : kTable) EXPECT_EQ(Element(row.text)->GetType(), row.kind) << row.text;
  EXPECT_EQ(Parse("[]")->GetType(), tovkit::JsonArray);
  EXPECT_EQ(Parse("{}")->GetType(), tovkit::JsonObject);
}

TEST(JsonKind, OfStoredDoublesIsAlwaysDouble) {
  Handle array = Parse("[]");
  for (const double value : {0.0, 1.0, -1.0, 1e300, DBL_MAX, static_cast<double>(NAN), HUGE_VAL, -HUGE_VAL}) {
    array->InsertDouble(0, value);
    array->InsertFloat(0, static_cast<float>(value > FLT_MAX ? 1.0 : value));
    EXPECT_EQ(array->GetAt(0)->GetType(), tovkit::JsonDouble) << value;
    EXPECT_EQ(array->GetAt(1)->GetType(), tovkit::JsonDouble) << value;
  }
}

TEST(JsonTypeNames, AreNineNamesIndexedByElevenKinds) {
  const char* const kNames[] = {"null",   "int",     "uint",  "float", "double",
                                "string", "boolean", "array", "object"};
  for (int i = 0; i < 9; ++i) EXPECT_STREQ(JsonTypeName(static_cast<JsonType>(i)), kNames[i]) << i;
  EXPECT_EQ(JsonTypeName(tovkit::JsonArray), nullptr);
  EXPECT_EQ(JsonTypeName(tovkit::JsonObject), nullptr);
}

TEST(JsonTypeNames, AreMisalignedWithTheKinds) {
  EXPECT_STREQ(JsonTypeName(tovkit::JsonInt64), "float");
  EXPECT_STREQ(JsonTypeName(tovkit::JsonUint64), "double");
  EXPECT_STREQ(JsonTypeName(tovkit::JsonFloat), "string");
  EXPECT_STREQ(JsonTypeName(tovkit::JsonDouble), "boolean");
  EXPECT_STREQ(JsonTypeName(tovkit::JsonString), "array");
  EXPECT_STREQ(JsonTypeName(tovkit::JsonBoolean), "object");
}

TEST(JsonTypeNames, OfEveryOtherNumberAreUnknown) {
  for (const int number : {11, 12, 255, 256, 65536, INT_MAX, -1, -2, -11, INT_MIN}) {
    EXPECT_STREQ(JsonTypeName(static_cast<JsonType>(number)), "unknown") << number;
  }
}

// What each type reads from one stored value; nothing where it is refused.
struct Row {
  const char* text;
  std::optional<std::int32_t> asInt;
  std::optional<std::uint32_t> asUint;
  std::optional<std::int64_t> asInt64;
  std::optional<std::uint64_t> asUint64;
  std::optional<const char*> asString;
  std::optional<bool> asBool;
  std::optional<float> asFloat;
  std::optional<double> asDouble;

  template <typename T>
  std::optional<T> Expected() const {
    return std::get<const std::optional<T>&>(
        std::tie(asInt, asUint, asInt64, asUint64, asString, asBool, asFloat, asDouble));
  }
};

constexpr std::nullopt_t kNo = std::nullopt;
constexpr std::int64_t kMin64 = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kMax64 = std::numeric_limits<std::int64_t>::max();

const Row kAcceptance[] = {
    {"null", kNo, kNo, kNo, kNo, kNo, kNo, kNo, kNo},
    {"true", kNo, kNo, kNo, kNo, kNo, true, kNo, kNo},
    {"false", kNo, kNo, kNo, kNo, kNo, false, kNo, kNo},
    {"[]", kNo, kNo, kNo, kNo, kNo, kNo, kNo, kNo},
    {"{}", kNo, kNo, kNo, kNo, kNo, kNo, kNo, kNo},
    {"\"\"", kNo, kNo, kNo, kNo, "", kNo, kNo, kNo},
    {"\"7\"", kNo, kNo, kNo, kNo, "7", kNo, kNo, kNo},
    {"\"true\"", kNo, kNo, kNo, kNo, "true", kNo, kNo, kNo},
    {"\"longer than what is kept within a value\"", kNo, kNo, kNo, kNo,
     "longer than what is kept within a value", kNo, kNo, kNo},
    {"0", 0, 0U, 0, 0U, kNo, kNo, 0.0F, 0.0},
    {"-0", 0, 0U, 0, 0U, kNo, kNo, 0.0F, 0.0},
    {"1", 1, 1U, 1, 1U, kNo, kNo, 1.0F, 1.0},
    {"-1", -1, 4294967295U, -1, 18446744073709551615U, kNo, kNo, -1.0F, -1.0},
    {"16777217", 16777217, 16777217U, 16777217, 16777217U, kNo, kNo, 16777216.0F, 16777217.0},
    {"2147483647", INT_MAX, 2147483647U, INT_MAX, 2147483647U, kNo, kNo, 2147483648.0F, 2147483647.0},
    {"2147483648", kNo, 2147483648U, 2147483648, 2147483648U, kNo, kNo, kNo, kNo},
    {"3000000000", kNo, 3000000000U, 3000000000, 3000000000U, kNo, kNo, kNo, kNo},
    {"4294967295", kNo, 4294967295U, 4294967295, 4294967295U, kNo, kNo, kNo, kNo},
    {"4294967296", kNo, kNo, 4294967296, 4294967296U, kNo, kNo, kNo, kNo},
    {"10000000000", kNo, kNo, 10000000000, 10000000000U, kNo, kNo, kNo, kNo},
    {"9223372036854775807", kNo, kNo, kMax64, 9223372036854775807U, kNo, kNo, kNo, kNo},
    {"9223372036854775808", kNo, kNo, kNo, 9223372036854775808U, kNo, kNo, kNo, kNo},
    {"18446744073709551615", kNo, kNo, kNo, 18446744073709551615U, kNo, kNo, kNo, kNo},
    {"18446744073709551616", kNo, kNo, kNo, kNo, kNo, kNo, 18446744073709551616.0F, 18446744073709551616.0},
    {"-2147483648", INT_MIN, 2147483648U, INT_MIN, 18446744071562067968U, kNo, kNo, -2147483648.0F,
     -2147483648.0},
    {"-2147483649", kNo, kNo, -2147483649, 18446744071562067967U, kNo, kNo, kNo, kNo},
    {"-3000000000", kNo, kNo, -3000000000, 18446744070709551616U, kNo, kNo, kNo, kNo},
    {"-9223372036854775808", kNo, kNo, kMin64, 9223372036854775808U, kNo, kNo, kNo, kNo},
    {"-9223372036854775809", kNo, kNo, kNo, kNo, kNo, kNo, -9223372036854775808.0F, -9223372036854775808.0},
    {"1.0", kNo, kNo, kNo, kNo, kNo, kNo, 1.0F, 1.0},
    {"1e0", kNo, kNo, kNo, kNo, kNo, kNo, 1.0F, 1.0},
    {"-0.0", kNo, kNo, kNo, kNo, kNo, kNo, -0.0F, -0.0},
    {"0.1", kNo, kNo, kNo, kNo, kNo, kNo, 0.1F, 0.1},
    {"3.4028234e38", kNo, kNo, kNo, kNo, kNo, kNo, static_cast<float>(3.4028234e38), 3.4028234e38},
    {"-3.4028234e38", kNo, kNo, kNo, kNo, kNo, kNo, static_cast<float>(-3.4028234e38), -3.4028234e38},
    {"4e38", kNo, kNo, kNo, kNo, kNo, kNo, kNo, 4e38},
    {"-4e38", kNo, kNo, kNo, kNo, kNo, kNo, kNo, -4e38},
    {"1e300", kNo, kNo, kNo, kNo, kNo, kNo, kNo, 1e300},
    {"-1e300", kNo, kNo, kNo, kNo, kNo, kNo, kNo, -1e300},
    {"1e-300", kNo, kNo, kNo, kNo, kNo, kNo, 0.0F, 1e-300},
};

// Calls check(family, what it is to read, the value, an object that has it as "key", an array that has it).
template <typename Check>
void ForEveryRowAndFamily(Check check) {
  for (const Row& row : kAcceptance) {
    SCOPED_TRACE(row.text);
    const Handle array = Parse(std::string("[") + row.text + "]");
    const Handle object = Parse(std::string("{\"key\": ") + row.text + "}");
    const Handle value = array->GetAt(0);
    ForEachFamily([&](const auto& family) {
      using T = typename std::decay_t<decltype(family)>::T;
      SCOPED_TRACE(family.name);
      check(family, row.Expected<T>(), *value, *object, *array);
    });
  }
}

TEST(JsonAcceptance, ATypedReadIsTrueAndOutWrittenWhenTheTypeAcceptsTheValueElseFalseAndOutUntouched) {
  ForEveryRowAndFamily([](const auto& family, const auto& expected, const JsonValue& value, const JsonValue&,
                          const JsonValue&) {
    using T = typename std::decay_t<decltype(family)>::T;
    T out = Sample<T>::Second();
    EXPECT_EQ((value.*family.get)(out), expected.has_value());
    EXPECT_EQ(Shown(out), Shown(expected.value_or(Sample<T>::Second())));
  });
}

TEST(JsonAcceptance, AsIsTheValueOr0FalseOrTheEmptyTextWhenTheTypeDoesNotAcceptItAndOkTellsWhich) {
  ForEveryRowAndFamily([](const auto& family, const auto& expected, const JsonValue& value, const JsonValue&,
                          const JsonValue&) {
    using T = typename std::decay_t<decltype(family)>::T;
    T nothing{};
    if constexpr (std::is_same_v<T, const char*>) nothing = "";
    bool ok = !expected.has_value();
    EXPECT_EQ(Shown((value.*family.as)(&ok)), Shown(expected.value_or(nothing)));
    EXPECT_EQ(ok, expected.has_value());
    EXPECT_EQ(Shown((value.*family.as)(nullptr)), Shown(expected.value_or(nothing)));
  });
}

TEST(JsonAcceptance, AMemberOrElementIsTheFallbackWhenThereIsNoneOrTheTypeDoesNotAcceptIt) {
  ForEveryRowAndFamily([](const auto& family, const auto& expected, const JsonValue&, const JsonValue& object,
                          const JsonValue& array) {
    using T = typename std::decay_t<decltype(family)>::T;
    const T fallback = Sample<T>::Second();
    EXPECT_EQ(Shown((object.*family.getMember)("key", fallback)), Shown(expected.value_or(fallback)));
    EXPECT_EQ(Shown((object.*family.getMember)("none", fallback)), Shown(fallback));
    EXPECT_EQ(Shown((array.*family.getAt)(0, fallback)), Shown(expected.value_or(fallback)));
    EXPECT_EQ(Shown((array.*family.getAt)(1, fallback)), Shown(fallback));
  });
}

TEST(JsonAcceptance, ANumberWrittenWithAFractionOrAnExponentIsADoubleAndNoIntegerReadAcceptsIt) {
  for (const char* const text : {"1.0", "0.0", "-1.5", "1e0", "1E2", "2e-1", "10.0e1"}) {
    const Element number(text);
    std::int32_t asInt = 0;
    std::uint32_t asUint = 0;
    std::int64_t asInt64 = 0;
    std::uint64_t asUint64 = 0;
    EXPECT_EQ(number->GetType(), tovkit::JsonDouble) << text;
    EXPECT_FALSE(number->GetInt(asInt) || number->GetUint(asUint)) << text;
    EXPECT_FALSE(number->GetInt64(asInt64) || number->GetUint64(asUint64)) << text;
  }
}

TEST(JsonAcceptance, AnIntegerOutside32SignedBitsIsRefusedByFloatAndDouble) {
  for (const char* const text : {"2147483648", "4294967295", "4294967296", "-2147483649"}) {
    float asFloat = 0;
    double asDouble = 0;
    EXPECT_FALSE(Element(text)->GetFloat(asFloat) || Element(text)->GetDouble(asDouble)) << text;
  }
  for (const char* const text : {"2147483647", "-2147483648"}) {
    float asFloat = 0;
    double asDouble = 0;
    EXPECT_TRUE(Element(text)->GetFloat(asFloat) && Element(text)->GetDouble(asDouble)) << text;
  }
}

TEST(JsonAcceptance, OfNumbersThatNoTextHolds) {
  Handle array = Parse("[0]");
  float asFloat = 7;
  double asDouble = 7;
  array->SetAtDouble(0, NAN);
  EXPECT_FALSE(array->GetAt(0)->GetFloat(asFloat));
  EXPECT_EQ(asFloat, 7);
  EXPECT_TRUE(array->GetAt(0)->GetDouble(asDouble));
  EXPECT_TRUE(std::isnan(asDouble));
  for (const double infinite : {HUGE_VAL, -HUGE_VAL}) {
    array->SetAtDouble(0, infinite);
    EXPECT_FALSE(array->GetAt(0)->GetFloat(asFloat));
    EXPECT_TRUE(array->GetAt(0)->GetDouble(asDouble));
    EXPECT_EQ(asDouble, infinite);
  }
  // The largest float is stored, written, and refused by the read of its own type.
  array->SetAtFloat(0, FLT_MAX);
  EXPECT_FALSE(array->GetAt(0)->GetFloat(asFloat));
  EXPECT_EQ(array->GetAtDouble(0, 0), static_cast<double>(FLT_MAX));
  array->SetAtFloat(0, std::nextafter(FLT_MAX, 0.0F));
  EXPECT_TRUE(array->GetAt(0)->GetFloat(asFloat));
}

TEST(JsonAcceptance, StringsKeepTheirNulAndEndThereForC) {
  const Element value("\"a\\u0000b\"");
  const char* text = nullptr;
  ASSERT_TRUE(value->GetString(text));
  EXPECT_EQ(std::string(text, 4), std::string("a\0b\0", 4));
  EXPECT_EQ(Text(value.value), "\"a\\u0000b\"");
}

TEST(JsonAcceptance, StringPointsIntoTheDocument) {
  const Element value("\"text that is long enough to be in the pool\"");
  EXPECT_EQ(static_cast<const void*>(value->AsString(nullptr)),
            static_cast<const void*>(value.root->GetAtString(0, "")));
}

TEST(JsonAcceptance, AsStringOfANumberIsEmptyAndNotOk) {
  bool ok = true;
  EXPECT_STREQ(Element("5")->AsString(&ok), "");
  EXPECT_FALSE(ok);
}

TEST(JsonAcceptance, FallbackMayBeNull) {
  const Handle object = Parse("{\"a\": 1}");
  EXPECT_EQ(object->GetMemberString("a", nullptr), nullptr);
  EXPECT_EQ(object->GetMemberString("b", nullptr), nullptr);
  EXPECT_EQ(Parse("[1]")->GetAtString(0, nullptr), nullptr);
}

// What an integer setter stores is of the kind that its value has, whatever the setter's type.
TEST(JsonKind, OfStoredIntegersFollowsTheValue) {
  Handle array = Parse("[null]");
  const struct {
    bool stored;
    JsonType kind;
    const char* text;
  } kTable[] = {
      {array->InsertInt(-1, 5), tovkit::JsonUint, "5"},
      {array->InsertInt(-1, -5), tovkit::JsonInt, "-5"},
      {array->InsertInt(-1, INT_MIN), tovkit::JsonInt, "-2147483648"},
      {array->InsertInt(-1, INT_MAX), tovkit::JsonUint, "2147483647"},
      {array->InsertUint(-1, 0), tovkit::JsonUint, "0"},
      {array->InsertUint(-1, UINT_MAX), tovkit::JsonUint, "4294967295"},
      {array->InsertInt64(-1, 5), tovkit::JsonUint, "5"},
      {array->InsertInt64(-1, -5), tovkit::JsonInt, "-5"},
      {array->InsertInt64(-1, 4294967295), tovkit::JsonUint, "4294967295"},
      {array->InsertInt64(-1, 4294967296), tovkit::JsonUint64, "4294967296"},
      {array->InsertInt64(-1, -2147483649), tovkit::JsonInt64, "-2147483649"},
      {array->InsertInt64(-1, kMin64), tovkit::JsonInt64, "-9223372036854775808"},
      {array->InsertInt64(-1, kMax64), tovkit::JsonUint64, "9223372036854775807"},
      {array->InsertUint64(-1, 5), tovkit::JsonUint, "5"},
      {array->InsertUint64(-1, 4294967296), tovkit::JsonUint64, "4294967296"},
      {array->InsertUint64(-1, UINT64_MAX), tovkit::JsonUint64, "18446744073709551615"},
  };
  int index = 0;
  for (const auto& row : kTable) {
    const Handle value = array->GetAt(++index);
    EXPECT_TRUE(row.stored);
    EXPECT_EQ(value->GetType(), row.kind) << row.text;
    EXPECT_EQ(Text(value), row.text);
  }
  // A stored integer is read by every type that its value fits.
  EXPECT_EQ(array->GetAtInt(7, 0), 5);
  EXPECT_EQ(array->GetAtUint(9, 0), 4294967295U);
  EXPECT_EQ(array->GetAtDouble(14, 0), 5.0);
  EXPECT_EQ(array->GetAtInt64(13, 0), kMax64);
  EXPECT_EQ(array->GetAtUint64(13, 0), static_cast<std::uint64_t>(kMax64));
}

}  // namespace
