// SPDX-License-Identifier: MIT
// Objects: lookup, writing, removal, names, iteration.
#include "typed_families.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

namespace {

using tovkit::JsonValue;

const char* const kNotObjects[] = {"[]", "[1]", "1", "-1", "1.5", "\"a\"", "true", "null"};

TEST(JsonMembers, AreFoundByTheirWholeName) {
  const Handle object =
      Parse("{\"a\": 1, \"ab\": 2, \"abc\": 3, \"\\u0000x\": 4, \"a\\u0000b\": 5, \"\u5B8B\": 6}");
  const struct {
    const char* key;
    int value;
  } kTable[] = {{"a", 1},  {"ab", 2},  {"abc", 3}, {"\u5B8B", 6},    {"b", -7}, {"abcd", -7},
                {"A", -7}, {" a", -7}, {"a ", -7}, {"\xE5\xAE", -7}, {"x", -7}};
  for (const auto& row : kTable) {
    EXPECT_EQ(object->GetMemberInt(row.key, -7), row.value) << row.key;
    EXPECT_EQ(object->HasMember(row.key), row.value != -7) << row.key;
    EXPECT_EQ(static_cast<bool>(object->GetMember(row.key)), row.value != -7) << row.key;
  }
  // The key ends at its NUL, so a name that holds one is never matched by more.
  EXPECT_EQ(object->GetMemberInt("a\0b", -7), 1);
}

TEST(JsonMembers, NullAndEmptyKeysMatchNothing) {
  Handle object = Parse("{\"\": 1, \"a\": 2}");
  const JsonValue& constant = *object;
  for (const char* const key : {static_cast<const char*>(nullptr), ""}) {
    EXPECT_FALSE(object->HasMember(key));
    EXPECT_FALSE(object->GetMember(key));
    EXPECT_FALSE(constant.GetMember(key));
    ForEachFamily([&](const auto& family) {
      using T = typename std::decay_t<decltype(family)>::T;
      EXPECT_EQ(Shown((constant.*family.getMember)(key, Sample<T>::Second())), Shown(Sample<T>::Second()));
    });
  }
}

TEST(JsonMembers, OfAnythingButAnObjectAreAbsent) {
  for (const char* const text : kNotObjects) {
    SCOPED_TRACE(text);
    const Element value(text);
    const JsonValue& constant = *value.value;
    EXPECT_FALSE(value->HasMember("a"));
    EXPECT_FALSE(value->GetMember("a"));
    EXPECT_FALSE(constant.GetMember("a"));
    ForEachFamily([&](const auto& family) {
      using T = typename std::decay_t<decltype(family)>::T;
      EXPECT_EQ(Shown((constant.*family.getMember)("a", Sample<T>::Second())), Shown(Sample<T>::Second()));
    });
  }
}

TEST(JsonMembers, AreSearchedFromTheFirstToTheLastAndTheFirstOfTheSameNameCounts) {
  Handle object = Parse("{\"a\": 1, \"b\": 0, \"a\": 2, \"a\": 3}");
  EXPECT_EQ(object->GetMemberInt("a", 0), 1);
  EXPECT_EQ(object->GetMember("a")->AsInt(nullptr), 1);
  object->SetMemberInt("a", 4);
  EXPECT_EQ(Text(object), "{\"a\":4,\"b\":0,\"a\":2,\"a\":3}");
  object->SetMember("a", Parse("[5]"));
  EXPECT_EQ(Text(object), "{\"a\":[5],\"b\":0,\"a\":2,\"a\":3}");
  object->AddArrayMember("a");
  EXPECT_EQ(Text(object), "{\"a\":[],\"b\":0,\"a\":2,\"a\":3}");
  object->AddObjectMember("a");
  EXPECT_EQ(Text(object), "{\"a\":{},\"b\":0,\"a\":2,\"a\":3}");
  object->RemoveMember("a");
  EXPECT_EQ(Text(object), "{\"a\":3,\"b\":0,\"a\":2}");
  EXPECT_EQ(object->GetMemberInt("a", 0), 3);
}

TEST(JsonMembers, ReadsCreateNothing) {
  Handle object = Parse("{\"a\": null}");
  object->GetMember("b");
  object->GetMemberInt("b", 5);
  EXPECT_FALSE(object->HasMember("b"));
  Handle null = object->GetMember("a");
  null->SetMemberInt("x", 1);
  null->InsertInt(0, 1);
  EXPECT_FALSE(null->AddArrayMember("x"));
  EXPECT_EQ(Text(object), "{\"a\":null}");
}

TEST(JsonMembers, HandleReachesTheValueItself) {
  Handle object = Parse("{\"a\": {\"b\": 1}}");
  object->GetMember("a")->SetMemberInt("b", 2);
  EXPECT_EQ(Text(object), "{\"a\":{\"b\":2}}");
}

TEST(JsonSetMember, AppendsANewMemberAtTheEnd) {
  ForEachFamily([](const auto& family) {
    using T = typename std::decay_t<decltype(family)>::T;
    SCOPED_TRACE(family.name);
    Handle object = Parse("{\"z\": 0}");
    ((*object).*family.setMember)("new", Sample<T>::First());
    EXPECT_EQ(Shown(((*object).*family.getMember)("new", Sample<T>::Second())), Shown(Sample<T>::First()));
    EXPECT_EQ(object->Size(), 2U);
    EXPECT_STREQ(object->GetMemberNames().GetAt(1).c_str(), "new");
  });
}

TEST(JsonSetMember, OverwritesAnyValueInPlace) {
  for (const char* const before : {"null", "1", "1.5", "\"text\"", "true", "[1, 2]", "{\"x\": 1}"}) {
    SCOPED_TRACE(before);
    ForEachFamily([&](const auto& family) {
      using T = typename std::decay_t<decltype(family)>::T;
      SCOPED_TRACE(family.name);
      Handle object = Parse(std::string("{\"k\": ") + before + ", \"z\": 0}");
      ((*object).*family.setMember)("k", Sample<T>::First());
      EXPECT_EQ(Shown(((*object).*family.getMember)("k", Sample<T>::Second())), Shown(Sample<T>::First()));
      EXPECT_EQ(object->Size(), 2U);
      EXPECT_STREQ(object->GetMemberNames().GetAt(0).c_str(), "k");
    });
  }
}

TEST(JsonSetMember, DoesNothingWithoutAnObjectOrAKey) {
  const ConstHandle source = Parse("[1]");
  std::vector<std::string> targets(std::begin(kNotObjects), std::end(kNotObjects));
  targets.push_back("{\"\":1,\"a\":2}");
  for (const std::string& text : targets) {
    SCOPED_TRACE(text);
    const Element value(text);
    const std::string before = Text(value.root);
    std::vector<const char*> keys = {nullptr, ""};
    if (text[0] != '{') keys.push_back("a");
    for (const char* const key : keys) {
      ForEachFamily([&](const auto& family) {
        using T = typename std::decay_t<decltype(family)>::T;
        ((*value.value).*family.setMember)(key, Sample<T>::First());
      });
      value->SetMember(key, source);
      EXPECT_FALSE(value->AddArrayMember(key));
      EXPECT_FALSE(value->AddObjectMember(key));
      value->RemoveMember(key);
    }
    EXPECT_EQ(Text(value.root), before);
  }
}

TEST(JsonSetMember, CopiesKeyAndString) {
  Handle object = Parse("{}");
  std::string key = "a key that is too long to be kept within a value";
  std::string text = "a text that is too long to be kept within a value";
  object->SetMemberString(key.c_str(), text.c_str());
  object->SetMemberString("s", "short");
  const std::string written = Text(object);
  key.assign(key.size(), 'x');
  text.assign(text.size(), 'x');
  EXPECT_EQ(Text(object), written);
  EXPECT_EQ(written,
            "{\"a key that is too long to be kept within a value\":"
            "\"a text that is too long to be kept within a value\",\"s\":\"short\"}");
}

TEST(JsonSetMember, NullStringCountsAsTheEmptyOne) {
  Handle object = Parse("{\"a\": 1}");
  object->SetMemberString("a", nullptr);
  object->SetMemberString("b", nullptr);
  EXPECT_EQ(Text(object), "{\"a\":\"\",\"b\":\"\"}");
}

TEST(JsonSetMember, StringMayBeTheDocumentsOwn) {
  Handle object = Parse("{\"a\": \"a text that is too long to be kept within a value\", \"b\": \"short\"}");
  object->SetMemberString("b", object->GetMemberString("b", ""));
  object->SetMemberString("c", object->GetMemberString("a", ""));
  object->SetMemberString("a", object->GetMemberString("a", ""));
  EXPECT_EQ(Text(object),
            "{\"a\":\"a text that is too long to be kept within a value\",\"b\":\"short\","
            "\"c\":\"a text that is too long to be kept within a value\"}");
}

TEST(JsonSetMember, FloatIsWidened) {
  Handle object = Parse("{}");
  object->SetMemberFloat("f", 0.1F);
  EXPECT_EQ(object->GetMemberDouble("f", 0), static_cast<double>(0.1F));
  EXPECT_EQ(object->GetMember("f")->GetType(), tovkit::JsonDouble);
}

TEST(JsonSetMember, StoresADeepCopyOfTheSource) {
  Handle object = Parse("{\"a\": 1}");
  {
    Handle source = Parse("{\"x\": [1, \"a text that is too long to be kept within a value\"]}");
    object->SetMember("a", source);
    object->SetMember("b", source->GetMember("x"));
    source->GetMember("x")->SetAtInt(0, 9);
  }
  EXPECT_EQ(Text(object),
            "{\"a\":{\"x\":[1,\"a text that is too long to be kept within a value\"]},"
            "\"b\":[1,\"a text that is too long to be kept within a value\"]}");
}

TEST(JsonSetMember, NullSourceChangesNothing) {
  Handle object = Parse("{\"a\": 1}");
  object->SetMember("a", ConstHandle());
  object->SetMember("b", ConstHandle());
  EXPECT_EQ(Text(object), "{\"a\":1}");
}

TEST(JsonSetMember, SourceMayBeTheObjectItselfOrWithinIt) {
  Handle object = Parse("{\"a\": {\"b\": 1}}");
  object->SetMember("self", object);
  EXPECT_EQ(Text(object), "{\"a\":{\"b\":1},\"self\":{\"a\":{\"b\":1}}}");
  object->SetMember("a", object->GetMember("a")->GetMember("b"));
  EXPECT_EQ(Text(object), "{\"a\":1,\"self\":{\"a\":{\"b\":1}}}");
  object->SetMember("self", object);
  EXPECT_EQ(Text(object), "{\"a\":1,\"self\":{\"a\":1,\"self\":{\"a\":{\"b\":1}}}}");
  object->GetMember("self")->SetMember("up", object);
  EXPECT_EQ(object->GetMember("self")->GetMember("up")->Size(), 2U);
}

TEST(JsonAddMember, AppendsOrReplacesByAnEmptyContainer) {
  Handle object = Parse("{\"a\": [1, 2]}");
  Handle array = object->AddArrayMember("a");
  Handle inner = object->AddObjectMember("b");
  ASSERT_TRUE(array);
  ASSERT_TRUE(inner);
  EXPECT_EQ(Text(object), "{\"a\":[],\"b\":{}}");
  inner->SetMemberInt("x", 1);
  object->GetMember("a")->InsertInt(0, 5);
  EXPECT_EQ(Text(object), "{\"a\":[5],\"b\":{\"x\":1}}");
  EXPECT_EQ(object->AddObjectMember("a")->GetType(), tovkit::JsonObject);
  EXPECT_EQ(object->AddArrayMember("b")->GetType(), tovkit::JsonArray);
  EXPECT_EQ(Text(object), "{\"a\":{},\"b\":[]}");
}

TEST(JsonAddMember, CopiesItsKey) {
  Handle object = Parse("{}");
  std::string key = "a key that is too long to be kept within a value";
  object->AddArrayMember(key.c_str());
  key.assign(key.size(), 'x');
  EXPECT_TRUE(object->HasMember("a key that is too long to be kept within a value"));
}

TEST(JsonRemoveMember, RemovesTheMemberNamedAndTheLastTakesItsPlace) {
  const struct {
    const char* before;
    const char* key;
    const char* after;
  } kTable[] = {
      {"{\"a\":1,\"b\":2,\"c\":3}", "a", "{\"c\":3,\"b\":2}"},
      {"{\"a\":1,\"b\":2,\"c\":3}", "b", "{\"a\":1,\"c\":3}"},
      {"{\"a\":1,\"b\":2,\"c\":3}", "c", "{\"a\":1,\"b\":2}"},
      {"{\"a\":1,\"b\":2,\"c\":3}", "d", "{\"a\":1,\"b\":2,\"c\":3}"},
      {"{\"a\":1,\"b\":2}", "a", "{\"b\":2}"},
      {"{\"a\":1}", "a", "{}"},
      {"{\"a\":1,\"a\":2}", "a", "{\"a\":2}"},
      {"{\"\":1}", "", "{\"\":1}"},
      {"{}", "a", "{}"},
  };
  for (const auto& row : kTable) {
    Handle object = Parse(row.before);
    object->RemoveMember(row.key);
    EXPECT_EQ(Text(object), row.after) << row.before << " without " << row.key;
  }
}

TEST(JsonRemoveMember, LeavesRoomForNewMembers) {
  Handle object = Parse("{\"a\": 1, \"b\": 2, \"c\": 3}");
  object->RemoveMember("a");
  object->SetMemberInt("a", 4);
  EXPECT_EQ(Text(object), "{\"c\":3,\"b\":2,\"a\":4}");
  for (const char* const key : {"a", "b", "c"}) object->RemoveMember(key);
  EXPECT_EQ(object->Size(), 0U);
  object->SetMemberInt("d", 5);
  EXPECT_EQ(Text(object), "{\"d\":5}");
}

std::vector<std::string> Names(const ConstHandle& value) {
  std::vector<std::string> names;
  const CoreStringList<CoreString> list = value->GetMemberNames();
  for (int i = 0; i < list.GetCount(); ++i) names.push_back(Bytes(list.GetAt(i)));
  return names;
}

TEST(JsonMemberNames, AreInOrderWithDuplicates) {
  using List = std::vector<std::string>;
  EXPECT_EQ(Names(Parse("{\"b\": 1, \"a\": 2, \"b\": 3, \"\": 4}")), (List{"b", "a", "b", ""}));
  EXPECT_EQ(Names(Parse("{}")), List{});
  EXPECT_EQ(Names(Parse("{\"a\\u0000b\": 1}")), List{std::string("a\0b", 3)});
  for (const char* const text : kNotObjects) EXPECT_EQ(Names(Element(text).value), List{}) << text;
}

using Walked = std::vector<std::pair<std::string, std::string>>;

TEST(JsonIteration, DeliversEachMemberAndTellsWhetherAnotherFollows) {
  Handle object = Parse("{\"a\": 1, \"b\": [2], \"a\": \"x\"}");
  CoreString name;
  Handle value;
  EXPECT_TRUE(object->FirstMember(name, value));
  EXPECT_STREQ(name.c_str(), "a");
  EXPECT_EQ(Text(value), "1");
  EXPECT_TRUE(object->NextMember(name, value));
  EXPECT_STREQ(name.c_str(), "b");
  EXPECT_EQ(Text(value), "[2]");
  EXPECT_FALSE(object->NextMember(name, value));
  EXPECT_STREQ(name.c_str(), "a");
  EXPECT_EQ(Text(value), "\"x\"");
  name = CoreString("kept");
  JsonValue* const kept = value.Get();
  EXPECT_FALSE(object->NextMember(name, value));
  EXPECT_STREQ(name.c_str(), "kept");
  EXPECT_EQ(value.Get(), kept);
}

TEST(JsonIteration, LoopOfTheHeaderMeetsEveryMember) {
  for (const char* const text : {"{}", "{\"a\":1}", "{\"a\":1,\"b\":2}", "{\"a\":1,\"b\":2,\"c\":3}"}) {
    Handle object = Parse(text);
    Walked walked;
    CoreString name;
    Handle value;
    if (object->Size() != 0) {
      bool more = object->FirstMember(name, value);
      for (;; more = object->NextMember(name, value)) {
        walked.emplace_back(Bytes(name), Text(value));
        if (!more) break;
      }
    }
    std::string again;
    for (const auto& [key, content] : walked) {
      again += (again.empty() ? "" : ",") + ("\"" + key + "\":") + content;
    }
    EXPECT_EQ("{" + again + "}", text);
  }
}

TEST(JsonIteration, SingleMemberIsDeliveredWithFalse) {
  Handle object = Parse("{\"a\": 1}");
  CoreString name;
  Handle value;
  EXPECT_FALSE(object->FirstMember(name, value));
  EXPECT_STREQ(name.c_str(), "a");
  EXPECT_EQ(Text(value), "1");
  JsonValue* const first = value.Get();
  EXPECT_FALSE(object->NextMember(name, value));
  EXPECT_EQ(value.Get(), first);
}

TEST(JsonIteration, WithoutMembersLeavesTheOutputsUntouched) {
  std::vector<std::string> targets(std::begin(kNotObjects), std::end(kNotObjects));
  targets.push_back("{}");
  for (const std::string& text : targets) {
    const Element element(text);
    CoreString name("kept");
    Handle value = Parse("[7]");
    EXPECT_FALSE(element->FirstMember(name, value)) << text;
    EXPECT_FALSE(element->NextMember(name, value)) << text;
    EXPECT_STREQ(name.c_str(), "kept") << text;
    EXPECT_EQ(Text(value), "[7]") << text;
  }
}

TEST(JsonIteration, NextBeforeFirstDeliversNothing) {
  Handle root = Parse("{\"o\": {\"a\": 1, \"b\": 2}}");
  CoreString name("kept");
  Handle value;
  EXPECT_FALSE(root->NextMember(name, value));
  EXPECT_FALSE(root->GetMember("o")->NextMember(name, value));
  EXPECT_FALSE(root->Clone()->NextMember(name, value));
  EXPECT_STREQ(name.c_str(), "kept");
  EXPECT_FALSE(value);
}

TEST(JsonIteration, ReleasesWhatTheHandleHeld) {
  Handle object = Parse("{\"a\": 1}");
  Handle value = Parse("[1]");
  const Handle watch = value;
  CoreString name;
  object->FirstMember(name, value);
  EXPECT_EQ(watch.UseCount(), 1);
}

TEST(JsonIteration, CursorBelongsToTheHandle) {
  Handle root = Parse("{\"o\": {\"a\": 1, \"b\": 2, \"c\": 3}}");
  Handle one = root->GetMember("o");
  Handle two = root->GetMember("o");
  const Handle shared = one;
  CoreString name;
  Handle value;
  one->FirstMember(name, value);
  two->FirstMember(name, value);
  two->NextMember(name, value);
  EXPECT_STREQ(name.c_str(), "b");
  // Two walks over one handle disturb each other.
  shared->FirstMember(name, value);
  EXPECT_TRUE(one->NextMember(name, value));
  EXPECT_STREQ(name.c_str(), "b");
}

TEST(JsonIteration, FirstStartsOver) {
  Handle object = Parse("{\"a\": 1, \"b\": 2}");
  CoreString name;
  Handle value;
  object->FirstMember(name, value);
  object->NextMember(name, value);
  EXPECT_TRUE(object->FirstMember(name, value));
  EXPECT_STREQ(name.c_str(), "a");
}

TEST(JsonIteration, ValueHandleReachesTheMember) {
  Handle object = Parse("{\"a\": [1]}");
  CoreString name;
  Handle value;
  object->FirstMember(name, value);
  value->InsertInt(-1, 2);
  EXPECT_EQ(Text(object), "{\"a\":[1,2]}");
}

// Names that differ in one byte, in length, or only behind the part that a value holds itself.
std::vector<std::string> SimilarNames(std::size_t count) {
  std::vector<std::string> names;
  for (std::size_t i = 0; names.size() < count; ++i) {
    const std::size_t length = 1 + i % 33;
    std::string name(length, 'n');
    name[i * 7 % length] = static_cast<char>('a' + i % 26);
    names.push_back(name);
    if (i % 5 == 0) names.push_back(name + '\\' + "u0000" + name);
  }
  names.resize(count);
  return names;
}

TEST(JsonMember, IsFoundAmongAnyNumberOfSimilarNames) {
  for (const std::size_t count : {1U, 2U, 23U, 24U, 25U, 26U, 63U, 64U, 65U, 200U, 1000U}) {
    const std::vector<std::string> names = SimilarNames(count);
    std::string text;
    for (std::size_t i = 0; i < count; ++i)
      text += (i == 0 ? "{\"" : ",\"") + names[i] + "\":" + std::to_string(i);
    Handle parsed = Parse(text + "}");
    Handle built = Parse("{}");
    for (std::size_t i = 0; i < count; ++i) {
      if (names[i].find('\\') == std::string::npos && !built->HasMember(names[i].c_str())) {
        built->SetMemberInt(names[i].c_str(), static_cast<int>(i));
      }
    }
    for (const Handle& object : {parsed, parsed->Clone(), built, built->Clone()}) {
      for (std::size_t i = 0; i < count; ++i) {
        if (names[i].find('\\') != std::string::npos) continue;
        // The first of the same name counts.
        const auto first = std::find(names.begin(), names.end(), names[i]) - names.begin();
        ASSERT_EQ(object->GetMemberInt(names[i].c_str(), -1), first) << names[i];
        ASSERT_FALSE(object->HasMember((names[i] + "?").c_str()));
        ASSERT_FALSE(object->HasMember((names[i] + std::string(40, 'n')).c_str()));
        std::string other = names[i];
        other[other.size() / 2] = '?';
        ASSERT_FALSE(object->HasMember(other.c_str()));
      }
    }
    for (std::size_t i = 0; i < count; i += 3) {
      if (names[i].find('\\') != std::string::npos) continue;
      while (parsed->HasMember(names[i].c_str())) parsed->RemoveMember(names[i].c_str());
      ASSERT_EQ(parsed->GetMemberInt(names[i].c_str(), -1), -1);
    }
  }
}

}  // namespace
