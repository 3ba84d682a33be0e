// SPDX-License-Identifier: MIT
#include "prepared_path.h"

#include "curve_pieces.h"
#include "float_steps.h"
#include "hit_visitor.h"
#include "point_box.h"

#include <tovkit/geometry.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <limits>
#include <numeric>

namespace tovkit {

namespace {

constexpr std::size_t kFewPoints = 256;
constexpr std::size_t kPointsOfPieces = 350;  // for each curve: from here on curves are worth their pieces
constexpr std::size_t kMostInPieces = 1024;   // curves: these take the most memory
constexpr int kMostRecords = 1 << 17;         // of a path that is prepared
constexpr float kLargest = 1e15f;             // the numbers for which squares and products are finite
constexpr float kThinnest = 1e-28f;           // a line whose products do not underflow
constexpr float kInfinity = std::numeric_limits<float>::infinity();

// What a step takes, in nanoseconds of a machine with AVX-512; only their relations count. Preparing lines
// pays for itself from few points on, whatever they are.
constexpr double kAskSegment = 2.5;     // by its box
constexpr double kSampleCurve = 40;     // where the box does not decide
constexpr double kPrepareCurve = 7500;  // and what its points cost from then on

bool IsUsual(float number) { return std::fabs(number) <= kLargest; }

Box BoxOf(const PreparedSegment& segment) {
  Box box;
  for (int i = 0; i <= segment.degree; ++i) box.Add(segment.points[i]);
  return box;
}

// Where a ray goes: along the axis `across`, towards greater values or less.
struct Way {
  int across;
  float sign;
  int Along() const { return 1 - across; }
};
constexpr Way kWays[4] = {{0, 1}, {1, 1}, {0, -1}, {1, -1}};

// The greatest coordinate of the box in the way's direction.
float Front(const Box& box, const Way& way) {
  return way.sign > 0 ? box.high[way.across] : -box.low[way.across];
}

// The bound of an upright line: the least coordinate from which its ray does not cross the line at `front`.
// With a negative distance, points beside the line may have it on either side. Then it is right of them and
// above, and `comesSecond` are the rays to the left and down.
float BoundOf(float front, float distance, bool comesSecond) {
  const auto crosses = [&](float at) {
    return front - at > distance && !(comesSecond && at - front > distance);
  };
  float yes = -kInfinity, no = kInfinity;
  for (float middle = 0; yes < middle && middle < no;) {
    (crosses(middle) ? yes : no) = middle;
    middle = static_cast<float>(
        (static_cast<double>(std::max(yes, -FLT_MAX)) + static_cast<double>(std::min(no, FLT_MAX))) / 2);
    if (middle == no) middle = NextDown(no);
  }
  return no;
}

// What is the same for every visitor that takes lines and curves: the end of a figure is a line, an arc its
// cubic curves. `Visitor` has Line(), and Curve() with the degree.
template <typename Visitor>
struct LinesAndCurves {
  bool Close(const CorePathPoint& from, const CorePathPoint& start) { return Self().Line(from, start); }
  bool Quad(const CorePathPoint* points) { return Self().Curve(points, 2); }
  bool Cubic(const CorePathPoint* points) { return Self().Curve(points, 3); }
  bool Arc(const CorePathPoint* arc) {
    CorePathPoint curves[1 + 3 * kCoreMaxArcCurves];
    const int count = CoreArcToCubics(arc, curves);
    for (int k = 0; k < count; ++k) Cubic(curves + 3 * k);
    return false;
  }

 private:
  Visitor& Self() { return static_cast<Visitor&>(*this); }
};

struct Collector : LinesAndCurves<Collector> {
  std::vector<PreparedSegment>& segments;

  explicit Collector(std::vector<PreparedSegment>& all) : segments(all) {}

