// SPDX-License-Identifier: MIT
#include "cell_map.h"

#include "float_steps.h"

#include <emmintrin.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

namespace tovkit {

namespace {

constexpr std::size_t kPlaces = 64;  // of a group, which has two strips
constexpr std::size_t kFewestGroups = 32;
constexpr std::size_t kMostGroups = 128;
constexpr std::size_t kPointsOfCell = 4;  // a cell pays for itself with so many
constexpr double kOverlap = 1.0 / 64;     // of a place: more than rounding moves a point
constexpr float kAlike = 1.0F / 16;       // of the box: places whose limits differ by less
constexpr float kNarrowest = 1e-25F;
constexpr float kLargest = 1e15F;  // points beyond are left open, as those that are no numbers
constexpr float kInfinity = std::numeric_limits<float>::infinity();

// What the two rays from a place meet, that towards greater coordinates and that towards less.
struct Crossings {
  BandTable::Limits ways[2];

  void Add(const Crossings& other) {
    for (int way = 0; way < 2; ++way) ways[way].Add(other.ways[way]);
  }
  // One hole for both: of two, the second becomes none. From then on the limits hold beside it.
  float TakeHole() {
    float hole = std::numeric_limits<float>::quiet_NaN();
    for (BandTable::Limits& way : ways) {
      if (std::isnan(hole)) hole = way.hole;
      if (!std::isnan(way.hole) && way.hole != hole) way.yes = std::min(way.yes, way.yesInHole);
      way.hole = std::numeric_limits<float>::quiet_NaN();
    }
    return hole;
  }
};

// Whether a place of a group crosses much less than another.
class Oddness {
 public:
  Oddness(const Crossings* places, float alike) {
    for (std::size_t k = 0; k < kPlaces; ++k) {
      for (int way = 0; way < 2; ++way) least_[way] = std::max(least_[way], places[k].ways[way].yes - alike);
    }
  }
  bool IsOdd(const Crossings& place) const {
    return place.ways[0].yes < least_[0] || place.ways[1].yes < least_[1];
  }

 private:
  float least_[2] = {-kInfinity, -kInfinity};
};

__m128 Less(float a, const float* b) { return _mm_cmplt_ps(_mm_set1_ps(a), _mm_loadu_ps(b)); }
__m128 Less(const float* a, float b) { return _mm_cmplt_ps(_mm_loadu_ps(a), _mm_set1_ps(b)); }

}  // namespace

// A group's strips are neighbors and share its range. For each, the way to greater coordinates is 0, that to
// less 1, in which the ranges and limits are negated.
struct CellMap::Strips {
  explicit Strips(std::size_t count) : level(count) {
    for (int way = 0; way < 2; ++way) {
      nearest[way].resize(count);
      farthest[way].resize(count);
      yes[way].resize(count);
      no[way].resize(count);
    }
  }
  std::size_t size() const { return level.size(); }
  void Set(std::size_t strip, float from, float to, const Crossings& crossings) {
    nearest[0][strip] = from, farthest[0][strip] = to;
    nearest[1][strip] = -to, farthest[1][strip] = -from;
    for (int way = 0; way < 2; ++way) {
      yes[way][strip] = crossings.ways[way].yes;
      no[way][strip] = crossings.ways[way].no;
    }
  }

