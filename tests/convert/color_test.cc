// SPDX-License-Identifier: MIT
#include "fake_value.h"
#include "parsed.h"

#include <tovkit/convert.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

using tovkit::Convert;
using tovkit::JsonValue;
using tovkit::SharedPtr;

namespace {

using Handle = SharedPtr<const JsonValue>;
using PackFunction = bool (*)(const Handle&, unsigned&);
using UnpackFunction = SharedPtr<JsonValue> (*)(unsigned);

constexpr unsigned kUntouched = 0xDEADBEEF;

struct PackRow {
  const char* condition;
  PackFunction pack;
  const char* json;
  unsigned color;
};

const PackRow kPackRows[] = {
    {"red", Convert::ToRGB, "[255, 0, 0]", 0x000000FF},
    {"green", Convert::ToRGB, "[0, 255, 0]", 0x0000FF00},
    {"blue", Convert::ToRGB, "[0, 0, 255]", 0x00FF0000},
    {"missing components are -1", Convert::ToRGB, "[255]", 0xFFFFFFFF},
    {"one missing component", Convert::ToRGB, "[1, 2]", 0xFFFF0201},
    {"no component", Convert::ToRGB, "[]", 0xFFFFFFFF},
    {"above 255 reaches into the next byte", Convert::ToRGB, "[300, 0, 0]", 0x0000012C},
    {"above 255 in the last byte", Convert::ToRGB, "[0, 0, 300]", 0x012C0000},
    {"further elements are ignored", Convert::ToRGB, "[1, 2, 3, 4]", 0x00030201},
    {"components are coerced", Convert::ToRGB, "[\"16\", 2.9, true]", 0x00010210},
    {"null components are -1", Convert::ToRGB, "[0, 0, null]", 0xFFFF0000},
    {"64-bit components are -1", Convert::ToRGB, "[0, 0, 5000000000]", 0xFFFF0000},
    {"a double out of range", Convert::ToRGB, "[1e20, 0, 0]", 0x80000000},
    {"a double out of range is shifted out", Convert::ToRGB, "[0, 1e20, 0]", 0},
    {"a large unsigned", Convert::ToRGB, "[4294967295, 0, 0]", 0xFFFFFFFF},
    {"key", Convert::ToCMYK, "[0, 0, 0, 255]", 255},
    {"cyan", Convert::ToCMYK, "[255, 0, 0, 0]", 0xFF000000},
    {"all four", Convert::ToCMYK, "[1, 2, 3, 4]", 0x01020304},
    {"missing key", Convert::ToCMYK, "[1, 2, 3]", 0xFFFFFFFF},
    {"cyan above 255", Convert::ToCMYK, "[257, 0, 0, 0]", 0x01000000},
    {"negative magenta", Convert::ToCMYK, "[0, -1, 0, 0]", 0xFFFF0000},
    {"ARGB packs as CMYK", Convert::ToARGB, "[1, 2, 3, 4]", 0x01020304},
    {"ARGB without blue", Convert::ToARGB, "[1, 2, 3]", 0xFFFFFFFF},
    {"gray", Convert::ToGray, "[128]", 0x00808080},
    {"gray above 255", Convert::ToGray, "[511]", 511u | 511u << 8 | 511u << 16},
    {"gray below 0", Convert::ToGray, "[-2]", 0xFFFFFFFE},
    {"no gray", Convert::ToGray, "[]", 0xFFFFFFFF},
    {"gray ignores further elements", Convert::ToGray, "[1, 99]", 0x00010101},
};

TEST(ConvertPack, AComponentAbove255ReachesIntoTheNextByteAndAMissingOneIsMinus1) {
  for (const PackRow& row : kPackRows) {
    SCOPED_TRACE(row.condition);
    unsigned color = kUntouched;
    EXPECT_TRUE(row.pack(Parsed(row.json).root(), color));
    EXPECT_EQ(color, row.color);
  }
}

TEST(ConvertPack, ComponentsAreCombinedUnmasked) {
  struct Layout {
    PackFunction pack;
    std::vector<int> shifts;
  };
  const Layout layouts[] = {
      {Convert::ToRGB, {0, 8, 16}}, {Convert::ToCMYK, {24, 16, 8, 0}}, {Convert::ToARGB, {24, 16, 8, 0}}};
  std::mt19937 random(22);
  for (int round = 0; round < 3000; ++round) {
    const Layout& layout = layouts[round % 3];
    std::string text = "[";
    std::uint64_t expected = 0;
    for (std::size_t i = 0; i < layout.shifts.size(); ++i) {
      const int component = static_cast<int>(random()) >> (random() % 32);
      text += (i == 0 ? "" : ",") + std::to_string(component);
      expected |= static_cast<std::uint64_t>(static_cast<std::int64_t>(component)) << layout.shifts[i];
    }
    unsigned color = kUntouched;
    ASSERT_TRUE(layout.pack(Parsed(text + "]").root(), color));
    ASSERT_EQ(color, static_cast<std::uint32_t>(expected)) << text;
  }
}

TEST(ConvertPack, WhatIsNoArrayGivesFalseAndLeavesTheColor) {
  const Parsed values("[\"#FF0000\", 5, 2.5, true, null, {\"r\": 1}, {}]");
  for (const PackFunction pack : {Convert::ToGray, Convert::ToRGB, Convert::ToCMYK, Convert::ToARGB}) {
    for (int i = 0; i < 7; ++i) {
      unsigned color = kUntouched;
      EXPECT_FALSE(pack(values[i], color)) << i;
      EXPECT_EQ(color, kUntouched);
    }
    unsigned color = kUntouched;
    EXPECT_FALSE(pack(Handle(), color)) << "empty handle";
    EXPECT_EQ(color, kUntouched);
  }
}

TEST(ConvertColor, KindChoosesTheConversion) {
  const Parsed array("[1, 2, 3, 4]");
  for (unsigned kind = 0; kind < 300; ++kind) {
    SCOPED_TRACE(kind);
    CoreColorSpace space;
    space.kind = kind;
    const bool known = kind >= 1 && kind <= 3;
    const unsigned expected[] = {0, 0x00010101, 0x00030201, 0x01020304};
    unsigned color = kUntouched;
    EXPECT_EQ(Convert::ToColor(array.root(), space, color), known);
    EXPECT_EQ(color, known ? expected[kind] : kUntouched);

    const char* const texts[] = {"", "[4]", "[4,3,2]", "[1,2,3,4]"};
    EXPECT_EQ(TextOf(Convert::FromColor(space, 0x01020304)), known ? texts[kind] : "(empty handle)");
  }
}

TEST(ConvertColor, WhatIsNoArrayGivesFalseWhateverTheKind) {
  const Parsed values("[\"#FF0000\"]");
  for (const unsigned kind : {1u, 2u, 3u, 4u}) {
    CoreColorSpace space;
    space.kind = kind;
    unsigned color = kUntouched;
    EXPECT_FALSE(Convert::ToColor(values[0], space, color));
    EXPECT_FALSE(Convert::ToColor(Handle(), space, color));
    EXPECT_EQ(color, kUntouched);
  }
}

TEST(ConvertUnpack, GivesTheBytesInTheOrderOfTheSpace) {
  EXPECT_EQ(TextOf(Convert::FromRGB(0x00123456)), "[86,52,18]");
  EXPECT_EQ(TextOf(Convert::FromRGB(0xFF123456)), "[86,52,18]");
  EXPECT_EQ(TextOf(Convert::FromCMYK(0x01020304)), "[1,2,3,4]");
  EXPECT_EQ(TextOf(Convert::FromCMYK(0xFFFEFDFC)), "[255,254,253,252]");
  EXPECT_EQ(TextOf(Convert::FromARGB(0x01020304)), "[1,2,3,4]");
  EXPECT_EQ(TextOf(Convert::FromGray(0x00123456)), "[86]");
}

TEST(ConvertRoundTrip, EveryByteInEveryPlace) {
  struct Space {
    PackFunction pack;
    UnpackFunction unpack;
    int components;
  };
  const Space spaces[] = {{Convert::ToGray, Convert::FromGray, 1},
                          {Convert::ToRGB, Convert::FromRGB, 3},
                          {Convert::ToCMYK, Convert::FromCMYK, 4},
                          {Convert::ToARGB, Convert::FromARGB, 4}};
  for (const Space& space : spaces) {
    for (int place = 0; place < space.components; ++place) {
      for (int byte = 0; byte < 256; ++byte) {
        std::string text = "[";
        for (int i = 0; i < space.components; ++i) {
          text += (i == 0 ? "" : ",") + std::to_string(i == place ? byte : 10 * i + 7);
        }
        text += "]";
        unsigned color = kUntouched;
        ASSERT_TRUE(space.pack(Parsed(text).root(), color));
        ASSERT_EQ(TextOf(space.unpack(color)), text);
      }
    }
  }
}

}  // namespace
