// SPDX-License-Identifier: MIT
#include "band_table.h"

#include <algorithm>
#include <cmath>

namespace tovkit {

namespace {

constexpr double kMostBands = 65536;
constexpr float kNarrowest = 1e-25f;  // a range that still has a width to divide

}  // namespace

// In B bands over the width W an entry of the width w has 1 + B * w / W places, so with B = 2 E W / sum(w)
// the E entries have 3 E.
void BandTable::Build(const std::vector<BandEntry>& entries, float low, float high) {
  entries_.clear();
  starts_.clear();
  if (entries.empty()) return;
  const double width = static_cast<double>(high) - static_cast<double>(low);
  double covered = 0;
  for (const BandEntry& entry : entries) {
    covered += std::max(
        static_cast<double>(std::min(entry.to, high)) - static_cast<double>(std::max(entry.from, low)), 0.0);
  }
  double bands = 1;
  if (high - low > kNarrowest) {
    const double wanted = 2 * static_cast<double>(entries.size());
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
      if (entry.segment == kCertain && BandOf(entry.from) < band && band < BandOf(entry.to)) break;
    }
    from = to;
  }
  starts_.back() = kept;
  entries_.resize(kept);
}

}  // namespace tovkit
