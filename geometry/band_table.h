// SPDX-License-Identifier: MIT
// Ranges of one coordinate, with what holds in them for the other, in bands that are found without a search.
//
//     along   low                                          high
//     bands   |  0  |  1  |  2  |  3  |  4  |  5  |  6  |  7  |    the outer ones go on without an end
//     entries    [---a---]   [-b-]  [--------c--------]
//     kept     a   | a b | b c ...            the greatest bound first, none behind one that always answers
//
// An entry answers for the coordinates `along` of its range and those across that are less than its bound:
// with yes, or by asking a segment.
//
// Thread-safety: a table that is built may be asked from any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tovkit {

struct BandEntry {
  float from;  // the range along the table, both ends included
  float to;
  float bound;  // no answer for a coordinate across that is not less
  int segment;  // whom to ask; kCertain for yes
};

inline constexpr int kCertain = -1;

class BandTable {
 public:
  // Bands of equal width between `low` and `high`, as many as give each entry some three places.
  void Build(const std::vector<BandEntry>& entries, float low, float high);

  // Whether an entry for (along, across) says yes; both are finite. `ask` takes a segment.
  template <typename Ask>
  bool Any(float along, float across, const Ask& ask) const {
    if (entries_.empty()) return false;
    const std::size_t band = BandOf(along);
    const BandEntry* const end = entries_.data() + starts_[band + 1];
    for (const BandEntry* at = entries_.data() + starts_[band]; at != end && across < at->bound; ++at) {
      if (along < at->from || along > at->to) continue;
      if (at->segment == kCertain || ask(at->segment)) return true;
    }
    return false;
  }

 private:
  // Never decreases as `along` grows, so that a range lies in the bands of its ends and those between.
  std::size_t BandOf(float along) const {
    const float band = (along - low_) * scale_;
    return static_cast<std::size_t>(band > 0.0f ? (band < last_ ? band : last_) : 0.0f);
  }
  void SortBands();

  float low_ = 0;
  float scale_ = 0;  // bands to the unit
  float last_ = 0;   // the number of the last band
  std::vector<std::uint32_t> starts_;
  std::vector<BandEntry> entries_;
};

}  // namespace tovkit
