// SPDX-License-Identifier: MIT
// Cells of the plane in each of which all points have one answer, and the others.
//
//     places   64 | 64 | 64 | ...    of each coordinate, of equal width, the outer ones without an end
//     strips   AB | AB | AB | ...    of 64 places A has those that are alike, B the others
//     cells    a strip of rows by a strip of columns: hit, missed, or open
//
// What a ray meets changes little from place to place, but where a sample of a curve lies: from exactly
// there, rays pass that cross just beside. So a place may have a hole, one coordinate of which nothing is
// said. Where there are more, or a line that hits level points, it is in B and opens no more than itself.
//
// Thread-safety: a map that is built may be asked from any thread.
#pragma once

#include "band_table.h"
#include "near_grid.h"

#include <tovmx/path.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

namespace tovkit {

class CellMap {
 public:
  // What decides: a point from which all four rays cross is hit, and one that also nothing else can hit is
  // missed.
  struct Question {
    const BandTable* rays;                 // right, down, left, up
    const std::vector<BandEntry>* levels;  // by x, by y: where lines hit level points
    const NearGrid& near;
    bool fill;         // the rays count
    bool isCertain;    // mostly without asking a segment
    bool mayBeMissed;  // nothing but rays, levels and what is near hits a point
    CorePointF low;    // the box of what is asked
    CorePointF high;
  };
  // As fine as pays for `count` points. A box that has no width leaves every point open.
  void Build(const Question& question, std::size_t count);

  // Writes the answers of the points in cells that have one, and the numbers of the others, of which 65,536
  // have room, to `open`. Returns how many are open. What is written to `hits` for those says nothing.
  std::size_t Answer(const CorePointF* points, std::size_t count, bool* hits, std::uint16_t* open) const;

 private:
  enum Cell : std::uint8_t { kMissed = 0, kHit = 1, kOpen = 2 };

  struct Place {
    float hole = std::numeric_limits<float>::quiet_NaN();
    std::uint32_t strip = 0;
  };
  // Of one coordinate.
  struct Scale {
    float low = 0;
    float perUnit = 0;
    float last = 0;
    std::vector<Place> places = std::vector<Place>(1);
  };
  struct Strips;

  static Strips Divide(const Question& question, int axis, std::size_t groups, Scale& scale);
  std::vector<std::int32_t> NearGroups(const NearGrid& near, std::size_t side) const;
  void Fill(const Question& question, const Strips& columns, const Strips& rows);
  void CellsOf(const CorePointF* four, std::uint8_t* cells) const;

  Scale x_;
  Scale y_;  // its strips are where their cells begin
  std::vector<std::uint8_t> cells_ = std::vector<std::uint8_t>(1, kOpen);
};

}  // namespace tovkit
