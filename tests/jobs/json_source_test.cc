// SPDX-License-Identifier: MIT
// JsonSource: where the values of a JSON text stand in it.
#include "jobs/json_source.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using jobs::Error;
using jobs::Input;
using jobs::JsonSource;
using jobs::TextPosition;

std::string PlaceOf(JsonSource& source, std::size_t offset) {
  const TextPosition position = source.PositionOf(offset);
  return std::to_string(position.line) + ":" + std::to_string(position.column);
}

std::string At(JsonSource& source, const std::string& pointer) {
  return PlaceOf(source, source.OffsetOf(pointer));
}

std::string AtName(JsonSource& source, const std::string& object, std::size_t member) {
  return PlaceOf(source, source.OffsetOfName(object, member));
}

TEST(JsonSource, EveryValueHasAPlace) {
  const std::string text =
      "\xEF\xBB\xBF [\n  {\"a\": 1, \"f\\u006Fnt\" : {\"x/y\": [true, {}, \"]}\\\"\"], \"~\": -1e5}},\r\n"
      "  [[2], {\"\u5B8B\": \"\u5B8B\u5B8B\", \"z\": null}]\n]";
  JsonSource source(Input::Memory(text, "text"));
  const struct {
    const char* pointer;
    const char* value;
  } rows[] = {
      {"", "1:2"},
      {"/0", "2:3"},
      {"/0/a", "2:9"},
      {"/0/font", "2:26"},
      {"/0/font/x~1y", "2:34"},
      {"/0/font/x~1y/0", "2:35"},
      {"/0/font/x~1y/1", "2:41"},
      {"/0/font/x~1y/2", "2:45"},
      {"/0/font/~0", "2:59"},
      {"/1", "3:3"},
      {"/1/0/0", "3:5"},
      {"/1/1/\u5B8B", "3:15"},
      {"/1/1/z", "3:26"},
      // What is not there is where its parent is.
      {"/2", "1:2"},
      {"/0/Font/x", "2:3"},
      {"/0/a/b", "2:9"},
      {"/x", "1:2"},
  };
  for (const auto& row : rows) EXPECT_EQ(At(source, row.pointer), row.value) << row.pointer;
  // In any order.
  for (std::size_t i = std::size(rows); i-- > 0;) {
    EXPECT_EQ(At(source, rows[i].pointer), rows[i].value) << rows[i].pointer;
  }
}

TEST(JsonSource, EveryNameHasAPlace) {
  const std::string text =
      "\xEF\xBB\xBF [\n  {\"a\": 1, \"f\\u006Fnt\" : {\"x/y\": [true, {}, \"]}\\\"\"], \"~\": -1e5}},\r\n"
      "  [[2], {\"\u5B8B\": \"\u5B8B\u5B8B\", \"z\": null}]\n]";
  JsonSource source(Input::Memory(text, "text"));
  EXPECT_EQ(AtName(source, "/0", 0), "2:4");
  EXPECT_EQ(AtName(source, "/0", 1), "2:12");
  EXPECT_EQ(AtName(source, "/0/font", 0), "2:27");
  EXPECT_EQ(AtName(source, "/0/font", 1), "2:54");
  EXPECT_EQ(AtName(source, "/1/1", 0), "3:10");
  EXPECT_EQ(AtName(source, "/1/1", 1), "3:21");
  // What is not there is where its object is.
  EXPECT_EQ(AtName(source, "/1/1", 2), "3:9");
  EXPECT_EQ(AtName(source, "/1", 0), "3:3");
  EXPECT_EQ(AtName(source, "/0/font/x~1y/1", 0), "2:41");
}

TEST(JsonSource, TheFirstOfTheSameNameCounts) {
  JsonSource source(Input::Memory(R"({"a": 1, "a": 2})", "text"));
  EXPECT_EQ(At(source, "/a"), "1:7");
  EXPECT_EQ(AtName(source, "", 0), "1:2");
  EXPECT_EQ(AtName(source, "", 1), "1:10");
}

// A pointer names them with U+FFFD, or not at all.
TEST(JsonSource, NamesThatAreNoTextHavePlaces) {
  JsonSource source(Input::Memory("{\"\xFF\xC3\": 1, \"a\\u0000b\": 2, \"\": 3, \"\xFF\xC3\": 4}", "text"));
  EXPECT_EQ(AtName(source, "", 0), "1:2");
  EXPECT_EQ(AtName(source, "", 1), "1:11");
  EXPECT_EQ(AtName(source, "", 2), "1:26");
  EXPECT_EQ(AtName(source, "", 3), "1:33");
}

// The value is that of a copy; its places are those of the text.
TEST(JsonSource, AValueThatWasReadHasThePlacesOfItsText) {
  const std::string text = R"({"out": "x", "draw": [{"a": 1}, 2]})";
  const auto value = tovkit::Json::Parse(R"([{"a": "filled"}, 2])", 20, nullptr);
  JsonSource source("job", text, "/draw", value);
  EXPECT_EQ(source.root()->Size(), 2U);
  EXPECT_EQ(At(source, ""), "1:22");
  EXPECT_EQ(At(source, "/0/a"), "1:29");
  EXPECT_EQ(AtName(source, "/0", 0), "1:24");
  EXPECT_STREQ(source.ErrorAt("/1", "wrong").what(), "job:1:33: wrong");
  EXPECT_THROW(JsonSource("job", text, "/out", value->GetAt(1)), Error);
}

TEST(JsonSource, AnErrorHasPlaceTextAndLine) {
  JsonSource source(Input::Memory("{\n  \"a\": 5}", "text"));
  const Error error = source.ErrorAt("/a", "wrong");
  EXPECT_STREQ(error.what(), "text:2:8: wrong");
  EXPECT_EQ(error.kind(), jobs::ErrorKind::kInput);
  ASSERT_TRUE(error.excerpt());
  EXPECT_EQ(error.excerpt()->line, "  \"a\": 5}");
  EXPECT_EQ(error.excerpt()->at, 7U);
}

TEST(JsonSource, MoreObjectsThanAreKeptHaveTheirPlaces) {
  std::string text = "[";
  for (int i = 0; i < 100; ++i) text += "{\"a\": 1},";
  text.back() = ']';
  JsonSource source(Input::Memory(text, "text"));
  for (int round = 0; round < 2; ++round) {
    for (int i = 0; i < 100; ++i) {
      EXPECT_EQ(At(source, "/" + std::to_string(i) + "/a"), "1:" + std::to_string(8 + 9 * i));
    }
  }
}

TEST(JsonSource, DepthIsNoLimit) {
  const std::string text = "[" + std::string(100000, '[') + std::string(100000, ']') + ", 7]";
  JsonSource source(Input::Memory(text, "text"));
  EXPECT_EQ(At(source, "/1"), "1:200004");
}

TEST(JsonSource, WhatIsNoJsonIsRefused) {
  EXPECT_THROW(JsonSource(Input::Memory("[1,", "text")), Error);
  EXPECT_THROW(JsonSource(Input::Memory("", "text")), Error);
}

}  // namespace
