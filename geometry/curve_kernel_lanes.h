// SPDX-License-Identifier: MIT
// The kernel's one source, compiled per instruction set.
//
// `Lanes` names the vectors: Floats and Doubles, kFloats and kDoubles of them, Narrow() that rounds
// kFloats / kDoubles vectors of doubles to one of floats, and Fold() that returns the lane-wise minimum of a
// Floats' four-lane parts. No standard header is included: an inline function compiled here with wider
// instructions could replace its namesake elsewhere.
#pragma once

#include "curve_kernel.h"

#include <emmintrin.h>

namespace tovkit {

template <typename Lanes>
struct CurveKernelOf {
  using Floats = typename Lanes::Floats;
  using Doubles = typename Lanes::Doubles;
  static constexpr int kFloats = Lanes::kFloats;
  static constexpr int kDoubles = Lanes::kDoubles;
  static constexpr int kUsed = (kSamples + kFloats - 1) / kFloats * kFloats;
  static constexpr float kNone = __builtin_inff();

  template <typename Vector, typename Scalar>
  static Vector Load(const Scalar* from) {
    Vector v;
    __builtin_memcpy(&v, from, sizeof v);
    return v;
  }

  static Floats All(float value) { return Floats{} + value; }
  static Floats Smaller(Floats v, Floats least) {
    return v < least ? v : least;
  }  // a NaN in v is passed over

  static float Least(__m128 v) {
    v = _mm_min_ps(v, _mm_movehl_ps(v, v));
    return _mm_cvtss_f32(_mm_min_ss(v, _mm_shuffle_ps(v, v, 1)));
  }

  static void SampleQuad(const float* control, SampleRow& row) {
    const auto& w = kCurveWeights.quad;
    for (int k = 0; k < kUsed; k += kFloats) {
      const Floats s = Load<Floats>(w[0] + k) * control[0] + Load<Floats>(w[1] + k) * control[1] +
                       Load<Floats>(w[2] + k) * control[2];
      __builtin_memcpy(row.value + k, &s, sizeof s);
    }
    row.value[kUsed] = row.value[kSamples - 1];
  }

  static void SampleCubic(const float* control, SampleRow& row) {
    const auto& w = kCurveWeights.cubic;
    const double c[4] = {control[0], control[1], control[2], control[3]};
    for (int k = 0; k < kUsed; k += kFloats) {
      Doubles part[kFloats / kDoubles];
      for (int i = 0; i < kFloats / kDoubles; ++i) {
        const int at = k + i * kDoubles;
        part[i] = Load<Doubles>(w[0] + at) * c[0] + Load<Doubles>(w[1] + at) * c[1] +
                  Load<Doubles>(w[2] + at) * c[2] + Load<Doubles>(w[3] + at) * c[3];
      }
      const Floats s = Lanes::Narrow(part);
      __builtin_memcpy(row.value + k, &s, sizeof s);
    }
    row.value[kUsed] = row.value[kSamples - 1];
  }

  static float SmallestSquare(const SampleRow& rowX, const SampleRow& rowY, float x, float y) {
    Floats least = All(kNone);
    for (int k = 0; k < kUsed; k += kFloats) {
      const Floats dx = x - Load<Floats>(rowX.value + k);
      const Floats dy = y - Load<Floats>(rowY.value + k);
      least = Smaller(dx * dx + dy * dy, least);
    }
    return Least(Lanes::Fold(least));
  }

  // The negated largest step between neighbors, with `least` the one so far.
  static Floats Step(const SampleRow& row, int k, Floats v, Floats least) {
    const Floats forward = Load<Floats>(row.value + k + 1) - v;
    return Smaller(forward, Smaller(-forward, least));
  }

  static bool Crosses(const SampleRow& row, float at) {
    const Floats none = All(kNone);
    Floats above = none, below = none, step = Floats{};
    for (int k = 0; k < kUsed; k += kFloats) {
      const Floats v = Load<Floats>(row.value + k);
      above = Smaller(v > at ? v : none, above);
      below = Smaller(v < at ? -v : none, below);
      step = Step(row, k, v, step);
    }
    return Least(Lanes::Fold(above)) + Least(Lanes::Fold(below)) < -Least(Lanes::Fold(step));
  }

  // Maxima are kept as minima of the negated values. A part without a value above or below keeps an infinite
  // one, and no step is larger than that.
  static unsigned Crossings(const SampleRow& side, float at, const SampleRow& along, float atAlong) {
    const Floats none = All(kNone);
    Floats firstAbove = none, firstBelow = none, secondAbove = none, secondBelow = none;
    Floats step = Floats{};
    for (int k = 0; k < kUsed; k += kFloats) {
      const Floats v = Load<Floats>(along.value + k);
      const auto inFirst = at >= Load<Floats>(side.value + k);
      const Floats above = v > atAlong ? v : none;
      const Floats below = v < atAlong ? -v : none;
      firstAbove = Smaller(inFirst ? above : none, firstAbove);
      firstBelow = Smaller(inFirst ? below : none, firstBelow);
      secondAbove = Smaller(inFirst ? none : above, secondAbove);
      secondBelow = Smaller(inFirst ? none : below, secondBelow);
      step = Step(along, k, v, step);
    }
    __m128 a = Lanes::Fold(firstAbove), b = Lanes::Fold(firstBelow);
    __m128 c = Lanes::Fold(secondAbove), d = Lanes::Fold(secondBelow);
    _MM_TRANSPOSE4_PS(a, b, c, d);
    float nearest[4];
    _mm_storeu_ps(nearest, _mm_min_ps(_mm_min_ps(a, b), _mm_min_ps(c, d)));
    const float largestStep = -Least(Lanes::Fold(step));
    return (nearest[0] + nearest[1] < largestStep ? 1u : 0u) |
           (nearest[2] + nearest[3] < largestStep ? 2u : 0u);
  }

  static constexpr CurveKernel kKernel = {SampleQuad, SampleCubic, SmallestSquare, Crosses, Crossings};
};

}  // namespace tovkit
