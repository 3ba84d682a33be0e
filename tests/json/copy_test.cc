// SPDX-License-Identifier: MIT
// Clone and Assign.
#include "json_support.h"

#include <cstring>
#include <memory>
#include <string>

namespace {

constexpr char kSample[] =
    "{\"a\":[1,-2,3000000000,10000000000,-3000000000,1.5,\"short\","
    "\"a text that is too long to be kept within a value\",true,false,null,{},[]],"
    "\"a key that is too long to be kept within a value\":{\"x\":\"nul \\u0000 inside\"},\"a\":0}";

TEST(JsonClone, HoldsTheSameValues) {
  for (const char* const text : {"{}", "[]", "[[[]]]", kSample}) {
    EXPECT_EQ(Text(Parse(text)->Clone()), text);
  }
  for (const char* const text : {"null", "5", "-5", "10000000000", "1.5", "true", "false", "\"s\"", "\"\"",
                                 "\"a text that is too long to be kept within a value\""}) {
    const Element value(text);
    const Handle clone = value->Clone();
    EXPECT_EQ(Text(clone), text);
    EXPECT_EQ(clone->GetType(), value->GetType()) << text;
  }
}

TEST(JsonClone, OutlivesItsSource) {
  Handle clone;
  Handle part;
  {
    const Handle source = Parse(kSample);
    clone = source->Clone();
    part = source->GetMember("a")->Clone();
  }
  EXPECT_EQ(Text(clone), kSample);
  EXPECT_EQ(part->Size(), 13U);
  EXPECT_EQ(clone.UseCount(), 1);
}

TEST(JsonClone, IsIndependentBothWays) {
  Handle source = Parse("{\"a\": [1], \"s\": \"text\"}");
  Handle clone = source->Clone();
  clone->GetMember("a")->InsertInt(-1, 2);
  clone->SetMemberInt("s", 3);
  source->RemoveMember("a");
  EXPECT_EQ(Text(source), "{\"s\":\"text\"}");
  EXPECT_EQ(Text(clone), "{\"a\":[1,2],\"s\":3}");
}

TEST(JsonClone, OfACloneAndOfAChild) {
  Handle clone = Parse("{\"a\": [1, {\"b\": 2}]}")->Clone()->Clone();
  EXPECT_EQ(Text(clone->GetMember("a")->GetAt(1)->Clone()), "{\"b\":2}");
}

TEST(JsonClone, CanGrow) {
  Handle clone = Parse("[]")->Clone();
  for (int i = 0; i < 1000; ++i) clone->InsertString(-1, "a text that is too long to be kept within a value");
  EXPECT_EQ(clone->Size(), 1000U);
  Handle scalar = Element("5")->Clone();
  EXPECT_TRUE(scalar->Assign(Parse("[1]")));
  EXPECT_TRUE(scalar->InsertInt(-1, 2));
  EXPECT_EQ(Text(scalar), "[1,2]");
}

TEST(JsonClone, KeepsWhatCannotBeWritten) {
  Handle source = Parse("[1]");
  source->InsertDouble(-1, 1e308 * 10);
  source->InsertInt(-1, 3);
  const Handle clone = source->Clone();
  EXPECT_EQ(clone->Size(), 3U);
  EXPECT_EQ(clone->GetAtDouble(1, 0), 1e308 * 10);
}

TEST(JsonAssign, NullSourceChangesNothing) {
  Handle target = Parse("[1]");
  EXPECT_FALSE(target->Assign(ConstHandle()));
  EXPECT_EQ(Text(target), "[1]");
}

TEST(JsonAssign, ReplacesARootACloneAndAChild) {
  const Handle source = Parse(kSample);
  Handle root = Parse("[1, 2]");
  EXPECT_TRUE(root->Assign(source));
  EXPECT_EQ(Text(root), kSample);

  Handle clone = Parse("[1, 2]")->Clone();
  EXPECT_TRUE(clone->Assign(source));
  EXPECT_EQ(Text(clone), kSample);

  Handle parent = Parse("{\"x\": 1, \"y\": [2, 3]}");
  EXPECT_TRUE(parent->GetMember("y")->GetAt(0)->Assign(source));
  EXPECT_EQ(Text(parent), std::string("{\"x\":1,\"y\":[") + kSample + ",3]}");
}

TEST(JsonAssign, RootMayBecomeAScalar) {
  Handle root = Parse("[1, 2]");
  for (const char* const text : {"null", "5", "-5", "1.5", "true", "\"text\"",
                                 "\"a text that is too long to be kept within a value\""}) {
    EXPECT_TRUE(root->Assign(Element(text).value));
    EXPECT_EQ(Text(root), text);
  }
}

TEST(JsonAssign, ReplacesTheValueByADeepCopyOfTheSource) {
  Handle target = Parse("{}");
  {
    Handle source = Parse(kSample);
    EXPECT_TRUE(target->Assign(source));
    source->GetMember("a")->SetAtInt(0, 99);
  }
  EXPECT_EQ(Text(target), kSample);
}

TEST(JsonAssign, SourceMayBeTheTarget) {
  Handle root = Parse(kSample);
  EXPECT_TRUE(root->Assign(root));
  EXPECT_EQ(Text(root), kSample);
  Handle clone = root->Clone();
  EXPECT_TRUE(clone->Assign(clone));
  EXPECT_TRUE(clone->Assign(clone->Clone()));
  EXPECT_EQ(Text(clone), kSample);
  Handle child = root->GetMember("a");
  EXPECT_TRUE(child->Assign(child));
  EXPECT_TRUE(child->Assign(root->GetMember("a")));
  EXPECT_EQ(Text(root), kSample);
}

TEST(JsonAssign, SourceMayBePartOfTheSameDocumentBelowTheTarget) {
  for (const bool cloned : {false, true}) {
    Handle root = Parse("{\"a\": {\"b\": [1, \"a text that is too long to be kept within a value\"]}}");
    if (cloned) root = root->Clone();
    EXPECT_TRUE(root->Assign(root->GetMember("a")->GetMember("b")));
    EXPECT_EQ(Text(root), "[1,\"a text that is too long to be kept within a value\"]");
    EXPECT_TRUE(root->Assign(root->GetAt(0)));
    EXPECT_EQ(Text(root), "1");
  }
}

TEST(JsonAssign, SourceMayBePartOfTheSameDocumentAboveTheTarget) {
  for (const bool cloned : {false, true}) {
    Handle root = Parse("{\"a\": {\"b\": [1]}}");
    if (cloned) root = root->Clone();
    EXPECT_TRUE(root->GetMember("a")->GetMember("b")->Assign(root));
    EXPECT_EQ(Text(root), "{\"a\":{\"b\":{\"a\":{\"b\":[1]}}}}");
  }
}

TEST(JsonAssign, WhatAChildAssignedStaysWhenTheChildGoes) {
  for (const bool cloned : {false, true}) {
    Handle root = Parse("{\"a\": 1}");
    if (cloned) root = root->Clone();
    for (int i = 0; i < 3; ++i) {
      const Handle child = root->GetMember("a");
      EXPECT_TRUE(child->Assign(Parse("[\"a text that is too long to be kept within a value\"]")));
      EXPECT_TRUE(child->InsertString(-1, "another text that is too long to be kept within a value"));
    }
    const std::string churn(1 << 16, 'x');
    root->SetMemberString("b", churn.c_str());
    EXPECT_EQ(Text(root->GetMember("a")),
              "[\"a text that is too long to be kept within a value\","
              "\"another text that is too long to be kept within a value\"]");
  }
}

// Takes blocks of the size that a released pool leaves, and writes over what they held.
class Scribble {
 public:
  Scribble() {
    for (auto& block : blocks_) {
      block = std::make_unique_for_overwrite<char[]>(kPoolBlock);
      std::memset(block.get(), 'x', kPoolBlock);
    }
  }

