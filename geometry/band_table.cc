// SPDX-License-Identifier: MIT
#include "band_table.h"

#include "float_steps.h"

#include <algorithm>
#include <cmath>

namespace tovkit {

namespace {

constexpr double kMostBands = 65536;
constexpr float kNarrowest = 1e-25f;  // a range that still has a width to divide

}  // namespace

// In B bands over the width W an entry of the width w has 1 + B * w / W places, so with B = 6 E W / sum(w)
// the E entries have 7 E.
void BandTable::Build(const std::vector<BandEntry>& entries, float low, float high) {
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

  starts_.assign(static_cast<std::size_t>(bands) + 2, 0);
  for (const BandEntry& entry : entries) {
    for (std::size_t band = BandOf(entry.from); band <= BandOf(entry.to); ++band) ++starts_[band + 2];
  }
  for (std::size_t band = 2; band < starts_.size(); ++band) starts_[band] += starts_[band - 1];
  entries_.resize(starts_.back());
  for (const BandEntry& entry : entries) {
    for (std::size_t band = BandOf(entry.from); band <= BandOf(entry.to); ++band)
      entries_[starts_[band + 1]++] = entry;
  }
  starts_.pop_back();
  SortBands();
}

// Behind an entry that is certain in the whole band, those with lesser bounds have nothing to add.
void BandTable::SortBands() {
  std::uint32_t kept = 0;
  std::uint32_t from = 0;
  for (std::size_t band = 0; band + 1 < starts_.size(); ++band) {
    const std::uint32_t to = starts_[band + 1];
    std::sort(entries_.begin() + from, entries_.begin() + to,
              [](const BandEntry& a, const BandEntry& b) { return a.bound > b.bound; });
    starts_[band] = kept;
    for (std::uint32_t i = from; i < to; ++i) {
      const BandEntry entry = entries_[i];
      entries_[kept++] = entry;
      if (entry.segment == kCertain && !Begins(entry, band) && !Ends(entry, band)) break;
    }
    from = to;
  }
  starts_.back() = kept;
  entries_.resize(kept);
  bands_.resize(starts_.size() - 1);
  for (std::size_t band = 0; band < bands_.size(); ++band) bands_[band] = BandFrom(band);
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

// The place where the answers change is an end of a range within the band, or its neighbor.
BandTable::Band BandTable::BandFrom(std::size_t number) const {
  const BandEntry* const first = entries_.data() + starts_[number];
  const BandEntry* const last = entries_.data() + starts_[number + 1];
  const auto isAsked = [](const BandEntry& entry) { return entry.segment != kCertain; };
  const auto divides = [&](float split) {
    return std::all_of(first, last, [&](const BandEntry& e) {
      return isAsked(e) || ((!Begins(e, number) || e.from == split || e.from == NextUp(split)) &&
                            (!Ends(e, number) || e.to == split || e.to == NextDown(split)));
    });
  };
  Band band;
  if (const BandEntry* const asked = std::find_if(first, last, isAsked); asked != last)
    band.asked = asked->bound;
  const BandEntry* const any = std::find_if(first, last, [&](const BandEntry& entry) {
    return !isAsked(entry) && (Begins(entry, number) || Ends(entry, number));
  });
  if (any != last) {
    const float end = Begins(*any, number) ? any->from : any->to;
    const float places[] = {end, NextUp(end), NextDown(end)};
    const float* const split = std::find_if(places, places + 3, divides);
    if (split == places + 3) {
      band.asked = std::max(band.asked, first->bound);
      return band;
    }
    band.split = *split;
  }
  for (const BandEntry* entry = first; entry != last; ++entry) {
    if (isAsked(*entry)) continue;
    const bool begins = Begins(*entry, number), ends = Ends(*entry, number);
    const bool holds[] = {
        !begins, (!begins && !ends) || (entry->from <= band.split && band.split <= entry->to), !ends};
    for (int place = 0; place < 3; ++place) {
      if (holds[place]) band.bounds[place] = std::max(band.bounds[place], entry->bound);
    }
  }
  return band;
}

}  // namespace tovkit