  bool Line(const CorePathPoint& a, const CorePathPoint& b) {
    segments.push_back({{a, b}, 1});
    return false;
  }
  bool Curve(const CorePathPoint* points, int degree) {
    PreparedSegment segment{{}, degree};
    std::copy(points, points + degree + 1, segment.points);
    segments.push_back(segment);
    return false;
  }
};

// What asking a path costs that is not prepared: points are taken to lie anywhere in its box, so that a curve
// is sampled as often as its box is large.
struct Costs : LinesAndCurves<Costs> {
  Box box;
  double lines = 0;
  double curves = 0;
  double sizes[2] = {0, 0};  // of the boxes of all curves

  bool Line(const CorePathPoint& a, const CorePathPoint& b) {
    box.Add(a);
    box.Add(b);
    ++lines;
    return false;
  }
  bool Curve(const CorePathPoint* points, int degree) {
    Box own;
    for (int i = 0; i <= degree; ++i) own.Add(points[i]);
    for (int axis = 0; axis < 2; ++axis) sizes[axis] += static_cast<double>(own.Size(axis));
    box.Add({own.low[0], own.low[1], 0});
    box.Add({own.high[0], own.high[1], 0});
    ++curves;
    return false;
  }

  double OfAPoint() const {
    double sampled = 0;
    for (int axis = 0; axis < 2; ++axis) {
      const double size = static_cast<double>(box.Size(axis));
      const double share = size > 0 ? sizes[axis] / size : curves;
      sampled += share <= curves ? share : curves;  // also for what is no number
    }
    return kAskSegment * (lines + curves) + kSampleCurve * sampled;
  }
};

template <bool kWithRays>
bool TestSegment(const PreparedSegment& segment, HitVisitor<kWithRays>& visitor) {
  switch (segment.degree) {
    case 1:
      return visitor.Line(segment.points[0], segment.points[1]);
    case 2:
      return visitor.Quad(segment.points);
    default:
      return visitor.Cubic(segment.points);
  }
}

// How far a curve may be from the straight lines between neighboring samples: an eighth of the square of
// their distance, 0.02, times the greatest second derivative.
double Sagitta(const PreparedSegment& segment) {
  double bend = 0;
  for (int i = 0; i + 2 <= segment.degree; ++i) {
    const CorePathPoint* p = segment.points + i;
    bend = std::max(bend, std::hypot(static_cast<double>(p[0].x) - 2.0 * static_cast<double>(p[1].x) +
                                         static_cast<double>(p[2].x),
                                     static_cast<double>(p[0].y) - 2.0 * static_cast<double>(p[1].y) +
                                         static_cast<double>(p[2].y)));
  }
  return 0.00005001 * segment.degree * (segment.degree - 1) * bend;
}

}  // namespace

// What the tables and the grid are made of.
struct PreparedPath::Parts {
  Box box;
  std::vector<BandEntry> rays[4];
  std::vector<BandEntry> levels[2];
  std::vector<Stick> sticks;
  // Whether most of what rays meet is known without asking.
  bool IsCertain() const {
    std::ptrdiff_t certain = 0, asked = 0;
    for (const std::vector<BandEntry>& entries : rays) {
      for (const BandEntry& entry : entries) ++(entry.segment == kCertain ? certain : asked);
    }
    return certain >= asked;
  }

