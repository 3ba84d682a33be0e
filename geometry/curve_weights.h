// SPDX-License-Identifier: MIT
// The Bernstein weights of the 51 samples t = 0/50 to 50/50.
//
// They are those of DistanceAt (curve_hit.cc) to the bit. The cube of a float is rounded once here, as pow()
// rounds it for each of these t.
#pragma once

namespace tovkit {

inline constexpr int kSamples = 51;
inline constexpr int kPaddedSamples =
    64;  // the last sample is repeated, so that vectors may run over the end

struct CurveWeights {
  alignas(64) double cubic[4][kPaddedSamples] = {};
  alignas(64) float quad[3][kPaddedSamples] = {};
};

constexpr CurveWeights MakeCurveWeights() {
  CurveWeights weights;
  for (int k = 0; k < kPaddedSamples; ++k) {
    const float t = static_cast<float>(k < kSamples ? k : kSamples - 1) / 50.0f;
    const float u = 1.0f - t;
    const double dt = t;
    const double du = u;
    weights.cubic[0][k] = du * du * du;
    weights.cubic[1][k] = 3.0 * dt * du * du;
    weights.cubic[2][k] = 3.0 * dt * dt * du;
    weights.cubic[3][k] = dt * dt * dt;
    weights.quad[0][k] = u * u;
    weights.quad[1][k] = 2.0f * t * u;
    weights.quad[2][k] = t * t;
  }
  return weights;
}

extern const CurveWeights kCurveWeights;

}  // namespace tovkit
