#include "curve_test.h"

#include "curve_kernel.h"

#include <emmintrin.h>

#include <cmath>
#include <cstring>

namespace tovkit {

namespace {

constexpr float kWindow = 0.02f;              // the refinement looks this far from the nearest parameter
constexpr double kLeastGain = 0.0001;         // and ends when a step gains no more than this
constexpr double kLeastWidth = 0.000001;      // or when less than this is left
constexpr float kOrdinaryCoordinate = 1e38f;  // below this no sum of weighted coordinates overflows
// The curve's speed is at most 3 times a leg of its control polygon, and a leg is at most width + height.
constexpr float kTravelInWindow = 0.061f;

struct Control {
  float x[4];
  float y[4];
  int degree;
};

struct Samples {
  SampleRow x;
  SampleRow y;
};

// What the box of the control points tells.
struct Verdict {
  bool outside = false;  // in both x and y: nothing is hit and nothing crosses, whatever the tolerance is
  bool near = true;      // a hit is thinkable
  unsigned rays = kEveryRay;      // the rays that may cross
  float skipRefining = INFINITY;  // a nearest sample farther than this cannot be refined to a hit
};

__m128 LoadPair(const CorePathPoint& point) {
  double both;
  static_assert(sizeof both == sizeof point.x + sizeof point.y);
  std::memcpy(&both, &point, sizeof both);
  return _mm_castpd_ps(_mm_set_sd(both));
}

unsigned Lanes(__m128 mask) { return static_cast<unsigned>(_mm_movemask_ps(mask)) & 3u; }

float LargerLane(__m128 v) { return _mm_cvtss_f32(_mm_max_ss(v, _mm_shuffle_ps(v, v, 1))); }

// With the point beside the box every sample lies on one side of it: only the ray that way can cross.
unsigned RaysTowards(unsigned below, unsigned beyond) {
  if (below & 1u) return kRayRight;
  if (beyond & 1u) return kRayLeft;
  if (below & 2u) return kRayDown;
  if (beyond & 2u) return kRayUp;
  return kEveryRay;
}

// Lane 0 is x, lane 1 is y. min and max keep their second operand when a NaN is met, so that the first point
// opens the box and a later one widens it only where it compares as outside.
Verdict Judge(const HitQuery& query, const CorePathPoint* points, int degree) {
  __m128 low = LoadPair(points[0]);
  __m128 high = low;
  __m128 sum = low;
  for (int i = 1; i <= degree; ++i) {
    const __m128 point = LoadPair(points[i]);
    low = _mm_min_ps(point, low);
    high = _mm_max_ps(point, high);
    sum = _mm_add_ps(sum, point);
  }
  const __m128 at = _mm_setr_ps(query.x, query.y, 0.0f, 0.0f);
  Verdict verdict;
  verdict.outside = Lanes(_mm_or_ps(_mm_cmplt_ps(at, low), _mm_cmpgt_ps(at, high))) == 3u;
  if (verdict.outside) return verdict;

  // A coordinate that is NaN or infinite makes the sum so; then the box proves nothing more.
  const float largest = LargerLane(_mm_max_ps(_mm_sub_ps(_mm_setzero_ps(), low), high));
  const bool ordinary = Lanes(_mm_cmpeq_ps(_mm_sub_ps(sum, sum), _mm_setzero_ps())) == 3u;
  if (!ordinary || !(largest < kOrdinaryCoordinate)) return verdict;

  const float rounding = largest * kSlackFactor;
  const __m128 slack = _mm_set1_ps(rounding + kSlackFloor);
  verdict.rays = RaysTowards(Lanes(_mm_cmplt_ps(at, _mm_sub_ps(low, slack))),
                             Lanes(_mm_cmpgt_ps(at, _mm_add_ps(high, slack))));
  const __m128 reach = _mm_set1_ps(rounding + query.curveReach);
  verdict.near = Lanes(_mm_or_ps(_mm_cmplt_ps(at, _mm_sub_ps(low, reach)),
                                 _mm_cmpgt_ps(at, _mm_add_ps(high, reach)))) == 0u;
  const __m128 extent = _mm_sub_ps(high, low);
  const float widthAndHeight = _mm_cvtss_f32(_mm_add_ss(extent, _mm_shuffle_ps(extent, extent, 1)));
  verdict.skipRefining = widthAndHeight * kTravelInWindow + rounding + query.curveReach;
  return verdict;
}

Control ControlOf(const CorePathPoint* points, int degree) {
  Control control = {};
  control.degree = degree;
  for (int i = 0; i <= degree; ++i) {
    control.x[i] = points[i].x;
    control.y[i] = points[i].y;
  }
  return control;
}

void Sample(const CurveKernel& kernel, int degree, const float* values, SampleRow& row) {
  (degree == 2 ? kernel.sampleQuad : kernel.sampleCubic)(values, row);
}

// Bernstein form: a quadratic in float, a cubic in double, stored as float. The samples have the same bits.
float EvaluateCurve(int degree, const float* c, float t) {
  const float u = 1.0f - t;
  if (degree == 2) return u * u * c[0] + 2.0f * t * u * c[1] + t * t * c[2];
  const double dt = t;
  const double du = u;
  return static_cast<float>(std::pow(du, 3) * c[0] + 3.0 * dt * du * du * c[1] + 3.0 * dt * dt * du * c[2] +
                            std::pow(dt, 3) * c[3]);
}

float Distance(const HitQuery& query, float x, float y) {
  const float dx = query.x - x;
  const float dy = query.y - y;
  return std::sqrt(dx * dx + dy * dy);
}

float DistanceAt(const HitQuery& query, const Control& control, float t) {
  return Distance(query, EvaluateCurve(control.degree, control.x, t),
                  EvaluateCurve(control.degree, control.y, t));
}

// Looks between the nearest sample and its neighbours. The two probes themselves are never compared with the
// tolerance, and the bisection starts at the high probe on either side: kept, since the answers of existing
// documents depend on it.
bool RefinesToHit(const HitQuery& query, const Control& control, float nearest, float tb) {
  const float lo = tb - kWindow > 0.0f ? tb - kWindow : 0.0f;
  const float hi = tb + kWindow < 1.0f ? tb + kWindow : 1.0f;
  const float lowDistance = DistanceAt(query, control, (tb + lo) / 2.0f);
  const float highDistance = DistanceAt(query, control, (tb + hi) / 2.0f);
  const bool lowSide = !(lowDistance > highDistance);
  float t = (tb + hi) / 2.0f;
  float previous = nearest;
  float current = lowSide ? lowDistance : highDistance;
  while (previous - current > kLeastGain) {
    const float width = lowSide ? t - lo : hi - t;
    if (width < kLeastWidth) break;
    t = (t + (lowSide ? lo : hi)) / 2.0f;
    previous = current;
    current = DistanceAt(query, control, t);
    if (current <= query.tolerance) return true;
  }
  return false;
}

// The parameter of the first sample at the distance `nearest`.
float NearestParameter(const HitQuery& query, const Samples& samples, float nearest) {
  int k = 0;
  while (k < kSamples - 1 && Distance(query, samples.x.value[k], samples.y.value[k]) != nearest) ++k;
  return static_cast<float>(k) / 50.0f;
}

// The root does not reverse an order, so the smallest square gives the smallest distance.
bool HitsSamples(const CurveKernel& kernel, const HitQuery& query, const Control& control,
                 const Samples& samples, float skipRefining) {
  const float first = Distance(query, samples.x.value[0], samples.y.value[0]);
  if (std::isnan(first)) return false;  // nothing is nearer than NaN
  const float nearest = std::sqrt(kernel.smallestSquare(samples.x, samples.y, query.x, query.y));
  if (nearest <= query.tolerance) return true;
  if (nearest > skipRefining) return false;
  return RefinesToHit(query, control, nearest, NearestParameter(query, samples, nearest));
}

unsigned CrossedRays(const CurveKernel& kernel, const HitQuery& query, const Samples& samples,
                     unsigned wanted) {
  unsigned rays = kNoRay;
  if (wanted & (kRayLeft | kRayRight)) {
    const unsigned crossed = kernel.crossings(samples.x, query.x, samples.y, query.y);
    rays |= ((crossed & 1u) ? kRayLeft : kNoRay) | ((crossed & 2u) ? kRayRight : kNoRay);
  }
  if (wanted & (kRayUp | kRayDown)) {
    const unsigned crossed = kernel.crossings(samples.y, query.y, samples.x, query.x);
    rays |= ((crossed & 1u) ? kRayUp : kNoRay) | ((crossed & 2u) ? kRayDown : kNoRay);
  }
  return rays;
}

// The point is beside the box, so all samples are on one side and the other coordinate alone decides. As the
// side, +infinity puts every sample in the first part and NaN in the second; either tells the same.
bool CrossesBeside(const CurveKernel& kernel, const HitQuery& query, const Control& control, unsigned ray) {
  const bool horizontal = (ray & (kRayLeft | kRayRight)) != 0;
  SampleRow row;
  Sample(kernel, control.degree, horizontal ? control.y : control.x, row);
  return kernel.crossings(row, INFINITY, row, horizontal ? query.y : query.x) != 0;
}

}  // namespace

bool TestCurve(const HitQuery& query, const CorePathPoint* points, int degree, unsigned& missing) {
  const Verdict verdict = Judge(query, points, degree);
  if (verdict.outside) return false;
  const unsigned wanted = missing & verdict.rays;
  if (!verdict.near && wanted == kNoRay) return false;

  const CurveKernel& kernel = ActiveCurveKernel();
  const Control control = ControlOf(points, degree);
  if (!verdict.near && verdict.rays != kEveryRay) {
    if (CrossesBeside(kernel, query, control, wanted)) missing &= ~wanted;
    return false;
  }
  Samples samples;
  Sample(kernel, degree, control.x, samples.x);
  Sample(kernel, degree, control.y, samples.y);
  if (verdict.near && HitsSamples(kernel, query, control, samples, verdict.skipRefining)) return true;
  missing &= ~CrossedRays(kernel, query, samples, wanted);
  return false;
}

}  // namespace tovkit
