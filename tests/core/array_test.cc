// SPDX-License-Identifier: MIT
#include <tovmx/array.h>
#include <tovmx/string.h>

#include <gtest/gtest.h>

#include <climits>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

// The sanitizers' allocators end the process for a request that no machine grants, unless told otherwise.
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
extern "C" __attribute__((visibility("default"))) const char* __asan_default_options() {
  return "allocator_may_return_null=1";
}
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_options() {
  return "allocator_may_return_null=1";
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)

namespace {

// The capacities that appending one element at a time passes through.
std::vector<int> CapacitiesUpTo(int size, int growth) {
  CoreArray<int> array(growth);
  std::vector<int> capacities;
  for (int i = 0; i < size; ++i) {
    EXPECT_TRUE(array.Add(i));
    if (capacities.empty() || capacities.back() != array.GetCapacity())
      capacities.push_back(array.GetCapacity());
  }
  return capacities;
}

TEST(CoreArray, GrowsByFourBelow32ThenByAnEighth) {
  EXPECT_EQ(CapacitiesUpTo(46, 0), (std::vector<int>{4, 8, 12, 16, 20, 24, 28, 32, 36, 40, 45, 50}));
}

TEST(CoreArray, GrowsBy1024From8200On) {
  CoreArray<int> array;
  ASSERT_TRUE(array.SetSize(8199));
  array.Add(1);
  EXPECT_EQ(array.GetCapacity(), 8199 + 8199 / 8);
  CoreArray<int> larger;
  ASSERT_TRUE(larger.SetSize(8200));
  larger.Add(1);
  EXPECT_EQ(larger.GetCapacity(), 8200 + 1024);
}

TEST(CoreArray, UsesAnExplicitGrowthStep) {
  EXPECT_EQ(CapacitiesUpTo(21, 10), (std::vector<int>{10, 20, 30}));
}

TEST(CoreArray, NegativeGrowthCountsAsZero) { EXPECT_EQ(CapacitiesUpTo(1, -3), (std::vector<int>{4})); }

TEST(CoreArray, AppendsAnElementOfItself) {
  CoreArray<CoreString> array;
  array.Add("first");
  for (int i = 0; i < 100; ++i) array.Add(array[0]);
  EXPECT_STREQ(array[100].c_str(), "first");
  EXPECT_STREQ(array[0].c_str(), "first");
}

TEST(CoreArray, SetSizeFillsWithDefaultsAndDropsTheTail) {
  CoreArray<CoreString> array;
  array.Add("kept");
  ASSERT_TRUE(array.SetSize(3));
  EXPECT_STREQ(array[0].c_str(), "kept");
  EXPECT_STREQ(array[2].c_str(), "");
  ASSERT_TRUE(array.SetSize(1));
  EXPECT_EQ(array.GetSize(), 1);
  EXPECT_FALSE(array.SetSize(-1));
  EXPECT_EQ(array.GetSize(), 1);
}

TEST(CoreArray, RefusesASizeThatMemoryCannotHold) {
  struct Large {
    char bytes[1 << 20];
  };
  CoreArray<Large> array;
  EXPECT_FALSE(array.SetSize(INT_MAX));
  EXPECT_EQ(array.GetSize(), 0);
}

// Copies while it is allowed to, and counts those that are alive.
struct Fragile {
  Fragile(int* left, int* living) : copiesLeft(left), alive(living) { ++*alive; }
  Fragile(const Fragile& other) : copiesLeft(other.copiesLeft), alive(other.alive) {
    if ((*copiesLeft)-- == 0) throw std::runtime_error("no more copies");
    ++*alive;
  }
  Fragile(Fragile&& other) noexcept : copiesLeft(other.copiesLeft), alive(other.alive) { ++*alive; }
  Fragile& operator=(const Fragile&) = delete;
  ~Fragile() { --*alive; }
  int* copiesLeft;
  int* alive;
};

TEST(CoreArray, AnElementThatThrowsLeavesTheArrayAsItWas) {
  int alive = 0;
  for (int allowed = 0; allowed < 12; ++allowed) {
    int copiesLeft = allowed;
    const Fragile value(&copiesLeft, &alive);
    CoreArray<Fragile> array;
    EXPECT_THROW(
        {
          for (;;) array.Add(value);
        },
        std::runtime_error);
    EXPECT_EQ(array.GetSize(), allowed);
    EXPECT_EQ(alive, allowed + 1);
  }
  EXPECT_EQ(alive, 0);
}

TEST(CoreArray, ACopyWhoseElementThrowsLeavesNothingBehind) {
  int alive = 0;
  {
    int copiesLeft = 5;
    CoreArray<Fragile> array;
    for (int i = 0; i < 5; ++i) array.Add(Fragile(&copiesLeft, &alive));
    copiesLeft = 3;
    EXPECT_THROW(CoreArray<Fragile>{array}, std::runtime_error);
    EXPECT_EQ(alive, 5);
  }
  EXPECT_EQ(alive, 0);
}

TEST(CoreArray, StaysAtItsSizeWhenTheNextStepWouldPassTheLargestInt) {
  struct Nothing {};
  CoreArray<Nothing> array(INT_MAX);
  ASSERT_TRUE(array.SetSize(1));
  EXPECT_FALSE(array.Add({}));
  EXPECT_EQ(array.GetSize(), 1);
}

TEST(CoreArray, CopiesAreIndependent) {
  CoreArray<int> a;
  a.Add(1);
  CoreArray<int> b = a;
  a[0] = 2;
  EXPECT_EQ(b[0], 1);
  b = a;
  EXPECT_EQ(b[0], 2);
  const CoreArray<int> c = std::move(b);
  EXPECT_EQ(c.GetSize(), 1);
}

TEST(CoreArray, LockIsRecursiveAndKeepsOthersOut) {
  CoreArray<int> array;
  const auto work = [&array] {
    for (int i = 0; i < 1000; ++i) {
      const auto guard = array.Lock();
      const int size = array.GetSize();
      array.Add(size);
    }
  };
  std::thread other(work);
  work();
  other.join();
  ASSERT_EQ(array.GetSize(), 2000);
  for (int i = 0; i < 2000; ++i) ASSERT_EQ(array[i], i);
}

}  // namespace
