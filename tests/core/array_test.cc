#include <tovmx/array.h>
#include <tovmx/string.h>

#include <gtest/gtest.h>

#include <climits>
#include <thread>
#include <utility>
#include <vector>

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
