// SPDX-License-Identifier: MIT
// A curve is sampled at 51 fixed parameters, whatever its size.
//
//   hit        the nearest sample within the tolerance, or a refinement beside it that comes so near
//   crossings  the samples on one side of the point, with neighbors above and below it
//
// All samples are computed at once by a vector kernel; the refinement is scalar. There is no subdivision: the
// samples are part of the result.
#include "curve_hit.h"

#include "curve_kernel.h"

#include <algorithm>
#include <cassert>
#include <cmath>

namespace tovkit {

namespace {

constexpr float kWindow = 0.02f;          // the refinement looks this far from the nearest parameter
constexpr double kLeastGain = 0.0001;     // and ends when a step gains no more than this
constexpr double kLeastWidth = 0.000001;  // or when less than this is left

// A curve comes nearer between two samples than at them by no more than this share of its box's diagonal:
// half the way from one to the other (the speed is at most 3 diagonals, the parameters are 0.02 apart), and
// the height of the arc over the chord (0.02^2 / 8 times the second derivative, at most 12 diagonals).
constexpr float kNearerBetweenSamples = 0.031f;

struct Control {
  float x[4];
  float y[4];
  int degree;
};

struct Samples {
  SampleRow x;
  SampleRow y;
};

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

float Distance(const HitQuery& query, float x, float y) {
  const float dx = query.x - x;
  const float dy = query.y - y;
  return std::sqrt(dx * dx + dy * dy);
}

// Bernstein form: a quadratic in float, a cubic in double, stored as float. The samples have the same bits.
float DistanceAt(const HitQuery& query, const Control& c, float t) {
  const float u = 1.0f - t;
  if (c.degree == 2) {
    const float w0 = u * u, w1 = 2.0f * t * u, w2 = t * t;
    return Distance(query, w0 * c.x[0] + w1 * c.x[1] + w2 * c.x[2], w0 * c.y[0] + w1 * c.y[1] + w2 * c.y[2]);
  }
  assert(c.degree == 3);
  const double dt = t;
  const double du = u;
  const double w0 = std::pow(du, 3), w1 = 3.0 * dt * du * du, w2 = 3.0 * dt * dt * du, w3 = std::pow(dt, 3);
  return Distance(query, static_cast<float>(w0 * c.x[0] + w1 * c.x[1] + w2 * c.x[2] + w3 * c.x[3]),
                  static_cast<float>(w0 * c.y[0] + w1 * c.y[1] + w2 * c.y[2] + w3 * c.y[3]));
}

// Looks between the nearest sample and its neighbors.
//
// Compatibility: the two probes themselves are never compared with the tolerance, and the bisection starts at
// the high probe on either side.
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

// The parameter of the first sample at the distance `nearest`. Roots of squares that are farther than `limit`
// differ.
float NearestParameter(const HitQuery& query, const Samples& samples, float nearest, float limit) {
  int k = 0;
  for (; k < kSamples - 1; ++k) {
    const float dx = query.x - samples.x.value[k];
    const float dy = query.y - samples.y.value[k];
    if (dx * dx + dy * dy <= limit && Distance(query, samples.x.value[k], samples.y.value[k]) == nearest)
      break;
  }
  assert(k < kSamples);
  return static_cast<float>(k) / 50.0f;
}

// A nearest sample farther than this cannot be refined to a hit.
float RefinementReach(const HitQuery& query, const BoundingBox& box) {
  float size[4], rounding[4];
  _mm_storeu_ps(size, _mm_sub_ps(box.high, box.low));
  _mm_storeu_ps(rounding, box.Rounding());
  return std::sqrt(size[0] * size[0] + size[1] * size[1]) * kNearerBetweenSamples +
         2.0f * std::max(rounding[0], rounding[1]) + query.curveReach;
}

// The square root keeps the order, so the smallest square belongs to the smallest distance.
bool HitsSamples(const CurveKernel& kernel, const HitQuery& query, const Control& control,
                 const BoundingBox& box, const Samples& samples) {
  const float first = Distance(query, samples.x.value[0], samples.y.value[0]);
  if (std::isnan(first)) return false;  // nothing is nearer than NaN
  const float square = kernel.smallestSquare(samples.x, samples.y, query.x, query.y);
  const float nearest = std::sqrt(square);
  if (nearest <= query.tolerance) return true;
  if (nearest > RefinementReach(query, box)) return false;
  const float limit = square * (1.0f + 0x1p-20f);
  return RefinesToHit(query, control, nearest, NearestParameter(query, samples, nearest, limit));
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

bool TestAllSamples(const HitQuery& query, const Control& control, const BoundingBox& box,
                    unsigned& missing) {
  const CurveKernel& kernel = ActiveCurveKernel();
  Samples samples;
  Sample(kernel, control.degree, control.x, samples.x);
  Sample(kernel, control.degree, control.y, samples.y);
  if (HitsSamples(kernel, query, control, box, samples)) return true;
  missing &= ~CrossedRays(kernel, query, samples, missing);
  return false;
}

// With all samples on the side of `ray`, the other coordinate alone decides.
bool CrossesRay(const HitQuery& query, const Control& control, unsigned ray) {
  const CurveKernel& kernel = ActiveCurveKernel();
  const bool horizontal = (ray & (kRayLeft | kRayRight)) != 0;
  SampleRow row;
  Sample(kernel, control.degree, horizontal ? control.y : control.x, row);
  return kernel.crosses(row, horizontal ? query.y : query.x);
}

}  // namespace

bool HitTestCurveInFull(const HitQuery& query, const CorePathPoint* points, int degree, unsigned candidates,
                        unsigned& missing) {
  BoundingBox box(points[0]);
  for (int i = 1; i <= degree; ++i) box.Add(points[i]);
  if (box.Outside(query.at) == 3u) return false;
  const Control control = ControlOf(points, degree);
  if (candidates & kHitCandidate) return TestAllSamples(query, control, box, missing);
  if (CrossesRay(query, control, candidates)) missing &= ~candidates;
  return false;
}

}  // namespace tovkit
