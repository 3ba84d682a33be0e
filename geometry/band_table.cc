// SPDX-License-Identifier: MIT
#include "band_table.h"

#include "float_steps.h"

#include <algorithm>
#include <cmath>
#include <memory>

namespace tovkit {

namespace {

constexpr double kMostBands = 65536;
constexpr int kFew = 16;              // entries of a band
constexpr float kNarrowest = 1e-25f;  // a range that still has a width to divide

}  // namespace

// In B bands over the width W an entry of the width w has 1 + B * w / W places, so with B = 6 E W / sum(w)
// the E entries have 7 E.
void BandTable::Build(std::vector<BandEntry> entries, float low, float high) {
  if (entries.empty()) return;
  const double width = static_cast<double>(high) - static_cast<double>(low);
  double covered = 0;
  for (const BandEntry& entry : entries) {
    covered += std::max(
        static_cast<double>(std::min(entry.to, high)) - static_cast<double>(std::max(entry.from, low)), 0.0);
  }
  double bands = 1;
  if (high - low > kNarrowest) {
    const double wanted = 6 * static_cast<double>(entries.size());
    bands =
        std::max(1.0, std::floor(std::min({kMostBands, wanted, wanted * width / std::max(covered, 1e-300)})));
  }
  low_ = low;
  scale_ = bands > 1 ? static_cast<float>(bands / width) : 0.0f;
  last_ = static_cast<float>(bands - 1);

  // Where bands have many entries, these are sorted once for all bands.
  if (7 * static_cast<double>(entries.size()) > kFew * bands) {
    std::sort(entries.begin(), entries.end(),
              [](const BandEntry& a, const BandEntry& b) { return a.bound > b.bound; });
  }
  struct Range {
    std::uint32_t first, last;
  };
  std::vector<Range> ranges;
  ranges.reserve(entries.size());
  starts_.assign(static_cast<std::size_t>(bands) + 2, 0);
  for (const BandEntry& entry : entries) {
    const Range range = {static_cast<std::uint32_t>(BandOf(entry.from)),
                         static_cast<std::uint32_t>(BandOf(entry.to))};
    for (std::uint32_t band = range.first; band <= range.last; ++band) ++starts_[band + 2];
    ranges.push_back(range);
  }
  for (std::size_t band = 2; band < starts_.size(); ++band) starts_[band] += starts_[band - 1];
  const std::unique_ptr<Placed[]> placed(new Placed[starts_.back()]);
  for (std::size_t i = 0; i < entries.size(); ++i) {
    const BandEntry& entry = entries[i];
    const auto [first, last] = ranges[i];
    for (std::uint32_t band = first; band <= last; ++band) {
      Placed& one = placed[starts_[band + 1]++];
      one.number = static_cast<std::uint32_t>(i) & 0x3fffffffU;
      one.begins = band == first && entry.from > kNowhere ? 1U : 0U;
      one.ends = band == last && entry.to < -kNowhere ? 1U : 0U;
    }
  }
  starts_.pop_back();
  TakeBands(entries, placed.get());
}

// Behind an entry that is certain in the whole band, those with lesser bounds have nothing to add.
void BandTable::TakeBands(const std::vector<BandEntry>& entries, Placed* placed) {
  const auto isFarther = [&](const Placed& a, const Placed& b) {
    return entries[a.number].bound > entries[b.number].bound;
  };
  entries_.reserve(starts_.back());
  bands_.clear();
  bands_.reserve(starts_.size() - 1);
  Placed* first = placed;
  for (std::size_t band = 0; band + 1 < starts_.size(); ++band) {
    Placed* const end = placed + starts_[band + 1];
    if (end - first > kFew) {
      if (!std::is_sorted(first, end, isFarther)) std::sort(first, end, isFarther);
    } else {
      for (Placed* at = first; at != end; ++at)
        std::rotate(std::upper_bound(first, at, *at, isFarther), at, at + 1);
    }
    starts_[band] = static_cast<std::uint32_t>(entries_.size());
    Placed* last = first;
    while (last != end) {
      const Placed& kept = *last++;
      entries_.push_back(entries[kept.number]);
      if (entries_.back().segment == kCertain && kept.begins == 0 && kept.ends == 0) break;
    }
    bands_.push_back(BandFrom(entries, first, last));
    first = end;
  }
  starts_.back() = static_cast<std::uint32_t>(entries_.size());
}

// Of two holes the second is none: yes holds there as well then, for less.
void BandTable::Limits::Add(const Limits& other) {
  yes = std::min(yes, other.yes);
  no = std::max(no, other.no);
  if (std::isnan(other.hole)) return;
  if (std::isnan(hole)) {
    hole = other.hole;
    yesInHole = other.yesInHole;
  } else if (hole == other.hole) {
    yesInHole = std::min(yesInHole, other.yesInHole);
  } else {
    yes = std::min(yes, other.yesInHole);
  }
}

BandTable::Limits BandTable::Between(float from, float to) const {
  Limits limits;
  const std::size_t last = BandOf(to);
  for (std::size_t i = BandOf(from); i <= last; ++i) {
    const Band& band = bands_[i];
    Limits own;
    own.no = band.asked;
    const auto add = [&own](float bound) {
      own.yes = std::min(own.yes, bound);
      own.no = std::max(own.no, bound);
    };
    if (from < band.split) add(band.bounds[0]);
    if (to > band.split) add(band.bounds[2]);
    if (from <= band.split && band.split <= to) {
      own.no = std::max(own.no, band.bounds[1]);
      if (band.bounds[1] < own.yes) {
        own.hole = band.split;
        own.yesInHole = band.bounds[1];
      }
    }
    limits.Add(own);
  }
  return limits;
}

// The place where the answers change is an end of a range within the band, or its neighbor. Where there are
// more, only what is certain in the whole band is.
BandTable::Band BandTable::BandFrom(const std::vector<BandEntry>& entries, const Placed* first,
                                    const Placed* last) {
  const auto isAsked = [&](const Placed& placed) { return entries[placed.number].segment != kCertain; };
  const auto isWhole = [](const Placed& placed) { return placed.begins == 0 && placed.ends == 0; };
  const auto divides = [&](float split) {
    return std::all_of(first, last, [&](const Placed& placed) {
      const BandEntry& e = entries[placed.number];
      return isAsked(placed) || ((placed.begins == 0 || e.from == split || e.from == NextUp(split)) &&
                                 (placed.ends == 0 || e.to == split || e.to == NextDown(split)));
    });
  };
  Band band;
  if (const Placed* const asked = std::find_if(first, last, isAsked); asked != last)
    band.asked = entries[asked->number].bound;
  const Placed* const any =
      std::find_if(first, last, [&](const Placed& placed) { return !isAsked(placed) && !isWhole(placed); });
  if (any != last) {
    const BandEntry& entry = entries[any->number];
    const float end = any->begins != 0 ? entry.from : entry.to;
    const float places[] = {end, NextUp(end), NextDown(end)};
    const float* const split = std::find_if(places, places + 3, divides);
    if (split == places + 3) {
      band.asked = std::max(band.asked, entries[first->number].bound);
      const Placed& least = last[-1];
      if (!isAsked(least) && isWhole(least)) std::fill_n(band.bounds, 3, entries[least.number].bound);
      return band;
    }
    band.split = *split;
  }
  for (const Placed* placed = first; placed != last; ++placed) {
    if (isAsked(*placed)) continue;
    const BandEntry& entry = entries[placed->number];
    const bool isAt = isWhole(*placed) || (entry.from <= band.split && band.split <= entry.to);
    const bool holds[] = {placed->begins == 0, isAt, placed->ends == 0};
    for (int place = 0; place < 3; ++place) {
      if (holds[place]) band.bounds[place] = std::max(band.bounds[place], entry.bound);
    }
  }
  return band;
}

}  // namespace tovkit
