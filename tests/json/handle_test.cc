// SPDX-License-Identifier: MIT
// SharedPtr and its control block.
#include "json_support.h"

#include <cxxabi.h>
#include <pthread.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <type_traits>
#include <typeinfo>
#include <utility>
#include <vector>

namespace {

using tovkit::JsonValue;
using tovkit::SharedPtr;

template <typename T>
tovkit::sp_counted_base* BlockOf(const SharedPtr<T>& handle) {
  tovkit::sp_counted_base* block = nullptr;
  std::memcpy(&block, reinterpret_cast<const char*>(&handle) + sizeof(void*), sizeof block);
  return block;
}

template <typename T>
std::string BlockTypeOf(const SharedPtr<T>& handle) {
  const tovkit::sp_counted_base& block = *BlockOf(handle);
  char* const name = abi::__cxa_demangle(typeid(block).name(), nullptr, nullptr, nullptr);
  const std::string text = name == nullptr ? typeid(block).name() : name;
  std::free(name);
  return text;
}

TEST(JsonHandle, IsTheObjectAndItsBlock) {
  static_assert(sizeof(Handle) == 2 * sizeof(void*));
  static_assert(sizeof(ConstHandle) == 2 * sizeof(void*));
  const Handle root = Parse("{}");
  void* words[2] = {};
  std::memcpy(words, static_cast<const void*>(&root), sizeof words);
  EXPECT_EQ(words[0], static_cast<void*>(root.Get()));
  EXPECT_NE(words[1], nullptr);
}

TEST(JsonHandle, BlockHoldsASigned64BitCountThenTheObject) {
  static_assert(sizeof(tovkit::sp_counted_impl<JsonValue>) == 24);
  const Handle root = Parse("{}");
  const Handle second = root;
  struct {
    void* operations;
    std::int64_t useCount;
    void* object;
  } block;
  static_assert(sizeof block == 24);
  std::memcpy(&block, static_cast<const void*>(BlockOf(root)), sizeof block);
  EXPECT_EQ(block.useCount, 2);
  EXPECT_EQ(block.object, static_cast<void*>(root.Get()));
  static_assert(std::is_same_v<decltype(root.UseCount()), std::int64_t>);
}

TEST(JsonHandle, BlockTypeTellsWhoMadeTheObject) {
  Handle root = Parse("{\"a\": [1]}");
  EXPECT_EQ(BlockTypeOf(root), "tovkit::sp_counted_impl<tovkit::RapidjsonWrapper>");
  EXPECT_EQ(BlockTypeOf(root->GetMember("a")), "tovkit::sp_counted_impl<tovkit::JsonValue>");
  EXPECT_EQ(BlockTypeOf(root->Clone()), "tovkit::sp_counted_impl<tovkit::JsonValue>");
  const JsonValue& constant = *root;
  EXPECT_EQ(BlockTypeOf(constant.GetMember("a")), "tovkit::sp_counted_impl<tovkit::JsonValue const>");
  EXPECT_EQ(BlockTypeOf(constant.GetMember("none")), "tovkit::sp_counted_impl<tovkit::JsonValue const>");
}

TEST(JsonHandle, DefaultIsNullWithABlockOfCountOne) {
  const Handle null;
  EXPECT_FALSE(null);
  EXPECT_EQ(null.Get(), nullptr);
  EXPECT_NE(BlockOf(null), nullptr);
  EXPECT_EQ(null.UseCount(), 1);
  const Handle copy = null;
  EXPECT_FALSE(copy);
  EXPECT_EQ(null.UseCount(), 2);
  EXPECT_EQ(BlockOf(copy), BlockOf(null));
}

TEST(JsonHandle, EveryFailureGivesANullHandleWithABlockOfCountOne) {
  Handle object = Parse("{\"a\": 1}");
  Handle array = Parse("[1]");
  const JsonValue& constObject = *object;
  const JsonValue& constArray = *array;
  Captured silence(stdout);
  const Handle kTable[] = {object->GetMember("b"),
                           object->GetMember(nullptr),
                           array->GetMember("a"),
                           object->GetAt(0),
                           array->GetAt(1),
                           array->AddArrayMember("a"),
                           array->AddObjectMember(""),
                           object->AddArrayMember(""),
                           object->AddObjectMember(nullptr),
                           object->InsertArray(0),
                           object->InsertObject(0),
                           Parse("42"),
                           Parse("[")};
  for (std::size_t row = 0; row < std::size(kTable); ++row) {
    EXPECT_FALSE(kTable[row]) << row;
    EXPECT_NE(BlockOf(kTable[row]), nullptr) << row;
    EXPECT_EQ(kTable[row].UseCount(), 1) << row;
  }
  for (const ConstHandle& handle : {constObject.GetMember("b"), constArray.GetAt(1)}) {
    EXPECT_FALSE(handle);
    EXPECT_NE(BlockOf(handle), nullptr);
  }
}

TEST(JsonHandle, CopyingCountsUpAndReleasingDown) {
  Handle first = Parse("{}");
  EXPECT_EQ(first.UseCount(), 1);
  {
    const Handle second = first;
    const ConstHandle third = second;
    EXPECT_EQ(first.UseCount(), 3);
    EXPECT_EQ(third.UseCount(), 3);
    EXPECT_TRUE(first == second);
    EXPECT_EQ(third.Get(), first.Get());
  }
  EXPECT_EQ(first.UseCount(), 1);
}

TEST(JsonHandle, WasMovedFromAndHasNoBlockIsNullAndMayBeAssignedCopiedOrDestroyed) {
  Handle first = Parse("{}");
  JsonValue* const object = first.Get();
  Handle second = std::move(first);
  EXPECT_EQ(second.Get(), object);
  EXPECT_EQ(second.UseCount(), 1);
  EXPECT_FALSE(first);  // NOLINT(bugprone-use-after-move,clang-analyzer-cplusplus.Move): looked at on purpose
  EXPECT_EQ(first.UseCount(),
            0);  // NOLINT(bugprone-use-after-move,clang-analyzer-cplusplus.Move): looked at on purpose
  EXPECT_EQ(BlockOf(first), nullptr);
  Handle copyOfMoved = first;  // NOLINT(bugprone-use-after-move,clang-analyzer-cplusplus.Move): allowed
  EXPECT_FALSE(copyOfMoved);
  const ConstHandle third = std::move(second);
  EXPECT_EQ(third.Get(), object);
  EXPECT_EQ(third.UseCount(), 1);
  first = Parse("[]");
  EXPECT_EQ(Text(first), "[]");
}

TEST(JsonHandle, AssignmentLetsGoOfTheObjectAndThenDoesAsTheConstructor) {
  Handle first = Parse("[1]");
  Handle second = Parse("[2]");
  const Handle watch = first;
  first = second;
  EXPECT_EQ(watch.UseCount(), 1);
  EXPECT_EQ(second.UseCount(), 2);
  first = std::move(second);
  EXPECT_EQ(Text(first), "[2]");
  EXPECT_EQ(first.UseCount(), 1);
}

TEST(JsonHandle, AssignmentToItselfChangesNothing) {
  Handle handle = Parse("[1]");
  Handle& same = handle;
  handle = same;
  EXPECT_EQ(handle.UseCount(), 1);
  handle = std::move(same);
  EXPECT_EQ(Text(handle), "[1]");
  EXPECT_EQ(handle.UseCount(), 1);
}

TEST(JsonHandle, SwapExchangesBothPointers) {
  Handle first = Parse("[1]");
  Handle second = Parse("[2]");
  const Handle watch = first;
  first.Swap(second);
  EXPECT_EQ(Text(first), "[2]");
  EXPECT_TRUE(second == watch);
  EXPECT_EQ(second.UseCount(), 2);
  EXPECT_EQ(first.UseCount(), 1);
}

TEST(JsonHandle, TwoHandlesAreEqualWhenTheyPointAtTheSameObject) {
  const Handle first = Parse("[1]"), other = Parse("[1]");
  const Handle same = first;
  EXPECT_TRUE(first == same);
  EXPECT_FALSE(first != same);
  EXPECT_FALSE(first == other);
  EXPECT_TRUE(first != other);
  const Handle null, otherNull;
  EXPECT_NE(BlockOf(null), BlockOf(otherNull)) << "the blocks do not count";
  EXPECT_TRUE(null == otherNull);
  EXPECT_FALSE(first == null);
}

TEST(JsonHandle, TwoCallsThatReturnAMemberReturnTwoObjects) {
  Handle root = Parse("{\"a\": [1]}");
  EXPECT_TRUE(root->GetMember("a") != root->GetMember("a"));
  EXPECT_EQ(root->GetMember("a").UseCount(), 1);
}

TEST(JsonHandle, ChildDoesNotCountItsRoot) {
  Handle root = Parse("{\"a\": [1]}");
  const Handle child = root->GetMember("a");
  EXPECT_EQ(root.UseCount(), 1);
  EXPECT_EQ(child.UseCount(), 1);
}

TEST(JsonHandle, ReleasingAChildLeavesTheValueWhereItIs) {
  Handle root = Parse("{\"a\": [1, 2]}");
  { const Handle child = root->GetMember("a"); }
  EXPECT_EQ(Text(root), "{\"a\":[1,2]}");
}

// A thread keeps some of the blocks that it releases: many more than these are asked for here.
TEST(JsonHandle, HandlesByTheThousandStayApart) {
  Handle root = Parse("[]");
  for (int i = 0; i < 1000; ++i) root->InsertInt(-1, i);
  for (int round = 0; round < 3; ++round) {
    std::vector<Handle> elements;
    for (int i = 0; i < 1000; ++i) elements.push_back(root->GetAt(i));
    for (int i = 0; i < 1000; i += 2) elements[i] = root->GetAt(999 - i);
    for (int i = 0; i < 1000; ++i) EXPECT_EQ(elements[i]->AsInt(nullptr), i % 2 == 0 ? 999 - i : i);
  }
}

TEST(JsonHandle, ADocumentMayMoveToAThreadThatReleasesItsHandles) {
  for (int round = 0; round < 50; ++round) {
    Handle root = Parse("{\"a\": [1, 2]}");
    std::vector<Handle> handles(100, Handle());
    for (Handle& handle : handles) handle = root->GetMember("a");
    std::string text;
    std::thread([&text, root = std::move(root), handles = std::move(handles)]() mutable {
      handles.resize(10);
      text = Text(handles.back());
      handles.clear();
      root = Handle();
    }).join();
    EXPECT_EQ(text, "[1,2]");
  }
}

// Keys are cleared after the thread's own variables are gone.
TEST(JsonHandle, MayBeReleasedAsTheLastStepOfAThread) {
  pthread_key_t key = 0;
  ASSERT_EQ(pthread_key_create(&key, [](void* held) { delete static_cast<Handle*>(held); }), 0);
  Handle root = Parse("{\"a\": [1, 2]}");
  for (int round = 0; round < 20; ++round) {
    std::thread([&root, key] { pthread_setspecific(key, new Handle(root->GetMember("a"))); }).join();
  }
  pthread_key_delete(key);
  EXPECT_EQ(Text(root), "{\"a\":[1,2]}");
}

TEST(JsonHandle, WriteTakesAReferenceForTheCallOnly) {
  Handle root = Parse("[1]");
  EXPECT_EQ(Bytes(tovkit::Json::Write(root, nullptr)), "[1]");
  EXPECT_EQ(root.UseCount(), 1);
}

// A stand-in that is counted: how often it was deleted.
struct Counted {
  explicit Counted(int* destroyed) : destroyed_(destroyed) {}
  Counted(const Counted&) = delete;
  Counted& operator=(const Counted&) = delete;
  virtual ~Counted() { ++*destroyed_; }
  int* destroyed_;
};

TEST(JsonHandle, TakesOwnershipOfTheObjectWhichMayBeNull) {
  int destroyed = 0;
  { const SharedPtr<Counted> handle(new Counted(&destroyed)); }
  EXPECT_EQ(destroyed, 1);
  const SharedPtr<Counted> null(static_cast<Counted*>(nullptr));
  EXPECT_FALSE(null);
  EXPECT_NE(BlockOf(null), nullptr);
  EXPECT_EQ(null.UseCount(), 1);
}

TEST(JsonHandle, TheControlBlockForAnObjectTakesOwnershipOfItWhichMayBeNull) {
  struct Derived final : Counted {
    using Counted::Counted;
  };
  int destroyed = 0;
  tovkit::sp_counted_base* block = new tovkit::sp_counted_impl<Counted>(new Derived(&destroyed));
  block->release();
  EXPECT_EQ(destroyed, 1) << "by its virtual destructor";
  block = new tovkit::sp_counted_impl<Counted>(nullptr);
  block->release();
}

TEST(JsonHandle, ReleaseCountsOneUserLessAndTheLastDeletesTheObjectAndTheBlock) {
  struct Block final : tovkit::sp_counted_base {
    explicit Block(std::string* target) : done(target) {}
    ~Block() override { *done += "block "; }
    void dispose() noexcept override { *done += "object "; }
    std::string* done;
  };
  std::string done;
  tovkit::sp_counted_base* const block = new Block(&done);
  EXPECT_EQ(block->getUseCount(), 1);
  block->addRef();
  block->addRef();
  EXPECT_EQ(block->getUseCount(), 3);
  block->release();
  block->release();
  EXPECT_EQ(block->getUseCount(), 1);
  EXPECT_EQ(done, "");
  block->release();
  EXPECT_EQ(done, "object block ");
}

TEST(JsonHandle, LastReleaseDeletesTheObjectOnce) {
  int destroyed = 0;
  {
    SharedPtr<Counted> outer(new Counted(&destroyed));
    {
      const SharedPtr<const Counted> inner = outer;
      outer = SharedPtr<Counted>();
      EXPECT_EQ(destroyed, 0);
      EXPECT_EQ(inner.UseCount(), 1);
    }
    EXPECT_EQ(destroyed, 1);
  }
  EXPECT_EQ(destroyed, 1);
}

TEST(JsonHandle, ConvertsAsPointersDoAndNoOtherWay) {
  static_assert(std::is_convertible_v<Handle, ConstHandle>);
  static_assert(!std::is_convertible_v<ConstHandle, Handle>);
  static_assert(!std::is_constructible_v<Handle, const JsonValue*>);
  static_assert(!std::is_convertible_v<JsonValue*, Handle>);
  static_assert(!std::is_default_constructible_v<JsonValue>);
}

}  // namespace
