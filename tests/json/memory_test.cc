// SPDX-License-Identifier: MIT
// What handles leave in the heap: the C library's own count of the bytes in use, before and after.
#include "block_cache.h"
#include "json_support.h"
#include "rapidjson_wrapper.h"

#include <malloc.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

namespace tovkit {
namespace {

// The sanitizers and valgrind bring heaps of their own, of which the C library counts nothing.
bool HasTheHeapOfTheCLibrary() {
  const std::size_t before = mallinfo2().uordblks;
  const std::vector<char> block(100000);  // more than the threads keep for themselves
  return mallinfo2().uordblks - before >= block.size();
}

#define SKIP_WITHOUT_THE_HEAP_OF_THE_C_LIBRARY() \
  if (!HasTheHeapOfTheCLibrary()) GTEST_SKIP() << "the C library counts no bytes here"

constexpr int kRounds = 2000;
constexpr std::ptrdiff_t kSmallestBlock = 16;

// The growth of the heap by what `step` does at each call, without that by the first ones.
template <typename Step>
std::ptrdiff_t GrowthOf(Step step) {
  for (int i = 0; i < 10; ++i) step();
  const std::size_t before = mallinfo2().uordblks;
  for (int i = 0; i < kRounds; ++i) step();
  return static_cast<std::ptrdiff_t>(mallinfo2().uordblks - before);
}

TEST(JsonMemory, ANodelessWrapperFreesTheNodeThatItWasAssigned) {
  SKIP_WITHOUT_THE_HEAP_OF_THE_C_LIBRARY();
  const Handle source = Parse("[1,2]");
  EXPECT_LT(GrowthOf([&source] {
              RapidjsonWrapper target;
              target.Assign(source);
              target.Assign(source);
            }),
            kRounds * kSmallestBlock / 2);
}

TEST(JsonMemory, AnObjectFreesWhatItOwnsTheDocumentOfARootNothingOfAnyOther) {
  SKIP_WITHOUT_THE_HEAP_OF_THE_C_LIBRARY();
  const std::string text = "[\"" + std::string(5000, 'x') + "\"]";
  EXPECT_LT(GrowthOf([&text] { EXPECT_TRUE(Parse(text)); }), kRounds * kSmallestBlock / 2);
  const Handle root = Parse(text);
  const std::size_t before = mallinfo2().uordblks;
  for (int i = 0; i < 100; ++i) root->GetAt(0);
  EXPECT_GE(mallinfo2().uordblks, before) << "an element's object frees none of the document";
  EXPECT_EQ(Text(root), text);
}

TEST(JsonMemory, AClonedAndAssignedDocumentIsFreed) {
  SKIP_WITHOUT_THE_HEAP_OF_THE_C_LIBRARY();
  const Handle source = Parse("[1,{\"a\":2}]");
  EXPECT_LT(GrowthOf([&source] {
              const Handle clone = source->Clone();
              clone->Assign(source);
              clone->GetAt(1)->Assign(source);
            }),
            kRounds * kSmallestBlock / 2);
}

// A thread keeps a few blocks for its next handles and returns the others at once.
TEST(JsonMemory, AThreadKeepsFewOfTheBlocksThatItReleases) {
  SKIP_WITHOUT_THE_HEAP_OF_THE_C_LIBRARY();
  constexpr int kHandles = 2000;
  const Handle root = Parse("[1]");
  std::thread([&root] {
    std::vector<Handle> handles;
    handles.reserve(kHandles);
    const std::size_t before = mallinfo2().uordblks;
    for (int i = 0; i < kHandles; ++i) handles.push_back(root->GetAt(0));
    const std::size_t held = mallinfo2().uordblks;
    EXPECT_GT(held - before, kHandles * std::size_t{64});
    handles.clear();
    EXPECT_LT(mallinfo2().uordblks, before + (held - before) / 10);
  }).join();
}

TEST(JsonMemory, AThreadKeepsBlocksForItsNextHandles) {
  const Handle root = Parse("[1]");
  std::thread([&root] {
    const auto keptBlocks = [] {
      unsigned count = 0;
      for (const auto* block = block_cache::kept.first; block != nullptr; block = block->next) ++count;
      return count;
    };
    EXPECT_EQ(keptBlocks(), 0u);
    { const std::vector<Handle> released(100); }
    EXPECT_EQ(keptBlocks(), block_cache::kMostKept);
    EXPECT_EQ(block_cache::kept.room, 0u);
    const Handle handle = root->GetAt(0);
    EXPECT_LT(keptBlocks(), block_cache::kMostKept + (block_cache::kMostKept == 0));
    EXPECT_EQ(keptBlocks() + block_cache::kept.room, block_cache::kMostKept);
  }).join();
}

// New ones and kept ones.
TEST(JsonMemory, ABlockIsAlignedForADerivedClassAsStrictAsMaxAlignT) {
  struct alignas(std::max_align_t) Block final : sp_counted_base {
    void dispose() noexcept override {}
  };
  for (int round = 0; round < 2; ++round) {
    std::vector<Block*> blocks;
    for (int i = 0; i < 100; ++i) blocks.push_back(new Block);
    for (Block* const block : blocks) {
      EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % alignof(std::max_align_t), 0U);
      block->release();
    }
  }
}

TEST(JsonMemory, AThreadThatEndsReturnsTheBlocksThatItKept) {
  SKIP_WITHOUT_THE_HEAP_OF_THE_C_LIBRARY();
  const Handle root = Parse("[1]");
  EXPECT_LT(GrowthOf([&root] { std::thread([&root] { const Handle handle = root->GetAt(0); }).join(); }),
            kRounds * kSmallestBlock / 2);
}

}  // namespace
}  // namespace tovkit
