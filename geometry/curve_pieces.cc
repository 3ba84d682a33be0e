// SPDX-License-Identifier: MIT
#include "curve_pieces.h"

#include "float_steps.h"

#include <algorithm>
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

// The farthest place from which a pair of samples, one of 0 to `below` and one of `above` to the last, closer
// together than `step`, is on the ray's side. Minus infinity when none is so close.
float Farthest(const Sorted& sorted, int below, int above, float step) {
  float farthest = -kInfinity;
  for (int high = above; high < kSamples && sorted.along[high] - sorted.along[below] < step; ++high) {
    for (int low = below; low >= 0 && sorted.along[high] - sorted.along[low] < step; --low)
      farthest = std::max(farthest, std::min(sorted.across[high], sorted.across[low]));
  }
  return farthest;
}

class Pieces {
 public:
  Pieces(const RaySamples& samples, float low, float high, std::vector<BandEntry>& entries)
      : takesEqual_(samples.takesEqual), low_(low), high_(high), first_(entries.size()), entries_(entries) {}

  void Add(float from, float to, float farthest) {
    from = std::max(from, low_);
    to = std::min(to, high_);
    if (farthest == -kInfinity || from > to) return;
    const float bound = takesEqual_ ? NextUp(farthest) : farthest;
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
  bool takesEqual_;
  float low_, high_;
  std::size_t first_;
  std::vector<BandEntry>& entries_;
};

}  // namespace

void AddCrossingPieces(const RaySamples& samples, float low, float high, std::vector<BandEntry>& entries) {
  const Sorted sorted = SortAlong(samples);
  const float step = samples.largestStep;
  Pieces pieces(samples, low, high, entries);
  // The samples `first` to `last` have one value.
  for (int first = 0, last = 0; first < kSamples; first = last + 1) {
    last = first;
    const float value = sorted.along[first];
    while (last + 1 < kSamples && sorted.along[last + 1] == value) ++last;
    if (last + 1 == kSamples) break;
    if (first > 0) pieces.Add(value, value, Farthest(sorted, first - 1, last + 1, step));
    pieces.Add(NextUp(value), NextDown(sorted.along[last + 1]), Farthest(sorted, last, last + 1, step));
  }
}

}  // namespace tovkit
