// SPDX-License-Identifier: MIT
// Arrays: elements, insertion, removal; sizes of everything.
#include "typed_families.h"

#include <climits>
#include <string>
#include <vector>

namespace {

using tovkit::JsonValue;

const char* const kNotArrays[] = {"{}", "{\"a\":1}", "1", "-1", "1.5", "\"a\"", "true", "null"};

TEST(JsonElements, AreReachedByTheirIndex) {
  Handle array = Parse("[10, [20], {\"a\": 30}]");
  const JsonValue& constant = *array;
  const char* const kTexts[] = {"10", "[20]", "{\"a\":30}"};
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(Text(array->GetAt(i)), kTexts[i]);
    EXPECT_EQ(Text(constant.GetAt(i)), kTexts[i]);
  }
  for (const int index : {-1, 3, 4, INT_MAX, INT_MIN}) {
    EXPECT_FALSE(array->GetAt(index)) << index;
    EXPECT_FALSE(constant.GetAt(index)) << index;
  }
}

TEST(JsonElements, TypedReadsGiveTheFallbackOutsideTheArray) {
  const Handle array = Parse("[7]");
  for (const std::uint32_t index : {1U, 2U, 2147483647U, 2147483648U, 4294967295U}) {
    ForEachFamily([&](const auto& family) {
      using T = typename std::decay_t<decltype(family)>::T;
      EXPECT_EQ(Shown(((*array).*family.getAt)(index, Sample<T>::Second())), Shown(Sample<T>::Second()))
          << family.name << " at " << index;
    });
  }
}

TEST(JsonElements, OfWhatIsNoArrayAreAbsentAndToSetInsertOrRemoveThemIsFalseWithNothingChanged) {
  for (const char* const text : kNotArrays) {
    SCOPED_TRACE(text);
    const Element value(text);
    const JsonValue& constant = *value.value;
    const std::string before = Text(value.root);
    EXPECT_FALSE(value->GetAt(0));
    EXPECT_FALSE(constant.GetAt(0));
    ForEachFamily([&](const auto& family) {
      using T = typename std::decay_t<decltype(family)>::T;
      SCOPED_TRACE(family.name);
      EXPECT_EQ(Shown((constant.*family.getAt)(0, Sample<T>::Second())), Shown(Sample<T>::Second()));
      EXPECT_FALSE(((*value.value).*family.setAt)(0, Sample<T>::First()));
      for (const int index : {-1, 0, 1}) {
        EXPECT_FALSE(((*value.value).*family.insert)(index, Sample<T>::First()));
      }
    });
    EXPECT_FALSE(value->SetAt(0, Parse("[]")));
    EXPECT_FALSE(value->Insert(0, Parse("[]")));
    EXPECT_FALSE(value->InsertArray(0));
    EXPECT_FALSE(value->InsertObject(0));
    EXPECT_FALSE(value->RemoveAt(0));
    EXPECT_EQ(Text(value.root), before);
  }
}

TEST(JsonSetAt, ReplacesAnyElementInPlace) {
  for (const char* const before : {"null", "1", "1.5", "\"text\"", "true", "[1, 2]", "{\"x\": 1}"}) {
    SCOPED_TRACE(before);
    ForEachFamily([&](const auto& family) {
      using T = typename std::decay_t<decltype(family)>::T;
      SCOPED_TRACE(family.name);
      Handle array = Parse(std::string("[0, ") + before + ", 0]");
      EXPECT_TRUE(((*array).*family.setAt)(1, Sample<T>::First()));
      EXPECT_EQ(Shown(((*array).*family.getAt)(1, Sample<T>::Second())), Shown(Sample<T>::First()));
      EXPECT_EQ(array->Size(), 3U);
      EXPECT_EQ(array->GetAtInt(0, 1), 0);
      EXPECT_EQ(array->GetAtInt(2, 1), 0);
    });
  }
}

