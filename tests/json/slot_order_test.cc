// SPDX-License-Identifier: MIT
// The binary interface: which virtual operation stands in which slot, and where the fields of a node lie. A
// pointer to a virtual member function holds one more than the offset of its slot.
#include "json_support.h"

#include <cstdint>
#include <cstring>
#include <vector>

namespace {

using tovkit::JsonType;
using tovkit::JsonValue;

template <typename Function>
std::size_t SlotOf(Function operation) {
  std::uintptr_t words[2];
  static_assert(sizeof words == sizeof operation);
  std::memcpy(words, &operation, sizeof words);
  EXPECT_EQ(words[0] % sizeof(void*), 1U) << "not a virtual operation";
  EXPECT_EQ(words[1], 0U);
  return (words[0] - 1) / sizeof(void*);
}

struct Slot {
  const char* name;
  std::size_t slot;
};

#define SLOT(operation) \
  { #operation, SlotOf(&JsonValue::operation) }
#define SLOTS(before, after)                                                               \
  SLOT(before##Int##after), SLOT(before##Uint##after), SLOT(before##Int64##after),         \
      SLOT(before##Uint64##after), SLOT(before##String##after), SLOT(before##Bool##after), \
      SLOT(before##Float##after), SLOT(before##Double##after)

TEST(JsonSlots, TheOrderOfTheEightyVirtualOperationsAndOfTheEightTypesOfEachFamily) {
  using Keyed = Handle (JsonValue::*)(const char*);
  using KeyedConst = ConstHandle (JsonValue::*)(const char*) const;
  using Indexed = Handle (JsonValue::*)(std::int32_t);
  using IndexedConst = ConstHandle (JsonValue::*)(std::int32_t) const;
  const std::vector<Slot> kTable = {
      SLOT(GetType),
      SLOTS(Get, ),
      SLOTS(As, ),
      SLOT(HasMember),
      {"GetMember", SlotOf(static_cast<Keyed>(&JsonValue::GetMember))},
      {"GetMember const", SlotOf(static_cast<KeyedConst>(&JsonValue::GetMember))},
      SLOTS(GetMember, ),
      SLOTS(SetMember, ),
      SLOT(SetMember),
      SLOT(AddArrayMember),
      SLOT(AddObjectMember),
      SLOT(RemoveMember),
      SLOT(GetMemberNames),
      SLOT(FirstMember),
      SLOT(NextMember),
      {"GetAt", SlotOf(static_cast<Indexed>(&JsonValue::GetAt))},
      {"GetAt const", SlotOf(static_cast<IndexedConst>(&JsonValue::GetAt))},
      SLOTS(GetAt, ),
      SLOTS(SetAt, ),
      SLOT(SetAt),
      SLOTS(Insert, ),
      SLOT(Insert),
      SLOT(InsertArray),
      SLOT(InsertObject),
      SLOT(RemoveAt),
      SLOT(Size),
      SLOT(Clone),
      SLOT(Assign),
      SLOT(ToString),
  };
  constexpr std::size_t kDestructors = 2;
  ASSERT_EQ(kTable.size(), 80 - kDestructors);
  for (std::size_t i = 0; i < kTable.size(); ++i) {
    EXPECT_EQ(kTable[i].slot, i + kDestructors) << kTable[i].name;
  }
}

TEST(JsonSlots, TypesOfTheOperations) {
  static_assert(sizeof(JsonType) == 4);
  static_assert(std::is_same_v<decltype(&JsonValue::GetAtInt),
                               std::int32_t (JsonValue::*)(std::uint32_t, std::int32_t) const>);
  static_assert(std::is_same_v<decltype(&JsonValue::SetAtFloat), bool (JsonValue::*)(std::uint32_t, float)>);
  static_assert(
      std::is_same_v<decltype(&JsonValue::InsertUint64), bool (JsonValue::*)(std::int32_t, std::uint64_t)>);
  static_assert(std::is_same_v<decltype(&JsonValue::SetAt), bool (JsonValue::*)(std::int32_t, ConstHandle)>);
  static_assert(std::is_same_v<decltype(&JsonValue::Size), std::uint32_t (JsonValue::*)() const>);
  static_assert(std::is_same_v<decltype(&JsonValue::ToString), CoreString (JsonValue::*)() const>);
  static_assert(std::is_same_v<decltype(&JsonValue::GetMemberNames),
                               CoreStringList<CoreString> (JsonValue::*)() const>);
  static_assert(std::is_same_v<decltype(&JsonValue::FirstMember), bool (JsonValue::*)(CoreString&, Handle&)>);
}

// Calls through the table of operations, as a client that was compiled long ago does.
template <typename Result, typename... Arguments>
Result CallSlot(std::size_t slot, JsonValue* value, Arguments... arguments) {
  void** operations = nullptr;
  std::memcpy(&operations, static_cast<const void*>(value), sizeof operations);
  using Operation = Result (*)(JsonValue*, Arguments...);
  return reinterpret_cast<Operation>(operations[slot])(value, arguments...);
}

TEST(JsonSlots, CallsByNumberReachTheOperations) {
  Handle object = Parse("{\"a\": 5, \"b\": 2.5}");
  Handle array = Parse("[7, \"x\"]");
  EXPECT_EQ(CallSlot<JsonType>(2, object.Get()), tovkit::JsonObject);
  EXPECT_TRUE((CallSlot<bool, const char*>(19, object.Get(), "a")));
  EXPECT_EQ((CallSlot<std::int32_t, const char*, std::int32_t>(22, object.Get(), "a", 0)), 5);
  EXPECT_EQ((CallSlot<double, const char*, double>(29, object.Get(), "b", 0.0)), 2.5);
  EXPECT_EQ((CallSlot<std::int32_t, std::uint32_t, std::int32_t>(47, array.Get(), 0, 0)), 7);
  EXPECT_STREQ((CallSlot<const char*, std::uint32_t, const char*>(51, array.Get(), 1, "")), "x");
  EXPECT_TRUE((CallSlot<bool, std::uint32_t, double>(62, array.Get(), 0, 1.5)));
  EXPECT_TRUE((CallSlot<bool, std::int32_t, std::int32_t>(64, array.Get(), -1, 9)));
  EXPECT_TRUE((CallSlot<bool, std::int32_t>(75, array.Get(), 1)));
  EXPECT_EQ(CallSlot<std::uint32_t>(76, array.Get()), 2U);
  EXPECT_EQ(Text(array), "[1.5,9]");
  CallSlot<void, const char*, std::int32_t>(30, object.Get(), "c", -1);
  CallSlot<void, const char*>(41, object.Get(), "a");
  EXPECT_EQ(Text(object), "{\"c\":-1,\"b\":2.5}");
}

TEST(JsonSlots, TheOrderOfTheControlBlocksVirtualOperationsIsTheDestructorsThenDispose) {
  EXPECT_EQ(SlotOf(&tovkit::sp_counted_base::dispose), 2U);
}

// A node as the compiler lays it out.
struct Node {
  void* operations;
  bool ownsValue;
  bool ownsAllocator;
  char* document;
  char* value;
  char* allocator;
  char* memberCursor;
};

Node NodeOf(const ConstHandle& handle) {
  Node node;
  std::memcpy(&node, static_cast<const void*>(handle.Get()), sizeof node);
  return node;
}

TEST(JsonNode, RootOwnsItsDocument) {
  for (const char* const text : {"{\"a\": 1, \"b\": 2}", "[1]", ""}) {
    const Node node = NodeOf(Parse(text));
    EXPECT_TRUE(node.ownsValue) << text;
    EXPECT_FALSE(node.ownsAllocator) << text;
    EXPECT_NE(node.document, nullptr) << text;
    EXPECT_EQ(node.value, node.document) << text;
    EXPECT_NE(node.allocator, nullptr) << text;
  }
}

TEST(JsonNode, CursorStartsBehindTheLastMember) {
  Handle root = Parse("{\"a\": 1, \"b\": 2}");
  const Node last = NodeOf(root->GetMember("b"));
  constexpr std::size_t kValueSize = 16;
  EXPECT_EQ(NodeOf(root).memberCursor, last.value + kValueSize);
  const Handle clone = root->Clone();
  EXPECT_EQ(NodeOf(clone).memberCursor, NodeOf(clone->GetMember("b")).value + kValueSize);
}

TEST(JsonNode, ChildOwnsNothingAndSharesTheAllocator) {
  Handle root = Parse("{\"a\": [[]], \"o\": {}}");
  const Node parent = NodeOf(root);
  CoreString name;
  Handle first;
  ASSERT_TRUE(root->FirstMember(name, first));
  Handle next;
  ASSERT_FALSE(root->NextMember(name, next));
  Handle array = root->GetMember("a");
  const Handle children[] = {array,
                             array->GetAt(0),
                             first,
                             next,
                             array->InsertArray(0),
                             array->InsertObject(0),
                             root->AddArrayMember("x"),
                             root->AddObjectMember("y")};
  for (std::size_t i = 0; i < std::size(children); ++i) {
    const Node node = NodeOf(children[i]);
    EXPECT_FALSE(node.ownsValue) << i;
    EXPECT_FALSE(node.ownsAllocator) << i;
    EXPECT_EQ(node.document, nullptr) << i;
    EXPECT_NE(node.value, nullptr) << i;
    EXPECT_EQ(node.allocator, parent.allocator) << i;
  }
}

TEST(JsonNode, CloneOwnsItsNodeAndItsAllocator) {
  Handle root = Parse("{\"a\": [1]}");
  for (const ConstHandle& source : {ConstHandle(root), ConstHandle(root->GetMember("a"))}) {
    const Node node = NodeOf(source->Clone());
    EXPECT_TRUE(node.ownsValue);
    EXPECT_TRUE(node.ownsAllocator);
    EXPECT_EQ(node.document, nullptr);
    EXPECT_NE(node.value, nullptr);
    EXPECT_NE(node.allocator, NodeOf(root).allocator);
  }
}

TEST(JsonNode, AssignMakesANewAllocatorAndLeavesTheFlags) {
  Handle root = Parse("{\"a\": [1]}");
  Handle child = root->GetMember("a");
  Handle clone = root->Clone();
  const Handle source = Parse("[2]");
  for (const Handle& target : {child, clone, root}) {
    const Node before = NodeOf(target);
    EXPECT_TRUE(target->Assign(source));
    const Node after = NodeOf(target);
    EXPECT_EQ(after.ownsValue, before.ownsValue);
    EXPECT_EQ(after.ownsAllocator, before.ownsAllocator);
    EXPECT_EQ(after.document, before.document);
    EXPECT_EQ(after.value, before.value);
    if (!before.ownsAllocator) {
      EXPECT_NE(after.allocator, before.allocator);
    }
  }
}

}  // namespace
