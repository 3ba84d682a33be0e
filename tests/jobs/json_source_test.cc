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

std::string At(JsonSource& source, const std::string& pointer, bool atName = false) {
  const TextPosition position = source.PositionOf(source.OffsetOf(pointer, atName));
  return std::to_string(position.line) + ":" + std::to_string(position.column);
}

TEST(JsonSource, EveryValueHasAPlace) {
  const std::string text =
      "\xEF\xBB\xBF [\n  {\"a\": 1, \"f\\u006Fnt\" : {\"x/y\": [true, {}, \"]}\\\"\"], \"~\": -1e5}},\r\n"
      "  [[2], {\"\u5B8B\": \"\u5B8B\u5B8B\", \"z\": null}]\n]";
  JsonSource source(Input::Memory(text, "text"));
  const struct {
    const char* pointer;
    const char* value;
    const char* name;
  } rows[] = {
      {"", "1:2", "1:2"},
      {"/0", "2:3", "2:3"},
      {"/0/a", "2:9", "2:4"},
      {"/0/font", "2:26", "2:12"},
      {"/0/font/x~1y", "2:34", "2:27"},
      {"/0/font/x~1y/0", "2:35", "2:35"},
      {"/0/font/x~1y/1", "2:41", "2:41"},
      {"/0/font/x~1y/2", "2:45", "2:45"},
      {"/0/font/~0", "2:59", "2:54"},
      {"/1", "3:3", "3:3"},
      {"/1/0/0", "3:5", "3:5"},
      {"/1/1/\u5B8B", "3:15", "3:10"},
      {"/1/1/z", "3:26", "3:21"},
      // What is not there is where its parent is.
      {"/2", "1:2", "1:2"},
      {"/0/Font/x", "2:3", "2:3"},
      {"/0/a/b", "2:9", "2:9"},
      {"/x", "1:2", "1:2"},
  };
  for (const auto& row : rows) EXPECT_EQ(At(source, row.pointer), row.value) << row.pointer;
  // In any order.
  for (std::size_t i = std::size(rows); i-- > 0;) {
    EXPECT_EQ(At(source, rows[i].pointer, true), rows[i].name) << rows[i].pointer;
  }
}

TEST(JsonSource, TheFirstOfTheSameNameCounts) {
  JsonSource source(Input::Memory(R"({"a": 1, "a": 2})", "text"));
  EXPECT_EQ(At(source, "/a"), "1:7");
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
