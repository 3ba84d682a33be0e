// SPDX-License-Identifier: MIT
// Which rays cross a curve, as ranges of one coordinate with a bound for the other.
//
// A ray is crossed where two samples on its side of the point, one above and one below it, are closer
// together than the largest step. So for each range between two samples' neighboring values there is one
// bound: the farthest place across from which such a pair is still on the ray's side.
#pragma once

#include "band_table.h"
#include "curve_kernel.h"

#include <vector>

namespace tovkit {

// The samples of a curve as a ray meets them: `along` is the coordinate in which the ray does not move, and
// the ray goes towards greater values of `across`.
struct RaySamples {
  float along[kSamples];
  float across[kSamples];
  float largestStep;  // between neighbors, in `along`
  bool takesEqual;    // samples level with the point in `across` are on the ray's side
};

// Adds the ranges in which the ray crosses the curve, those within [low, high], to `entries`. All numbers are
// finite.
void AddCrossingPieces(const RaySamples& samples, float low, float high, std::vector<BandEntry>& entries);

}  // namespace tovkit