  std::vector<float> nearest[2];   // the least coordinate of the range, in the way's direction
  std::vector<float> farthest[2];  // and the greatest
  std::vector<float> yes[2];
  std::vector<float> no[2];
  std::vector<std::int32_t> level;  // -1 where lines hit level points
};

void CellMap::Build(const Question& question, std::size_t count) {
  const float width = question.high.x - question.low.x, height = question.high.y - question.low.y;
  if (!(width > kNarrowest) || !(height > kNarrowest)) return;
  // Where segments have to be asked, cells only know points that are missed, for which few are enough.
  std::size_t groups = question.isCertain ? kMostGroups : kFewestGroups;
  while (groups >= kFewestGroups && 4 * groups * groups * kPointsOfCell > count) groups /= 2;
  if (groups < kFewestGroups) return;
  const Strips columns = Divide(question, 0, groups, x_);
  const Strips rows = Divide(question, 1, groups, y_);
  Fill(question, columns, rows);
  for (Place& place : y_.places) place.strip *= static_cast<std::uint32_t>(columns.size());
}

// The box is a group and a half from both ends, so that the outer groups lie beyond it.
CellMap::Strips CellMap::Divide(const Question& question, int axis, std::size_t groups, Scale& scale) {
  const bool isX = axis == 0;
  const auto low = static_cast<double>(isX ? question.low.x : question.low.y);
  const auto high = static_cast<double>(isX ? question.high.x : question.high.y);
  const float alike = kAlike * (isX ? question.high.y - question.low.y : question.high.x - question.low.x);
  const double group = (high - low) / static_cast<double>(groups - 3);
  scale.low = static_cast<float>(low - 1.5 * group);
  scale.perUnit = static_cast<float>(static_cast<double>(kPlaces) / group);
  scale.last = static_cast<float>(groups * kPlaces - 1);
  scale.places.resize(groups * kPlaces);
  const auto edge = [&](double place) {
    return static_cast<double>(scale.low) + place / static_cast<double>(scale.perUnit);
  };
  const auto begin = [&](std::size_t place) {
    return place == 0 ? -kInfinity : Below(edge(static_cast<double>(place) - kOverlap));
  };
  const auto end = [&](std::size_t place) {
    return place == groups * kPlaces ? kInfinity : Above(edge(static_cast<double>(place) + kOverlap));
  };
  std::vector<bool> levels(groups * kPlaces);
  for (const BandEntry& entry : question.levels[axis])
    levels[PlaceAt((entry.from - scale.low) * scale.perUnit, scale.last)] = true;
  const BandTable* const rays[2] = {question.rays + (isX ? 1 : 0), question.rays + (isX ? 3 : 2)};
  Strips strips(2 * groups);
  std::vector<Crossings> crossings(kPlaces);
  for (std::size_t number = 0, place = 0; number < groups; ++number) {
    for (std::size_t k = 0; k < kPlaces; ++k) {
      const float from = begin(place + k), to = end(place + k + 1);
      for (int way = 0; way < 2; ++way) crossings[k].ways[way] = rays[way]->Between(from, to);
      scale.places[place + k].hole = crossings[k].TakeHole();
    }
    const Oddness oddness(crossings.data(), alike);
    Crossings both[2];
    const float from = begin(place), to = end(place + kPlaces);
    for (std::size_t k = 0; k < kPlaces; ++k, ++place) {
      const std::size_t odd = levels[place] || oddness.IsOdd(crossings[k]) ? 1 : 0;
      scale.places[place].strip = static_cast<std::uint32_t>(2 * number + odd);
      both[odd].Add(crossings[k]);
      if (levels[place]) strips.level[2 * number + odd] = -1;
    }
    for (std::size_t odd = 0; odd < 2; ++odd) strips.Set(2 * number + odd, from, to, both[odd]);
  }
  return strips;
}

// For each group of rows and each column strip, -1 where a stick may be near.
std::vector<std::int32_t> CellMap::NearGroups(const NearGrid& near, std::size_t side) const {
  std::vector<std::int32_t> groups(side / 2 * side);
  const auto group = [](const Scale& scale, float at) {
    return PlaceAt((at - scale.low) * scale.perUnit, scale.last) / kPlaces;
  };
  near.ForEachBox([&](const CorePointF& low, const CorePointF& high) {
    const std::size_t left = group(x_, low.x) * 2, right = group(x_, high.x) * 2 + 2;
    for (std::size_t row = group(y_, low.y); row <= group(y_, high.y); ++row)
      std::fill(groups.data() + row * side + left, groups.data() + row * side + right, -1);
  });
  return groups;
}

void CellMap::Fill(const Question& question, const Strips& columns, const Strips& rows) {
  const std::size_t side = columns.size();
  const std::vector<std::int32_t> near = NearGroups(question.near, side);
  cells_.resize(side * side);
  const __m128i always = _mm_set1_epi32(question.mayBeMissed ? 0 : -1);
  const __m128 fill = _mm_castsi128_ps(_mm_set1_epi32(question.fill ? -1 : 0));
  for (std::size_t row = 0; row < side; ++row) {
    const __m128i levelRow = _mm_or_si128(always, _mm_set1_epi32(rows.level[row]));
    for (std::size_t column = 0; column < side; column += 4) {
      __m128 yes = fill, may = fill;
      for (int way = 0; way < 2; ++way) {
        yes = _mm_and_ps(yes, Less(&columns.farthest[way][column], rows.yes[way][row]));
        yes = _mm_and_ps(yes, Less(rows.farthest[way][row], &columns.yes[way][column]));
        may = _mm_and_ps(may, Less(&columns.nearest[way][column], rows.no[way][row]));
        may = _mm_and_ps(may, Less(rows.nearest[way][row], &columns.no[way][column]));
      }
      const auto load = [](const std::int32_t* from) {
        return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
      };
      const __m128i level = _mm_or_si128(levelRow, load(&columns.level[column]));
      const __m128i open =
          _mm_or_si128(_mm_or_si128(level, load(&near[row / 2 * side + column])), _mm_castps_si128(may));
      const __m128i hit = _mm_castps_si128(yes);
      const __m128i cell = _mm_or_si128(_mm_and_si128(hit, _mm_set1_epi32(kHit)),
                                        _mm_andnot_si128(hit, _mm_and_si128(open, _mm_set1_epi32(kOpen))));
      const __m128i packed = _mm_packus_epi16(_mm_packs_epi32(cell, cell), cell);
      const int four = _mm_cvtsi128_si32(packed);
      std::memcpy(&cells_[row * side + column], &four, 4);
    }
  }
}

void CellMap::CellsOf(const CorePointF* four, std::uint8_t* cells) const {
  const float* const numbers = &four->x;
  const __m128 first = _mm_loadu_ps(numbers), second = _mm_loadu_ps(numbers + 4);
  const __m128 sign = _mm_set1_ps(-0.0F);
  __m128 open = _mm_setzero_ps();
  const auto stripsOf = [&](const Scale& scale, __m128 at) {
    const __m128 from = _mm_mul_ps(_mm_sub_ps(at, _mm_set1_ps(scale.low)), _mm_set1_ps(scale.perUnit));
    const __m128 within = _mm_min_ps(_mm_max_ps(from, _mm_setzero_ps()), _mm_set1_ps(scale.last));
    alignas(16) int place[4];
    _mm_store_si128(reinterpret_cast<__m128i*>(place), _mm_cvttps_epi32(within));
    const auto two = [&](int a, int b) {
      const auto load = [&](int number) { return reinterpret_cast<const __m64*>(&scale.places[number]); };
      return _mm_loadh_pi(_mm_loadl_pi(_mm_setzero_ps(), load(a)), load(b));
    };
    const __m128 low = two(place[0], place[1]), high = two(place[2], place[3]);
    const __m128 hole = _mm_shuffle_ps(low, high, _MM_SHUFFLE(2, 0, 2, 0));
    const __m128 unusual = _mm_cmpnle_ps(_mm_andnot_ps(sign, at), _mm_set1_ps(kLargest));
    open = _mm_or_ps(open, _mm_or_ps(_mm_cmpeq_ps(at, hole), unusual));
    return _mm_castps_si128(_mm_shuffle_ps(low, high, _MM_SHUFFLE(3, 1, 3, 1)));
  };
  const __m128i columns = stripsOf(x_, _mm_shuffle_ps(first, second, _MM_SHUFFLE(2, 0, 2, 0)));
  const __m128i rows = stripsOf(y_, _mm_shuffle_ps(first, second, _MM_SHUFFLE(3, 1, 3, 1)));
  alignas(16) int places[4];
  _mm_store_si128(reinterpret_cast<__m128i*>(places), _mm_add_epi32(columns, rows));
  for (int i = 0; i < 4; ++i) cells[i] = cells_[static_cast<std::size_t>(places[i])];
  const int opens = _mm_movemask_ps(open);
  if (opens != 0) {
    for (int i = 0; i < 4; ++i) {
      if ((opens >> i & 1) != 0) cells[i] = kOpen;
    }
  }
}

std::size_t CellMap::Answer(const CorePointF* points, std::size_t count, bool* hits,
                            std::uint16_t* open) const {
  std::size_t opens = 0;
  const auto take = [&](std::size_t from, const std::uint8_t* cells, std::size_t taken) {
    for (std::size_t i = 0; i < taken; ++i) {
      hits[from + i] = (cells[i] & kHit) != 0;
      open[opens] = static_cast<std::uint16_t>(from + i);
      opens += static_cast<std::size_t>(cells[i] >> 1);
    }
  };
  std::uint8_t cells[4];
  std::size_t at = 0;
  for (; at + 4 <= count; at += 4) {
    CellsOf(points + at, cells);
    take(at, cells, 4);
  }
  CorePointF rest[4] = {};
  std::copy(points + at, points + count, rest);
  CellsOf(rest, cells);
  take(at, cells, count - at);
  return opens;
}

}  // namespace tovkit
