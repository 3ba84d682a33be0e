// SPDX-License-Identifier: MIT
// Values as bytes, and the texts of values, beside RapidJSON's own.
#include "value_layout.h"

#include "double_writer.h"
#include "plain_rapidjson.h"
#include "tree.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>

namespace tovkit {
namespace {

TEST(ValueLayout, AShortStringIsAsRapidjsonMakesIt) {
  DocumentPool pool;
  for (unsigned length = 0; length <= kShortStringMost; ++length) {
    const std::string text = std::string(
        "a\0\xff"
        "d\\\"ghijklmnop",
        16);
    const Value expected(text.data(), length, pool);
    Value value;
    StoreShortString(&value, LoadBytes(text.data()), length);
    EXPECT_TRUE(SameBits(value, expected)) << length;
    EXPECT_EQ(ShortLength(value), length);
  }
  EXPECT_GT(ShortLength(Value("fourteen bytes", pool)), kShortStringMost);
  EXPECT_GT(ShortLength(Value(rapidjson::StringRef("short"))), kShortStringMost) << "its bytes are elsewhere";
}

TEST(ValueLayout, PointersAreAsRapidjsonMakesThem) {
  DocumentPool pool;
  const Value expected("a string of more bytes", pool);
  Value value;
  StorePointer(&value, expected.GetStringLength(), 0, expected.GetString(), kLongStringFlags);
  // The bytes themselves are what is looked at.  NOLINTNEXTLINE(bugprone-suspicious-memory-comparison)
  EXPECT_EQ(std::memcmp(&value, &expected, sizeof value), 0);
  for (const char* const text : {"[]", "[1,2,3]", "{}", "{\"a\":1,\"b\":2}"}) {
    const PlainRead plain(text);
    const Value& container = *plain.document;
    const auto size = container.IsObject() ? container.MemberCount() : container.Size();
    StorePointer(&value, size, size, FirstSlot(container), container.IsObject() ? kObjectFlags : kArrayFlags);
    // NOLINTNEXTLINE(bugprone-suspicious-memory-comparison)
    EXPECT_EQ(std::memcmp(&value, &container, sizeof value), 0) << text;
    EXPECT_EQ(CountSlots(value), container.IsObject() ? 2U * size : size) << text;
  }
}

std::string Written(double number) {
  char text[kDoubleRoom];
  return std::string(text, WriteDouble(number, text));
}

void ExpectPlainDouble(double number) {
  ASSERT_EQ(Written(number), PlainWrite(Value(number))) << std::bit_cast<std::uint64_t>(number);
}

TEST(DoubleWriter, WritesAsRapidjsonDoes) {
  for (const double number : {0.0,
                              -0.0,
                              1.0,
                              -1.0,
                              0.1,
                              24.5,
                              1e21,
                              1e22,
                              123456789012345680000.0,
                              0.000001,
                              0.0000001,
                              1.5e-7,
                              5e-324,
                              1.7976931348623157e308,
                              2.2250738585072014e-308,
                              9007199254740993.0,
                              4294967296.5,
                              1e300,
                              1.0 / 3,
                              2.0 / 3,
                              65.613616999999977,
                              3.4028234663852886e38}) {
    ExpectPlainDouble(number);
    ExpectPlainDouble(-number);
  }
  for (int exponent = -1074; exponent <= 1023; ++exponent) {
    const double power = std::ldexp(1.0, exponent);
    ExpectPlainDouble(power);
    ExpectPlainDouble(std::nextafter(power, 0));
    ExpectPlainDouble(std::nextafter(power, std::numeric_limits<double>::infinity()));
  }
  for (int exponent = -323; exponent <= 308; ++exponent) {
    ExpectPlainDouble(std::strtod(("1e" + std::to_string(exponent)).c_str(), nullptr));
    ExpectPlainDouble(std::strtod(("1.2345678e" + std::to_string(exponent)).c_str(), nullptr));
  }
}

TEST(DoubleWriter, WritesRandomDoublesAsRapidjsonDoes) {
  std::mt19937_64 random(23);
  for (int round = 0; round < 1000000; ++round) {
    const auto any = std::bit_cast<double>(random());
    if (std::isfinite(any)) ExpectPlainDouble(any);
    ExpectPlainDouble(std::ldexp(static_cast<double>(random() >> 11), -static_cast<int>(random() % 90)));
    // Few digits, as people write them.
    ExpectPlainDouble(static_cast<double>(random() % 1000000000) /
                      std::pow(10.0, static_cast<double>(random() % 12)));
    ExpectPlainDouble(static_cast<float>(random() % 100000) / 1000.0F);
  }
}

std::string TreeText(const Value& value) {
  const CoreString text = WriteTree(value);
  return std::string(text.c_str(), static_cast<std::size_t>(text.GetLength()));
}

TEST(TreeWriter, StringsOfEveryLengthWithWhatNeedsAnEscapeAtEachPlace) {
  DocumentPool pool;
  for (unsigned length = 0; length <= 70; ++length) {
    for (unsigned at = 0; at <= length; ++at) {
      for (const char c : {'"', '\\', '\n', '\x01', '\x1f', '\0', '\x7f', '\xff', '/'}) {
        std::string text(length, 'p');
        if (at < length) text[at] = c;
        if (at + 20 < length) text[at + 20] = '\t';
        const Value value(text.data(), length, pool);
        ASSERT_EQ(TreeText(value), PlainWrite(value));
      }
    }
  }
  std::string every;
  for (int c = 0; c < 256; ++c) every += static_cast<char>(c);
  const Value value(every.data(), 256, pool);
  EXPECT_EQ(TreeText(value), PlainWrite(value));
  const std::string controls(100000, '\x02');
  const Value longest(controls.data(), 100000, pool);
  EXPECT_EQ(TreeText(longest), PlainWrite(longest));
}

TEST(TreeWriter, IntegersOfEveryLength) {
  for (int bits = 0; bits < 64; ++bits) {
    const std::uint64_t power = std::uint64_t{1} << bits;
    for (const std::uint64_t number : {power - 1, power, power + 1}) {
      EXPECT_EQ(TreeText(Value(number)), std::to_string(number));
      const auto negative = static_cast<std::int64_t>(~number + 1);
      EXPECT_EQ(TreeText(Value(negative)), std::to_string(negative));
      EXPECT_EQ(TreeText(Value(static_cast<std::int32_t>(number))),
                std::to_string(static_cast<std::int32_t>(number)));
    }
  }
}

TEST(TreeWriter, StopsWhereADoubleCannotBeWritten) {
  const double infinity = std::numeric_limits<double>::infinity();
  for (const char* const before : {"[]", "[1]", "[\"a\",[]]", "[[{}],2.5]"}) {
    for (const double number : {infinity, -infinity, std::numeric_limits<double>::quiet_NaN()}) {
      const PlainRead plain(before);
      Document& root = *plain.document;
      Value holder(rapidjson::kObjectType);
      Value inner(number);
      holder.AddMember(Value("name", root.GetAllocator()).Move(), inner, root.GetAllocator());
      root.PushBack(holder, root.GetAllocator());
      root.PushBack(Value(5), root.GetAllocator());
      EXPECT_EQ(TreeText(root), PlainWrite(root)) << before;
      EXPECT_EQ(TreeText(Value(number)), "");
    }
  }
}

TEST(TreeCopy, IsTheSameToTheBitAndPacked) {
  const PlainRead plain(
      "{\"a\":[1,-2,3.5,\"short\",\"a string of more bytes\",true,null,{},[]],\"a\":{\"b\":[[]]}}");
  DocumentPool pool;
  const Value copy = CopyTree(*plain.document, pool);
  EXPECT_TRUE(SameBits(copy, *plain.document));
  EXPECT_EQ(pool.Size(), plain.document->GetAllocator().Size());
}

}  // namespace
}  // namespace tovkit
