// SPDX-License-Identifier: MIT
#include <tovmx/geometry.h>

#include <gtest/gtest.h>

namespace {

TEST(CoreRect, IsEmptyOnlyWithoutWidthOrHeight) {
  EXPECT_TRUE((CoreRect{1, 1, 1, 5}).IsEmpty());
  EXPECT_TRUE((CoreRect{1, 5, 3, 5}).IsEmpty());
  EXPECT_FALSE((CoreRect{1, 1, 2, 2}).IsEmpty());
  EXPECT_FALSE((CoreRect{2, 2, 1, 1}).IsEmpty());
}

TEST(CoreRect, NormalizeSwapsReversedEdges) {
  CoreRect rect{5, 7, 1, 2};
  rect.Normalize();
  EXPECT_EQ(rect, (CoreRect{1, 2, 5, 7}));
}

TEST(CoreRect, EqualOnlyWithAllFourEdges) {
  const CoreRect rect{1, 2, 3, 4};
  EXPECT_TRUE(rect == (CoreRect{1, 2, 3, 4}));
  for (const CoreRect& other : {CoreRect{0, 2, 3, 4}, {1, 0, 3, 4}, {1, 2, 0, 4}, {1, 2, 3, 0}}) {
    EXPECT_TRUE(rect != other);
    EXPECT_FALSE(rect == other);
  }
}

TEST(CorePoint, EqualOnlyWithBothFields) {
  EXPECT_TRUE((CorePoint{1, 2}) == (CorePoint{1, 2}));
  EXPECT_TRUE((CorePoint{1, 2}) != (CorePoint{0, 2}));
  EXPECT_TRUE((CorePoint{1, 2}) != (CorePoint{1, 0}));
}

TEST(CoreMatrix, DefaultIsTheIdentity) { EXPECT_EQ(CoreMatrix().Transform({3, 4}), (CorePointF{3, 4})); }

TEST(CoreMatrix, OperationsAreAppended) {
  CoreMatrix m;
  m.Scale(2, 3);
  m.Translate(10, 20);
  EXPECT_EQ(m.Transform({1, 1}), (CorePointF{12, 23}));
  CoreMatrix n;
  n.Translate(10, 20);
  n.Scale(2, 3);
  EXPECT_EQ(n.Transform({1, 1}), (CorePointF{22, 63}));
}

TEST(CoreMatrix, ConcatMapsByTheFirstThenByTheSecond) {
  const CoreMatrix turn{0, 1, -1, 0, 0, 0};
  CoreMatrix m;
  m.Translate(1, 0);
  m.Concat(turn);
  EXPECT_EQ(m.Transform({0, 0}), (CorePointF{0, 1}));
}

// Small whole numbers, no two the same, so that each product counts.
TEST(CoreMatrix, ConcatIsOneMapAfterTheOtherForAllSixNumbers) {
  const CoreMatrix first{2, 3, 5, 7, 11, 13}, next{17, -19, 23, 29, -31, 37};
  CoreMatrix both = first;
  both.Concat(next);
  for (const CorePointF p : {CorePointF{0, 0}, CorePointF{1, 0}, CorePointF{0, 1}, CorePointF{-3, 5}})
    EXPECT_EQ(both.Transform(p), next.Transform(first.Transform(p)));
}

}  // namespace
