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

// The step is taken from the size at the time, and a size that is set is kept exactly.
TEST(CoreArray, EveryStepFollowsFromTheSize) {
  for (const int size :
       {0, 1, 3, 4, 27, 28, 31, 32, 33, 39, 40, 63, 64, 100, 8191, 8192, 8199, 8200, 8201, 20000}) {
    CoreArray<char> array;
    ASSERT_TRUE(array.SetSize(size));
    EXPECT_EQ(array.GetCapacity(), size);
    ASSERT_TRUE(array.SetSize(size));
    EXPECT_EQ(array.GetCapacity(), size);
    ASSERT_TRUE(array.Add('x'));
    const int step = size < 32 ? 4 : size < 8200 ? size / 8 : 1024;
    EXPECT_EQ(array.GetCapacity(), size + step) << size;
    EXPECT_EQ(array.GetSize(), size + 1);
    for (int i = 0; i < size; ++i) ASSERT_EQ(array[i], 0) << size << ", " << i;
    EXPECT_EQ(array[size], 'x');
  }
}

TEST(CoreArray, UsesAnExplicitGrowthStep) {
  EXPECT_EQ(CapacitiesUpTo(21, 10), (std::vector<int>{10, 20, 30}));
}

TEST(CoreArray, CopiesAndMovesCarryTheGrowthStep) {
  CoreArray<int> array(7);
  ASSERT_TRUE(array.Add(1));
  const auto capacityBehind = [](CoreArray<int>& grown) {
    while (grown.GetSize() < grown.GetCapacity()) grown.Add(2);
    const int before = grown.GetCapacity();
    grown.Add(3);
    return grown.GetCapacity() - before;
  };
  CoreArray<int> copy(array);
  EXPECT_EQ(copy.GetCapacity(), 1) << "as many as there are";
  EXPECT_EQ(capacityBehind(copy), 7);
  CoreArray<int> assigned(2);
  assigned = array;
  EXPECT_EQ(capacityBehind(assigned), 7);
  CoreArray<int> moved(std::move(array));
  EXPECT_EQ(capacityBehind(moved), 7);
  CoreArray<int> taken(3);
  taken = std::move(moved);
  EXPECT_EQ(capacityBehind(taken), 7);
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

// Each element is destroyed once: by what drops it, by growth, which moves it, and at the end.
TEST(CoreArray, NoElementIsLostOrKept) {
  int alive = 0, copiesLeft = 1000;
  const auto add = [&](CoreArray<Fragile>& array, int count) {
    while (count-- > 0) ASSERT_TRUE(array.Add(Fragile(&copiesLeft, &alive)));
  };
  {
    CoreArray<Fragile> array;
    add(array, 9);
    EXPECT_EQ(alive, 9);
    CoreArray<Fragile> copy(array);
    EXPECT_EQ(alive, 18);
    copy = array;
    EXPECT_EQ(alive, 18);
    CoreArray<Fragile>& same = copy;
    copy = same;
    EXPECT_EQ(copy.GetSize(), 9);
    copy = std::move(same);
    EXPECT_EQ(copy.GetSize(), 9);
    copy.Clear();
    EXPECT_EQ(alive, 9);
    EXPECT_EQ(copy.GetSize(), 0);
    EXPECT_EQ(copy.GetCapacity(), 0);
    EXPECT_EQ(copy.GetData(), nullptr);
    add(copy, 1);
    EXPECT_EQ(copy.GetCapacity(), 4);
    const CoreArray<Fragile> moved(std::move(array));
    EXPECT_EQ(moved.GetSize(), 9);
    EXPECT_EQ(alive, 10);
  }
  EXPECT_EQ(alive, 0);
}

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
  CoreArray<Nothing> largest(INT_MAX - 1);
  ASSERT_TRUE(largest.SetSize(1));
  EXPECT_TRUE(largest.Add({})) << "2 GB that nobody touches";
  EXPECT_EQ(largest.GetCapacity(), INT_MAX);
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
