// SPDX-License-Identifier: MIT
// A path that many points are asked of, with one tolerance.
//
// The verdict is the same whatever the order of the segments: some segment is hit, or all four rays cross
// one. So both are looked up by place, and only segments that may decide are asked, by the tests of
// hit_visitor.h:
//
//   rays_      for each ray, where it crosses what; of a curve exactly, from its samples
//   near_      the segments near a point, which alone may be hit, but for
//   levels_    lines that lie at exactly the point's x or y, or nearly so, which are hit from far away
//   cells_     where all of this has one answer for every point
//   unusual_   segments with numbers for which none of this is proven; every point is tested against them
#pragma once

#include "band_table.h"
#include "cell_map.h"
#include "curve_kernel.h"
#include "four_tables.h"
#include "hit_query.h"
#include "near_grid.h"

#include <tovmx/path.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tovkit {

// A line, a quadratic or a cubic.
struct PreparedSegment {
  CorePathPoint points[4];
  int degree;
};

class PreparedPath {
 public:
  // Whether `count` points are enough to pay for the preparation, and the tolerance one that it is made for.
  static bool IsWorthwhile(const CorePath& path, std::size_t count, float tolerance);

  PreparedPath(const CorePath& path, float tolerance, bool testFill, std::size_t count);

  // What HitTestPath answers for each.
  void Test(const CorePointF* points, std::size_t count, bool* hits) const;

 private:
  static constexpr std::size_t kBlock = 512;        // points
  static constexpr std::size_t kSkippedBlocks = 7;  // where cells hardly know an answer

  struct Parts;

  void Prepare(int segment, Parts& parts);
  void PrepareLine(int segment, Parts& parts);
  void PrepareCurve(int segment, Parts& parts);
  void AddLevels(int segment, int axis, double reach, Parts& parts) const;
  void AddLineRays(int segment, Parts& parts) const;
  void AddCurveRays(int segment, const SampleRow* samples, Parts& parts) const;
  void AddCurveSticks(int segment, const SampleRow* samples, Parts& parts) const;

  // Of the points of a block, those whose numbers `open` has.
  void TestBlock(const CorePointF* points, const std::uint16_t* open, std::size_t opens, bool* hits) const;
  bool Touches(const CorePointF& point) const;
  FourTables::Answers LookInside(float x, float y) const;
  bool IsInside(float x, float y) const;
  bool MayBeOnOutline(float x, float y) const;
  bool IsOnOutline(float x, float y) const;
  bool IsHit(int segment, float x, float y) const;
  bool IsCrossed(int segment, unsigned ray, float x, float y) const;

  PreparedPath(const PreparedPath&) = delete;
  PreparedPath& operator=(const PreparedPath&) = delete;

  const CorePath& path_;
  float tolerance_;
  bool testFill_;
  bool testOutline_;  // with a negative tolerance it is never hit
  bool inPieces_;     // curves are worth their exact crossings
  std::vector<PreparedSegment> segments_;
  std::vector<int> unusual_;
  BandTable rays_[4];    // in the order of the bits of Ray
  FourTables fourRays_;  // the same
  BandTable levels_[2];  // by x, by y
  bool hasLevels_ = false;
  NearGrid near_;
  CellMap cells_;
};

}  // namespace tovkit
