// SPDX-License-Identifier: MIT
#include "curve_pieces.h"

#include "float_steps.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace tovkit {

namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity();

struct Sorted {
  float along[kSamples];
  float across[kSamples];
};

// Most curves go one way, or one way and back: an insertion is next to its place.
Sorted SortAlong(const RaySamples& samples) {
  Sorted sorted;
  const bool falling = samples.along[0] > samples.along[kSamples - 1];
  for (int i = 0; i < kSamples; ++i) {
    const int from = falling ? kSamples - 1 - i : i;
    int at = i;
    for (; at > 0 && sorted.along[at - 1] > samples.along[from]; --at) {
      sorted.along[at] = sorted.along[at - 1];
      sorted.across[at] = sorted.across[at - 1];
    }
    sorted.along[at] = samples.along[from];
    sorted.across[at] = samples.across[from];
  }
  return sorted;
}

// The farthest places from which a pair of samples, one of 0 to `below` and one of `above` to the last,
// closer together than `step`, is on each ray's side. Minus infinity when none is so close.
struct Farthest {
  float greater = -kInfinity;
  float less = -kInfinity;

  Farthest(const Sorted& sorted, int below, int above, float step) {
    for (int high = above; high < kSamples && sorted.along[high] - sorted.along[below] < step; ++high) {
      const float first = sorted.across[high];
      for (int low = below; low >= 0 && sorted.along[high] - sorted.along[low] < step; --low) {
        const float second = sorted.across[low];
        greater = std::max(greater, std::min(first, second));
        less = std::max(less, -std::max(first, second));
      }
    }
  }
};

float LargestStep(const float* values) {
  float step = 0;
  for (int k = 0; k + 1 < kSamples; ++k) step = std::max(step, std::fabs(values[k + 1] - values[k]));
  return step;
}

// The ranges of one ray.
class Pieces {
 public:
  explicit Pieces(std::vector<BandEntry>& entries) : first_(entries.size()), entries_(entries) {}

  void Add(float from, float to, float bound) {
    if (entries_.size() > first_) {
      BandEntry& last = entries_.back();
      if (last.bound == bound && NextUp(last.to) >= from) {
        last.to = to;
        return;
      }
    }
    entries_.push_back({from, to, bound, kCertain});
  }

 private:
  std::size_t first_;
  std::vector<BandEntry>& entries_;
};

}  // namespace

bool AddCrossingPieces(const RaySamples& samples, float low, float high,
                       std::vector<BandEntry>& towardsGreater, std::vector<BandEntry>& towardsLess) {
  const Sorted sorted = SortAlong(samples);
  const float step = LargestStep(samples.along);
  Pieces greater(towardsGreater), less(towardsLess);
  const auto add = [&](float from, float to, const Farthest& farthest) {
    from = std::max(from, low);
    to = std::min(to, high);
    if (farthest.greater == -kInfinity || from > to) return;
    greater.Add(from, to, farthest.greater);
    less.Add(from, to, NextUp(farthest.less));
  };
  // The samples `first` to `last` have one value.
  for (int first = 0, last = 0; first < kSamples; first = last + 1) {
    last = first;
    const float value = sorted.along[first];
    while (last + 1 < kSamples && sorted.along[last + 1] == value) ++last;
    if (last + 1 == kSamples) break;
    if (first > 0) add(value, value, {sorted, first - 1, last + 1, step});
    add(NextUp(value), NextDown(sorted.along[last + 1]), {sorted, last, last + 1, step});
  }
  return sorted.along[0] < low || sorted.along[kSamples - 1] > high;
}

}  // namespace tovkit