 private:
  static constexpr std::size_t kPoolBlock = 65536 + 24;  // a chunk and its header
  std::unique_ptr<char[]> blocks_[8];
};

TEST(JsonAssign, SeveralPartsOfOneDocumentKeepWhatEachWasAssigned) {
  constexpr char kFirst[] = "[\"the first text that is too long to be kept within a value\",{\"x\":1}]";
  constexpr char kSecond[] = "{\"y\":\"the second text that is too long to be kept within a value\"}";
  constexpr char kThird[] = "[[\"the third text that is too long to be kept within a value\"]]";
  for (const bool cloned : {false, true}) {
    Handle root = Parse("{\"a\": 1, \"b\": 2, \"c\": 3}");
    if (cloned) root = root->Clone();
    EXPECT_TRUE(root->GetMember("a")->Assign(Parse(kFirst)));
    EXPECT_TRUE(root->GetMember("b")->Assign(Parse(kSecond)));
    EXPECT_TRUE(root->GetMember("c")->Assign(Parse(kThird)));
    const Scribble scribble;
    EXPECT_EQ(root->GetMember("a")->GetAt(1)->GetMemberInt("x", 0), 1);
    EXPECT_STREQ(root->GetMember("b")->GetMemberString("y", ""),
                 "the second text that is too long to be kept within a value");
    EXPECT_EQ(Text(root), std::string("{\"a\":") + kFirst + ",\"b\":" + kSecond + ",\"c\":" + kThird + "}");
  }
}

TEST(JsonAssign, TargetWorksOnAfterwards) {
  Handle root = Parse("{\"a\": 1}");
  Handle child = root->GetMember("a");
  EXPECT_TRUE(child->Assign(Parse("{\"x\": 1}")));
  child->SetMemberString("y", "a text that is too long to be kept within a value");
  EXPECT_TRUE(child->GetMember("x")->Assign(Parse("[]")));
  EXPECT_TRUE(child->GetMember("x")->InsertInt(0, 5));
  EXPECT_TRUE(child->Assign(Parse("{\"z\": 2}")));
  root->SetMemberInt("b", 3);
  EXPECT_EQ(Text(root), "{\"a\":{\"z\":2},\"b\":3}");
  EXPECT_TRUE(root->Assign(Parse("[4]")));
  EXPECT_TRUE(root->InsertInt(-1, 5));
  EXPECT_EQ(Text(root), "[4,5]");
}

TEST(JsonAssign, CursorIsAtTheEndAfterwards) {
  Handle target = Parse("{\"a\": 1, \"b\": 2}");
  CoreString name;
  Handle value;
  target->FirstMember(name, value);
  EXPECT_TRUE(target->Assign(Parse("{\"c\": 1, \"d\": 2}")));
  EXPECT_FALSE(target->NextMember(name, value));
  EXPECT_STREQ(name.c_str(), "a");
  EXPECT_TRUE(target->FirstMember(name, value));
  EXPECT_STREQ(name.c_str(), "c");
}

TEST(JsonAssign, ManyTimesOverOneDocument) {
  Handle root = Parse("{\"a\": 1}");
  const Handle source = Parse("[1]");
  for (int i = 0; i < 1000; ++i) ASSERT_TRUE(root->GetMember("a")->Assign(source));
  EXPECT_EQ(Text(root), "{\"a\":[1]}");
}

}  // namespace
