// SPDX-License-Identifier: MIT
// Wrappers without a node. No exported call makes one, so the library's own sources are linked in.
#include "rapidjson_wrapper.h"

#include <gtest/gtest.h>

#include <string>

namespace tovkit {
namespace {

SharedPtr<JsonValue> Parsed(const std::string& text) {
  return Json::Parse(text.data(), static_cast<unsigned>(text.size()), nullptr);
}

TEST(Nodeless, ReadsAsNothing) {
  const RapidjsonWrapper nothing;
  EXPECT_EQ(nothing.GetType(), JsonNull);
  EXPECT_EQ(nothing.Size(), 0xffffffffu);
  EXPECT_EQ(nothing.ToString().GetLength(), 0);
  EXPECT_FALSE(nothing.Clone());
  EXPECT_FALSE(nothing.GetMember("a"));
  EXPECT_FALSE(nothing.GetAt(0));
  bool ok = true;
  EXPECT_EQ(nothing.AsInt(&ok), 0);
  EXPECT_FALSE(ok);
}

TEST(Nodeless, TakesNothing) {
  RapidjsonWrapper nothing;
  nothing.SetMemberInt("a", 1);
  EXPECT_FALSE(nothing.AddArrayMember("a"));
  EXPECT_FALSE(nothing.InsertInt(0, 1));
  EXPECT_FALSE(nothing.InsertObject(0));
  EXPECT_FALSE(nothing.SetAtInt(0, 1));
  EXPECT_EQ(nothing.GetType(), JsonNull);
}

TEST(Nodeless, AssignMakesANodeOfItsOwn) {
  RapidjsonWrapper target;
  {
    const SharedPtr<JsonValue> source = Parsed(R"({"a":[1,"two"]})");
    ASSERT_TRUE(target.Assign(source));
  }
  EXPECT_STREQ(target.ToString().c_str(), R"({"a":[1,"two"]})");
  ASSERT_TRUE(target.Assign(Parsed("[3]")));
  EXPECT_STREQ(target.ToString().c_str(), "[3]");
}

TEST(Nodeless, ANodelessSourceIsRefused) {
  const SharedPtr<JsonValue> nothing(static_cast<JsonValue*>(new RapidjsonWrapper));
  const SharedPtr<JsonValue> target = Parsed("[1]");
  EXPECT_FALSE(target->Assign(nothing));
  EXPECT_FALSE(target->SetAt(0, nothing));
  EXPECT_FALSE(target->Insert(0, nothing));
  const SharedPtr<JsonValue> object = Parsed("{}");
  object->SetMember("a", nothing);
  EXPECT_EQ(object->Size(), 0u);
  EXPECT_STREQ(target->ToString().c_str(), "[1]");
}

}  // namespace
}  // namespace tovkit
