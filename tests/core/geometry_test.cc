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

TEST(CoreRect, NormalizeExchangesOnlyEdgesThatAreReversed) {
  for (const CoreRect& rect : {CoreRect{1, 2, 5, 7}, {5, 2, 1, 7}, {1, 7, 5, 2}}) {
    CoreRect normal = rect;
    normal.Normalize();
    EXPECT_EQ(normal, (CoreRect{1, 2, 5, 7}));
  }
}

TEST(CoreSize, EqualOnlyWithBothFields) {
  EXPECT_TRUE((CoreSize{1, 2}) == (CoreSize{1, 2}));
  EXPECT_TRUE((CoreSize{1, 2}) != (CoreSize{0, 2}));
  EXPECT_FALSE((CoreSize{1, 2}) == (CoreSize{1, 0}));
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

TEST(CoreMatrix, EachOperationKeepsToItsAxis) {
  CoreMatrix m{2, 3, 5, 7, 11, 13};
  m.Translate(100, 1000);
  EXPECT_EQ(m, (CoreMatrix{2, 3, 5, 7, 111, 1013}));
  m.Scale(10, 100);
  EXPECT_EQ(m, (CoreMatrix{20, 300, 50, 700, 1110, 101300}));
  EXPECT_EQ(m.Transform({1, 2}), (CorePointF{20 + 100 + 1110, 300 + 1400 + 101300}));
  for (const CoreMatrix& other : {CoreMatrix{0, 300, 50, 700, 1110, 101300},
                                  {20, 0, 50, 700, 1110, 101300},
                                  {20, 300, 0, 700, 1110, 101300},
                                  {20, 300, 50, 0, 1110, 101300},
                                  {20, 300, 50, 700, 0, 101300},
                                  {20, 300, 50, 700, 1110, 0}}) {
    EXPECT_TRUE(m != other);
    EXPECT_FALSE(m == other);
  }
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
