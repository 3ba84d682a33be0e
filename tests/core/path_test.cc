// SPDX-License-Identifier: MIT
#include <tovmx/path.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace {

struct Record {
  float x, y;
  std::uint32_t flags;
  bool operator==(const Record& o) const { return x == o.x && y == o.y && flags == o.flags; }
};

std::vector<Record> RecordsOf(const CorePath& path) {
  std::vector<Record> records;
  for (int i = 0; i <= path.GetPointCounter(); ++i) {
    CorePointF point;
    std::uint32_t flags = 0;
    EXPECT_TRUE(path.GetPoint(i, point, flags));
    records.push_back({point.x, point.y, flags});
  }
  return records;
}

TEST(CorePath, CounterIsTheLastIndexAndMinusOneWhenEmpty) {
  CorePath path;
  EXPECT_EQ(path.GetPointCounter(), -1);
  EXPECT_EQ(path.GetPoints(), nullptr);
  path.MoveTo(1, 2);
  EXPECT_EQ(path.GetPointCounter(), 0);
}

TEST(CorePath, OperationsWriteTheirRecords) {
  CorePath path;
  path.MoveTo(1, 2);
  path.LineTo(3, 4);
  path.QuadTo(5, 6, 7, 8);
  path.CubicTo(9, 10, 11, 12, 13, 14);
  path.Close();
  EXPECT_EQ(RecordsOf(path), (std::vector<Record>{{1, 2, 0x100},
                                                  {3, 4, 0x200},
                                                  {5, 6, 0x400},
                                                  {7, 8, 0},
                                                  {9, 10, 0x800},
                                                  {11, 12, 0},
                                                  {13, 14, 0x2}}));
}

TEST(CorePath, ArcIsFourRecordsInTheirOrder) {
  CorePath path;
  path.ArcTo(1, 2, 3, 4, 5, 6, 7);
  EXPECT_EQ(RecordsOf(path), (std::vector<Record>{{1, 2, 0x1000}, {3, 4, 0}, {5, 0, 0}, {6, 7, 0}}));
}

TEST(CorePath, CloseOfAnEmptyPathDoesNothing) {
  CorePath path;
  path.Close();
  EXPECT_EQ(path.GetPointCounter(), -1);
}

TEST(CorePath, RecordsAreAddedAsTheyAreAndClearedTogether) {
  CorePath source;
  source.MoveTo(1, 2);
  source.QuadTo(3, 4, 5, 6);
  CorePath copy;
  for (int i = 0; i <= source.GetPointCounter(); ++i) copy.AddPoint(source.GetPoints()[i]);
  ASSERT_EQ(copy.GetPointCounter(), source.GetPointCounter());
  for (int i = 0; i <= source.GetPointCounter(); ++i) {
    CorePointF wanted, point;
    std::uint32_t wantedFlags = 0, flags = 0;
    ASSERT_TRUE(source.GetPoint(i, wanted, wantedFlags));
    ASSERT_TRUE(copy.GetPoint(i, point, flags));
    EXPECT_EQ(point.x, wanted.x);
    EXPECT_EQ(point.y, wanted.y);
    EXPECT_EQ(flags, wantedFlags);
  }
  copy.Clear();
  EXPECT_EQ(copy.GetPointCounter(), -1);
  EXPECT_EQ(copy.GetPoints(), nullptr);
  EXPECT_EQ(source.GetPointCounter(), 2);
}

TEST(CorePath, PointOutsideTheRangeLeavesTheOutputsUntouched) {
  CorePath path;
  path.MoveTo(1, 2);
  CorePointF point{8, 9};
  std::uint32_t flags = 7;
  EXPECT_FALSE(path.GetPoint(-1, point, flags));
  EXPECT_FALSE(path.GetPoint(1, point, flags));
  EXPECT_EQ(point, (CorePointF{8, 9}));
  EXPECT_EQ(flags, 7u);
}

}  // namespace
