// SPDX-License-Identifier: MIT
#include "parsed.h"

#include <tovkit/convert.h>

#include <gtest/gtest.h>

#include <limits>
#include <string>

using tovkit::Convert;
using tovkit::JsonValue;
using tovkit::SharedPtr;

namespace {

using Handle = SharedPtr<const JsonValue>;

// One conversion pair with an example whose fields are 1, 2, 3, ... in the order of declaration.
template <typename Record>
struct Pair {
  const char* name;
  SharedPtr<JsonValue> (*toJson)(const Record&);
  bool (*fromJson)(const Handle&, Record&);
  Record example;
  const char* json;
  Record missing;  // what an empty array becomes
};

const Pair<CoreMatrix> kMatrix = {"matrix",           Convert::MatrixToJson,       Convert::JsonToMatrix,
                                  {1, 2, 3, 4, 5, 6}, "[1.0,2.0,3.0,4.0,5.0,6.0]", {0, 0, 0, 0, 0, 0}};
const Pair<CoreRect> kRect = {"rect",       Convert::RectToJson, Convert::JsonToRect,
                              {1, 2, 3, 4}, "[1,2,3,4]",         {-1, -1, -1, -1}};
const Pair<CoreRectF> kRectF = {"rectf",      Convert::RectFToJson, Convert::JsonToRectF,
                                {1, 2, 3, 4}, "[1.0,2.0,3.0,4.0]",  {0, 0, 0, 0}};
const Pair<CorePoint> kPoint = {"point", Convert::PointToJson, Convert::JsonToPoint, {1, 2}, "[1,2]",
                                {-1, -1}};
const Pair<CorePointF> kPointF = {"pointf", Convert::PointFToJson, Convert::JsonToPointF,
                                  {1, 2},   "[1.0,2.0]",           {0, 0}};
const Pair<CoreSize> kSize = {"size", Convert::SizeToJson, Convert::JsonToSize, {1, 2}, "[1,2]", {-1, -1}};
const Pair<CoreSizeF> kSizeF = {"sizef", Convert::SizeFToJson, Convert::JsonToSizeF,
                                {1, 2},  "[1.0,2.0]",          {0, 0}};

template <typename Check>
void ForEveryPair(Check check) {
  const auto named = [&check](const auto& pair) {
    SCOPED_TRACE(pair.name);
    check(pair);
  };
  named(kMatrix);
  named(kRect);
  named(kRectF);
  named(kPoint);
  named(kPointF);
  named(kSize);
  named(kSizeF);
}

TEST(ConvertRecord, IsWrittenFieldByField) {
  ForEveryPair([](const auto& pair) { EXPECT_EQ(TextOf(pair.toJson(pair.example)), pair.json); });
}

TEST(ConvertRecord, IsReadFieldByField) {
  ForEveryPair([](const auto& pair) {
    auto record = pair.missing;
    EXPECT_TRUE(pair.fromJson(Parsed(pair.json).root(), record));
    EXPECT_TRUE(record == pair.example);
  });
}

TEST(ConvertRecord, MissingElementsGiveTheFallbackOfTheField) {
  ForEveryPair([](const auto& pair) {
    auto record = pair.example;
    EXPECT_TRUE(pair.fromJson(Parsed("[]").root(), record));
    EXPECT_TRUE(record == pair.missing);
  });
}

TEST(ConvertRecord, FurtherElementsAreIgnored) {
  ForEveryPair([](const auto& pair) {
    std::string longer = pair.json;
    longer.insert(longer.size() - 1, ",99,\"x\",{}");
    auto record = pair.missing;
    EXPECT_TRUE(pair.fromJson(Parsed(longer).root(), record));
    EXPECT_TRUE(record == pair.example);
  });
}

TEST(ConvertRecord, WhatIsNoArrayGivesFalseAndLeavesTheRecord) {
  ForEveryPair([](const auto& pair) {
    const Parsed values("[{\"x\": 1}, {}, \"[1,2]\", 1, 1.5, true, null, 5000000000]");
    for (int i = 0; i < 8; ++i) {
      auto record = pair.example;
      EXPECT_FALSE(pair.fromJson(values[i], record)) << i;
      EXPECT_TRUE(record == pair.example);
    }
    auto record = pair.example;
    EXPECT_FALSE(pair.fromJson(Handle(), record));
    EXPECT_TRUE(record == pair.example);
  });
}

TEST(ConvertRecord, ElementsOfOtherKindsAreCoerced) {
  CoreRect rect;
  EXPECT_TRUE(Convert::JsonToRect(Parsed("[\"12abc\", 2.9, true, null]").root(), rect));
  EXPECT_EQ(rect, (CoreRect{12, 2, 1, -1}));
  EXPECT_TRUE(Convert::JsonToRect(Parsed("[[7], {}, 5000000000, 1e20]").root(), rect));
  EXPECT_EQ(rect, (CoreRect{-1, -1, -1, std::numeric_limits<int>::min()}));
  CoreRectF rectF;
  EXPECT_TRUE(Convert::JsonToRectF(Parsed("[\"1e3\", 3000000000, true, null]").root(), rectF));
  EXPECT_EQ(rectF, (CoreRectF{1000, 3e9f, 1, 0}));
  EXPECT_TRUE(Convert::JsonToRectF(Parsed("[[7], {}, 5000000000, 1e300]").root(), rectF));
  EXPECT_EQ(rectF, (CoreRectF{0, 0, 0, std::numeric_limits<float>::infinity()}));
}

TEST(ConvertRecord, ExamplesOfEachKind) {
  CoreRect rect;
  EXPECT_TRUE(Convert::JsonToRect(Parsed("[1, 2]").root(), rect));
  EXPECT_EQ(rect, (CoreRect{1, 2, -1, -1}));
  CoreMatrix matrix;
  EXPECT_TRUE(Convert::JsonToMatrix(Parsed("[1, 0, 0, 1, 10, 20, 99]").root(), matrix));
  EXPECT_EQ(matrix, (CoreMatrix{1, 0, 0, 1, 10, 20}));
  CorePointF point{8, 9};
  EXPECT_FALSE(Convert::JsonToPointF(Parsed("{\"x\": 1}").root(), point));
  EXPECT_EQ(point, (CorePointF{8, 9}));
  EXPECT_EQ(TextOf(Convert::MatrixToJson(CoreMatrix())), "[1.0,0.0,0.0,1.0,0.0,0.0]");
}

TEST(ConvertRecord, FloatsAreWrittenAsTheDoubleOfTheSameValue) {
  EXPECT_EQ(TextOf(Convert::PointFToJson({0.1f, -2.5f})), "[0.10000000149011612,-2.5]");
}

TEST(ConvertRecord, ExtremeFieldsSurviveTheWayThereAndBack) {
  constexpr int kMin = std::numeric_limits<int>::min();
  constexpr int kMax = std::numeric_limits<int>::max();
  const CoreRect rect{kMin, kMax, -1, 0};
  CoreRect back;
  EXPECT_TRUE(Convert::JsonToRect(Convert::RectToJson(rect), back));
  EXPECT_EQ(back, rect);
  using Limits = std::numeric_limits<float>;
  const CoreMatrix matrix{Limits::max(), Limits::lowest(), Limits::min(), Limits::denorm_min(),
                          -0.0f,         1.0f / 3.0f};
  CoreMatrix matrixBack;
  const std::string text = TextOf(Convert::MatrixToJson(matrix));
  EXPECT_TRUE(Convert::JsonToMatrix(Parsed(text).root(), matrixBack)) << text;
  EXPECT_EQ(matrixBack, matrix);
}

}  // namespace
