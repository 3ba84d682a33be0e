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

// The samples of a curve as two rays meet them: `along` is the coordinate in which the rays do not move. The
// first goes towards greater values of `across`, the second towards less; samples level with the point in
// `across` are on the side of the second.
struct RaySamples {
  const float* along;
  const float* across;
};

// Adds the ranges in which the rays cross the curve, those within [low, high], to the entries of each, whose
// bounds are negated for the second. Returns whether some samples are out of [low, high]. All numbers are
// finite.
bool AddCrossingPieces(const RaySamples& samples, float low, float high,
                       std::vector<BandEntry>& towardsGreater, std::vector<BandEntry>& towardsLess);

}  // namespace tovkit
