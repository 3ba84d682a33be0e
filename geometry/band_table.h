// SPDX-License-Identifier: MIT
// Ranges of one coordinate, with what holds in them for the other, in bands that are found without a search.
//
//     along   low                                          high
//     bands   |  0  |  1  |  2  |  3  |  4  |  5  |  6  |  7  |    the outer ones go on without an end
//     entries    [---a---]   [-b-]  [--------c--------]
//     kept     a   | a b | b c ...            the greatest bound first, none behind one that always answers
//
// An entry answers for the coordinates `along` of its range and those across that are less than its bound:
// with yes, or by asking a segment. Where nobody is to be asked, and the answers of a band change at one
// place at the most, three bounds say it all: those below the place, at it, and above.
//
// Thread-safety: a table that is built may be asked from any thread.
#pragma once

#include "float_steps.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

namespace tovkit {

struct BandEntry {
  float from;  // the range along the table, both ends included
  float to;
  float bound;  // no answer for a coordinate across that is not less
  int segment;  // whom to ask; kCertain for yes
};

inline constexpr int kCertain = -1;

class FourTables;

class BandTable {
 public:
  enum class Answer { kNo, kYes, kAsk };
  static constexpr float kNowhere = -std::numeric_limits<float>::infinity();

  // Bands of equal width between `low` and `high`, as many as give each entry some seven places.
  void Build(std::vector<BandEntry> entries, float low, float high);

  // The answer for (along, across), both finite, if there is one without asking.
  Answer Look(float along, float across) const {
    const Band& band = bands_[BandOf(along)];
    const unsigned place =
        static_cast<unsigned>(along >= band.split) + static_cast<unsigned>(along > band.split);
    if (across < band.bounds[place]) return Answer::kYes;
    return across < band.asked ? Answer::kAsk : Answer::kNo;
  }

  // What holds for every `along` in a range: yes for those across that are less than `yes`, no for those that
  // are not less than `no`. Where there is a `hole`, which is not NaN, yes holds for `along` that is not
  // exactly that.
  struct Limits {
    float yes = -kNowhere;
    float no = kNowhere;
    float hole = std::numeric_limits<float>::quiet_NaN();
    float yesInHole = -kNowhere;

    // Those of both ranges.
    void Add(const Limits& other);
  };
  // Those from `from` to `to`, which may be infinite.
  Limits Between(float from, float to) const;

  // The answer in any case. `ask` takes a segment.
  template <typename Ask>
  bool Any(float along, float across, const Ask& ask) const {
    const Answer answer = Look(along, across);
    if (answer != Answer::kAsk) return answer == Answer::kYes;
    const std::size_t band = BandOf(along);
    const BandEntry* const end = entries_.data() + starts_[band + 1];
    for (const BandEntry* at = entries_.data() + starts_[band]; at != end && across < at->bound; ++at) {
      if (along < at->from || along > at->to) continue;
      if (at->segment == kCertain || ask(at->segment)) return true;
    }
    return false;
  }

 private:
  friend class FourTables;

  struct Band {
    float split = 0;                                   // where the answers change
    float bounds[3] = {kNowhere, kNowhere, kNowhere};  // yes below it, at it, above it
    float asked = kNowhere;                            // the bound of those that are to be asked
  };

  // The number of an entry in a band, and whether its range begins or ends there.
  struct Placed {
    std::uint32_t number : 30;
    std::uint32_t begins : 1;
    std::uint32_t ends : 1;
  };

  // Never decreases as `along` grows, so that a range lies in the bands of its ends and those between.
  std::size_t BandOf(float along) const { return PlaceAt((along - low_) * scale_, last_); }
  void TakeBands(const std::vector<BandEntry>& entries, Placed* placed);
  static Band BandFrom(const std::vector<BandEntry>& entries, const Placed* first, const Placed* last);

  float low_ = 0;
  float scale_ = 0;  // bands to the unit
  float last_ = 0;   // the number of the last band
  std::vector<Band> bands_ = std::vector<Band>(1);
  std::vector<std::uint32_t> starts_;
  std::vector<BandEntry> entries_;
};

}  // namespace tovkit