TEST(JsonSetAt, NeverGrowsTheArray) {
  Handle array = Parse("[1, 2]");
  const std::string before = Text(array);
  for (const std::uint32_t index : {array->Size(), 3U, 2147483647U, 2147483648U, 4294967295U}) {
    ForEachFamily([&](const auto& family) {
      using T = typename std::decay_t<decltype(family)>::T;
      EXPECT_FALSE(((*array).*family.setAt)(index, Sample<T>::First())) << family.name << " at " << index;
    });
  }
  for (const int index : {-1, 2, INT_MAX, INT_MIN}) EXPECT_FALSE(array->SetAt(index, Parse("[]"))) << index;
  EXPECT_EQ(Text(array), before);
  EXPECT_FALSE(Parse("[]")->SetAtInt(0, 1));
}

TEST(JsonSetAt, StoresADeepCopyOfTheSource) {
  Handle array = Parse("[1, 2]");
  {
    const Handle source = Parse("{\"x\": [\"a text that is too long to be kept within a value\"]}");
    EXPECT_TRUE(array->SetAt(0, source));
    EXPECT_TRUE(array->SetAt(1, source->GetMember("x")->GetAt(0)));
  }
  EXPECT_EQ(Text(array),
            "[{\"x\":[\"a text that is too long to be kept within a value\"]},"
            "\"a text that is too long to be kept within a value\"]");
}

TEST(JsonSetAt, NullSourceChangesNothing) {
  Handle array = Parse("[1]");
  EXPECT_FALSE(array->SetAt(0, ConstHandle()));
  EXPECT_FALSE(array->Insert(0, ConstHandle()));
  EXPECT_EQ(Text(array), "[1]");
}

TEST(JsonSetAt, SourceMayBeTheArrayItselfOrWithinIt) {
  Handle array = Parse("[[1], 2]");
  EXPECT_TRUE(array->SetAt(1, array));
  EXPECT_EQ(Text(array), "[[1],[[1],2]]");
  EXPECT_TRUE(array->SetAt(0, array->GetAt(0)->GetAt(0)));
  EXPECT_EQ(Text(array), "[1,[[1],2]]");
  EXPECT_TRUE(array->SetAt(1, array->GetAt(1)));
  EXPECT_EQ(Text(array), "[1,[[1],2]]");
  EXPECT_TRUE(array->Insert(0, array));
  EXPECT_EQ(Text(array), "[[1,[[1],2]],1,[[1],2]]");
}

TEST(JsonSetAt, StringsAreCopied) {
  Handle array = Parse("[0]");
  std::string text = "a text that is too long to be kept within a value";
  const std::string expected = "\"" + text + "\"";
  EXPECT_TRUE(array->SetAtString(0, text.c_str()));
  EXPECT_TRUE(array->InsertString(-1, text.c_str()));
  EXPECT_TRUE(array->InsertString(-1, array->GetAtString(0, "")));
  text.assign(text.size(), 'x');
  EXPECT_EQ(Text(array), "[" + expected + "," + expected + "," + expected + "]");
}

TEST(JsonSetAt, FloatIsWidened) {
  Handle array = Parse("[0]");
  array->SetAtFloat(0, 0.1F);
  array->InsertFloat(-1, 0.1F);
  EXPECT_EQ(array->GetAtDouble(0, 0), static_cast<double>(0.1F));
  EXPECT_EQ(array->GetAtDouble(1, 0), static_cast<double>(0.1F));
  EXPECT_EQ(Text(array), "[0.10000000149011612,0.10000000149011612]");
}

TEST(JsonInsert, PutsBeforeTheIndexOrAppends) {
  const struct {
    int index;
    const char* after;
  } kTable[] = {{0, "[7,1,2,3]"}, {1, "[1,7,2,3]"},  {2, "[1,2,7,3]"},       {3, "[1,2,3,7]"},
                {4, "[1,2,3,7]"}, {-1, "[1,2,3,7]"}, {INT_MAX, "[1,2,3,7]"}, {INT_MIN, "[1,2,3,7]"}};
  for (const auto& row : kTable) {
    Handle array = Parse("[1,2,3]");
    EXPECT_TRUE(array->InsertInt(row.index, 7)) << row.index;
    EXPECT_EQ(Text(array), row.after) << row.index;
  }
  Handle empty = Parse("[]");
  EXPECT_TRUE(empty->InsertInt(0, 7));
  EXPECT_EQ(Text(empty), "[7]");
}