  int front[4] = {-1, -1, -1, -1};  // of the lines that a ray meets wherever it is: the farthest in its way
};

bool PreparedPath::IsWorthwhile(const CorePath& path, std::size_t count, float tolerance) {
  if (path.GetPointCounter() <= 0 || path.GetPointCounter() >= kMostRecords || count < kFewPoints ||
      !IsUsual(tolerance))
    return false;
  Costs costs;
  CoreWalkPath(path.GetPoints(), path.GetPointCounter() + 1, costs);
  return static_cast<double>(count) * costs.OfAPoint() >= kPrepareCurve * costs.curves;
}

PreparedPath::PreparedPath(const CorePath& path, float tolerance, bool testFill, std::size_t count)
    : path_(path), tolerance_(tolerance), testFill_(testFill), testOutline_(tolerance >= 0) {
  Collector collector(segments_);
  CoreWalkPath(path.GetPoints(), path.GetPointCounter() + 1, collector);
  const auto curves = static_cast<std::size_t>(std::count_if(
      segments_.begin(), segments_.end(), [](const PreparedSegment& segment) { return segment.degree > 1; }));
  inPieces_ = count >= kPointsOfPieces * curves && curves <= kMostInPieces;
  Parts parts;
  if (inPieces_) {
    for (std::vector<BandEntry>& rays : parts.rays) rays.reserve(kSamples * curves);
    parts.sticks.reserve(kSamples * curves);
  }
  for (int i = 0; i < static_cast<int>(segments_.size()); ++i) Prepare(i, parts);
  for (int ray = 0; ray < 4; ++ray) {
    const Way& way = kWays[ray];
    if (parts.front[ray] >= 0) {
      const float front = Front(BoxOf(segments_[static_cast<std::size_t>(parts.front[ray])]), way);
      const float diagonal = HitQuery(0, 0, tolerance_).diagonal;
      parts.rays[ray].push_back(
          {-kInfinity, kInfinity, BoundOf(front, diagonal, ray == 1 || ray == 2), kCertain});
    }
    rays_[ray].Build(parts.rays[ray], parts.box.low[way.Along()], parts.box.high[way.Along()]);
  }
  fourRays_.Take(rays_);
  for (int axis = 0; axis < 2; ++axis)
    levels_[axis].Build(parts.levels[axis], parts.box.low[axis], parts.box.high[axis]);
  hasLevels_ = !parts.levels[0].empty() || !parts.levels[1].empty();
  near_.Build(parts.sticks);
  const Box& box = parts.box;
  cells_.Build({rays_,
                parts.levels,
                near_,
                testFill_,
                parts.IsCertain(),
                unusual_.empty(),
                {box.low[0], box.low[1]},
                {box.high[0], box.high[1]}},
               count);
}

void PreparedPath::Prepare(int index, Parts& parts) {
  const PreparedSegment& segment = segments_[static_cast<std::size_t>(index)];
  const bool usual =
      std::all_of(segment.points, segment.points + segment.degree + 1,
                  [](const CorePathPoint& point) { return IsUsual(point.x) && IsUsual(point.y); });
  const Box box = BoxOf(segment);
  const auto isThin = [&](int axis) { return box.Size(axis) > 0 && box.Size(axis) < kThinnest; };
  if (!usual || (segment.degree == 1 && (isThin(0) || isThin(1)))) {
    unusual_.push_back(index);
    return;
  }
  for (int i = 0; i <= segment.degree; ++i) parts.box.Add(segment.points[i]);
  segment.degree == 1 ? PrepareLine(index, parts) : PrepareCurve(index, parts);
}

// A point hits a line, but for that beside it, if it is within the reach of it: what it measures along an
// axis ends on the line. Beyond the line's box in x and level with an end, the line is taken to go on;
// upright, it is nowhere level. So it is in y.
void PreparedPath::PrepareLine(int index, Parts& parts) {
  const PreparedSegment& segment = segments_[static_cast<std::size_t>(index)];
  const Box box = BoxOf(segment);
  if (testFill_) AddLineRays(index, parts);
  if (!testOutline_) return;
  const HitQuery query(0, 0, tolerance_);
  const double reach = static_cast<double>(_mm_cvtss_f32(query.segmentReach)) + 4 * box.Rounding();
  const CorePathPoint &a = segment.points[0], &b = segment.points[1];
  parts.sticks.push_back({{a.x, a.y}, {b.x, b.y}, Above(reach), index, false});
  for (int axis = 0; axis < 2; ++axis) {
    if (box.Size(1 - axis) > 0) AddLevels(index, axis, reach, parts);
  }
}

// From its end, the line that goes on leaves the level by as much as it is steep. So it is hit from where the
// tolerance lets it leave: mostly within the reach of the end, else within a stick along the level. Only of a
// line that lies in the level, or nearly so, every point there has to ask.
void PreparedPath::AddLevels(int index, int axis, double reach, Parts& parts) const {
  const PreparedSegment& segment = segments_[static_cast<std::size_t>(index)];
  const Box box = BoxOf(segment);
  const double rounding = box.Rounding();
  const double across = box.Size(axis), along = box.Size(1 - axis);
  const double leaves = across > 0 ? (reach - 3 * rounding) * along / across : HUGE_VAL;
  if (leaves + rounding <= reach) return;
  // Of the floats that tell whether a point is near the stick.
  const double slack =
      4 * rounding + static_cast<double>(kSlackFactor) * leaves + static_cast<double>(kSlackFloor);
  const auto at = [](const CorePathPoint& point, int which) { return which == 0 ? point.x : point.y; };
  for (const CorePathPoint* const end : {&segment.points[0], &segment.points[1]}) {
    const float level = at(*end, axis);
    if (leaves > along + reach) {
      parts.levels[axis].push_back({level, level, kInfinity, index});
      if (!(across > 0)) break;
      continue;
    }
    const float from = Below(static_cast<double>(at(*end, 1 - axis)) - leaves);
    const float to = Above(static_cast<double>(at(*end, 1 - axis)) + leaves);
    const CorePointF first = axis == 0 ? CorePointF{level, from} : CorePointF{from, level};
    const CorePointF last = axis == 0 ? CorePointF{level, to} : CorePointF{to, level};
    parts.sticks.push_back({first, last, Above(slack), index, false});
  }
}

// The ray crosses where the line, computed, is within its box. That is within the box's range along, and as
// far beyond it as rounding may hide that the line has left the range across; for a line that stands upright
// to the ray, anywhere.
void PreparedPath::AddLineRays(int index, Parts& parts) const {
  const PreparedSegment& segment = segments_[static_cast<std::size_t>(index)];
  const Box box = BoxOf(segment);
  const double diagonal = HitQuery(0, 0, tolerance_).diagonal;
  for (int ray = 0; ray < 4; ++ray) {
    const Way& way = kWays[ray];
    const double along = box.Size(way.Along()), across = box.Size(way.across);
    if (!(along > 0)) continue;
    int& front = parts.front[ray];
    if (!(across > 0)) {
      if (front < 0 || Front(box, way) > Front(BoxOf(segments_[static_cast<std::size_t>(front)]), way))
        front = index;
      continue;
    }
    const double hidden = std::min(
        std::max(along * static_cast<double>(box.Largest(way.across)) * 0x1p-18, 1e-29) / across, 1e30);
    const double bound =
        static_cast<double>(Front(box, way)) - diagonal + std::fabs(diagonal) * 0x1p-20 + 1e-30;
    parts.rays[ray].push_back({Below(static_cast<double>(box.low[way.Along()]) - hidden),
                               Above(static_cast<double>(box.high[way.Along()]) + hidden), Above(bound),
                               index});
  }
}

void PreparedPath::PrepareCurve(int index, Parts& parts) {
  const PreparedSegment& segment = segments_[static_cast<std::size_t>(index)];
  const CurveKernel& kernel = ActiveCurveKernel();
  float control[2][4] = {};
  for (int i = 0; i <= segment.degree; ++i) {
    control[0][i] = segment.points[i].x;
    control[1][i] = segment.points[i].y;
  }
  SampleRow samples[2];
  for (int axis = 0; axis < 2; ++axis)
    (segment.degree == 2 ? kernel.sampleQuad : kernel.sampleCubic)(control[axis], samples[axis]);
  if (testFill_) AddCurveRays(index, samples, parts);
  if (testOutline_) AddCurveSticks(index, samples, parts);
}

void PreparedPath::AddCurveRays(int index, const SampleRow* samples, Parts& parts) const {
  const Box box = BoxOf(segments_[static_cast<std::size_t>(index)]);
  for (int ray = 0; ray < 4 && !inPieces_; ++ray) {
    const Way& way = kWays[ray];
    const double rounding = box.Rounding();
    parts.rays[ray].push_back({Below(static_cast<double>(box.low[way.Along()]) - rounding),
                               Above(static_cast<double>(box.high[way.Along()]) + rounding),
                               Above(static_cast<double>(Front(box, way)) + rounding), index});
  }
  for (int ray = 0; ray < 2 && inPieces_; ++ray) {
    const Way& way = kWays[ray];
    const float* const along = samples[way.Along()].value;
    std::vector<BandEntry>&rays = parts.rays[ray], &opposite = parts.rays[ray + 2];
    if (!AddCrossingPieces({along, samples[way.across].value}, box.low[way.Along()], box.high[way.Along()],
                           rays, opposite))
      continue;
    // Rounding may put samples outside the box, and there the curve counts for some points only.
    const auto [least, most] = std::minmax_element(along, along + kSamples);
    for (std::vector<BandEntry>* const entries : {&rays, &opposite})
      entries->push_back({*least, *most, kInfinity, index});
  }
}

// A hit is within the tolerance of a place on the curve between two samples. Samples close together share a
// stick.
void PreparedPath::AddCurveSticks(int index, const SampleRow* samples, Parts& parts) const {
  const PreparedSegment& segment = segments_[static_cast<std::size_t>(index)];
  const double reach = static_cast<double>(HitQuery(0, 0, tolerance_).curveReach) +
                       2 * BoxOf(segment).Rounding() + Sagitta(segment);
  const float shared = tolerance_ / 4;
  const auto at = [&](int k) { return CorePointF{samples[0].value[k], samples[1].value[k]}; };
  for (int from = 0, to = 0; from + 1 < kSamples; from = to) {
    const auto isShared = [&](int k) {
      return std::hypot(at(k).x - at(from).x, at(k).y - at(from).y) <= shared;
    };
    for (to = from + 1; to + 1 < kSamples && isShared(to) && isShared(to + 1);) ++to;
    const bool single = to == from + 1;
    parts.sticks.push_back({at(from), single ? at(to) : at(from),
                            Above(single ? reach : reach + static_cast<double>(shared) * 1.001), index,
                            true});
  }
}

// Where cells hardly know an answer, the next blocks do without: points that lie side by side in memory
// mostly do so in the plane.
//
// A block is gone through several times, each time without a branch that could be guessed wrong: what is
// left for the next time is written down whether it counts or not.
void PreparedPath::Test(const CorePointF* points, std::size_t count, bool* hits) const {
  std::uint16_t open[kBlock];
  std::size_t skipped = 0;
  for (std::size_t block = kBlock; count > 0; points += block, hits += block, count -= block) {
    block = std::min(block, count);
    std::size_t opens = block;
    if (skipped > 0) {
      --skipped;
      std::iota(open, open + block, std::uint16_t{0});
    } else {
      opens = cells_.Answer(points, block, hits, open);
      if (opens > block / 8 * 7) skipped = kSkippedBlocks;
    }
    TestBlock(points, open, opens, hits);
  }
}

void PreparedPath::TestBlock(const CorePointF* points, const std::uint16_t* open, std::size_t opens,
                             bool* hits) const {
  std::uint16_t outside[kBlock], near[kBlock], asked[kBlock];
  std::size_t outsides = 0, nears = 0, asks = 0;
  const int fill = int{testFill_}, asksAlways = int{testFill_ && !unusual_.empty()};
  for (std::size_t k = 0; k < opens; ++k) {
    const std::uint16_t i = open[k];
    const float x = points[i].x, y = points[i].y;
    const FourTables::Answers answers = LookInside(x, y);
    const int asking = (fill & int{answers.MayAllBeYes()} & int{answers.asks != 0}) | asksAlways |
                       int{!IsUsual(x)} | int{!IsUsual(y)};
    const int inside = fill & int{answers.yes == kEveryRay} & ~asking;
    hits[i] = inside != 0;
    outside[outsides] = asked[asks] = i;
    outsides += static_cast<std::size_t>(1 & ~inside & ~asking);
    asks += static_cast<std::size_t>(asking);
  }
  for (std::size_t k = 0; testOutline_ && k < outsides; ++k) {
    const CorePointF& point = points[outside[k]];
    near[nears] = outside[k];
    nears += static_cast<std::size_t>(MayBeOnOutline(point.x, point.y));
  }
  for (std::size_t k = 0; k < nears; ++k) hits[near[k]] = IsOnOutline(points[near[k]].x, points[near[k]].y);
  for (std::size_t k = 0; k < asks; ++k) hits[asked[k]] = Touches(points[asked[k]]);
}

// What HitTestPath answers for one point.
bool PreparedPath::Touches(const CorePointF& point) const {
  if (!IsUsual(point.x) || !IsUsual(point.y))
    return HitTestPath(point, tolerance_, path_, 0, testFill_, kCoreFillWinding);
  return (testFill_ && IsInside(point.x, point.y)) || (testOutline_ && IsOnOutline(point.x, point.y));
}

FourTables::Answers PreparedPath::LookInside(float x, float y) const {
  return fourRays_.Look(_mm_setr_ps(y, x, y, x), _mm_setr_ps(x, y, -x, -y));
}

bool PreparedPath::IsInside(float x, float y) const {
  const FourTables::Answers answers = LookInside(x, y);
  const float along[4] = {y, x, y, x}, across[4] = {x, y, -x, -y};
  const auto crosses = [&](unsigned ray) {
    const auto ask = [&](int segment) { return IsCrossed(segment, 1u << ray, x, y); };
    return rays_[ray].Any(along[ray], across[ray], ask);
  };
  int wanted = kEveryRay & ~answers.yes;
  if (!unusual_.empty()) {
    const HitQuery query(x, y, tolerance_);
    HitVisitor<true> visitor{query};
    for (const int index : unusual_) {
      if (TestSegment(segments_[static_cast<std::size_t>(index)], visitor)) return true;
    }
    wanted &= static_cast<int>(visitor.missing);
  }
  if ((wanted & ~answers.asks) != 0) return false;
  for (unsigned ray = 0; ray < 4; ++ray) {
    if ((wanted >> ray & 1) != 0 && !crosses(ray)) return false;
  }
  return true;
}

bool PreparedPath::MayBeOnOutline(float x, float y) const {
  constexpr auto kNo = BandTable::Answer::kNo;
  const int level = hasLevels_ ? int{levels_[0].Look(x, 0) != kNo} | int{levels_[1].Look(y, 0) != kNo} : 0;
  return (level | int{near_.HasSome(x, y)} | int{!unusual_.empty()}) != 0;
}

bool PreparedPath::IsOnOutline(float x, float y) const {
  const auto ask = [&](int segment) { return IsHit(segment, x, y); };
  if (near_.Any(x, y, tolerance_, [&](int segment, bool within) {
        if (within) {
          const Box box = BoxOf(segments_[static_cast<std::size_t>(segment)]);
          if ((x >= box.low[0] && x <= box.high[0]) || (y >= box.low[1] && y <= box.high[1])) return true;
        }
        return ask(segment);
      }))
    return true;
  if (levels_[0].Any(x, 0, ask) || levels_[1].Any(y, 0, ask)) return true;
  return std::any_of(unusual_.begin(), unusual_.end(), ask);
}

bool PreparedPath::IsHit(int index, float x, float y) const {
  const HitQuery query(x, y, tolerance_);
  HitVisitor<false> visitor{query};
  return TestSegment(segments_[static_cast<std::size_t>(index)], visitor);
}

bool PreparedPath::IsCrossed(int index, unsigned ray, float x, float y) const {
  const HitQuery query(x, y, tolerance_);
  HitVisitor<true> visitor{query, ray};
  TestSegment(segments_[static_cast<std::size_t>(index)], visitor);
  return visitor.missing == kNoRay;
}

}  // namespace tovkit