TEST(JsonInsert, EveryTypeGoesBeforeTheIndex) {
  ForEachFamily([](const auto& family) {
    using T = typename std::decay_t<decltype(family)>::T;
    SCOPED_TRACE(family.name);
    Handle array = Parse("[null, null]");
    EXPECT_TRUE(((*array).*family.insert)(1, Sample<T>::First()));
    EXPECT_TRUE(((*array).*family.insert)(-1, Sample<T>::First()));
    ASSERT_EQ(array->Size(), 4U);
    for (const std::uint32_t index : {1U, 3U}) {
      EXPECT_EQ(Shown(((*array).*family.getAt)(index, Sample<T>::Second())), Shown(Sample<T>::First()));
    }
    EXPECT_EQ(array->GetAt(0)->GetType(), tovkit::JsonNull);
    EXPECT_EQ(array->GetAt(2)->GetType(), tovkit::JsonNull);
  });
}

TEST(JsonInsert, ContainersComeWithAHandle) {
  Handle array = Parse("[1,2]");
  Handle inner = array->InsertArray(1);
  ASSERT_TRUE(inner);
  EXPECT_TRUE(inner->InsertInt(0, 5));
  Handle object = array->InsertObject(-1);
  ASSERT_TRUE(object);
  object->SetMemberInt("a", 6);
  EXPECT_EQ(Text(array), "[1,[5],2,{\"a\":6}]");
  EXPECT_EQ(Text(array->InsertArray(0)), "[]");
  EXPECT_EQ(Text(array->InsertObject(100)), "{}");
  EXPECT_EQ(Text(array), "[[],1,[5],2,{\"a\":6},{}]");
}

TEST(JsonInsert, StoresADeepCopyOfTheSource) {
  Handle array = Parse("[1,2]");
  EXPECT_TRUE(array->Insert(1, Parse("{\"x\": [true]}")));
  EXPECT_TRUE(array->Insert(9, Parse("[\"s\"]")->GetAt(0)));
  EXPECT_EQ(Text(array), "[1,{\"x\":[true]},2,\"s\"]");
}

TEST(JsonInsert, GrowsFarBeyondTheFirstCapacity) {
  Handle array = Parse("[]");
  for (int i = 0; i < 1000; ++i) ASSERT_TRUE(array->InsertInt(i % 2 == 0 ? 0 : -1, i));
  ASSERT_EQ(array->Size(), 1000U);
  EXPECT_EQ(array->GetAtInt(0, -1), 998);
  EXPECT_EQ(array->GetAtInt(499, -1), 0);
  EXPECT_EQ(array->GetAtInt(500, -1), 1);
  EXPECT_EQ(array->GetAtInt(999, -1), 999);
}

TEST(JsonRemoveAt, KeepsTheOrderOfTheOthers) {
  const struct {
    const char* before;
    int index;
    bool removed;
    const char* after;
  } kTable[] = {
      {"[1,2,3]", 0, true, "[2,3]"}, {"[1,2,3]", 1, true, "[1,3]"},    {"[1,2,3]", 2, true, "[1,2]"},
      {"[1]", 0, true, "[]"},        {"[1,2,3]", 3, false, "[1,2,3]"}, {"[1,2,3]", -1, false, "[1,2,3]"},
      {"[]", 0, false, "[]"},        {"[1]", INT_MIN, false, "[1]"},   {"[1]", INT_MAX, false, "[1]"}};
  for (const auto& row : kTable) {
    Handle array = Parse(row.before);
    EXPECT_EQ(array->RemoveAt(row.index), row.removed) << row.before << " at " << row.index;
    EXPECT_EQ(Text(array), row.after) << row.before << " at " << row.index;
  }
}

TEST(JsonSize, OfEveryKind) {
  const struct {
    const char* text;
    std::uint32_t size;
  } kTable[] = {{"[]", 0},
                {"[1,[2,3]]", 2},
                {"{}", 0},
                {"{\"a\":1,\"a\":2}", 2},
                {"5", 4294967295U},
                {"-5", 4294967295U},
                {"1.5", 4294967295U},
                {"\"text\"", 4294967295U},
                {"true", 4294967295U},
                {"null", 4294967295U}};
  for (const auto& row : kTable) EXPECT_EQ(Element(row.text)->Size(), row.size) << row.text;
}

}  // namespace
