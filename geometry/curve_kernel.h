// SPDX-License-Identifier: MIT
// The arithmetic over a curve's 51 samples, once per instruction set.
//
// All instruction sets compute the same bits: every lane does the operations of the scalar form in its order,
// and the results over all samples are minima, which do not depend on an order.
#pragma once

#include "curve_weights.h"

namespace tovkit {

// One coordinate of the samples. One more value than are sampled is written, so that neighbors can be
// compared.
struct alignas(64) SampleRow {
  float value[kPaddedSamples + 1];
};

struct CurveKernel {
  // Samples one coordinate of a curve whose control values are `control` (3 or 4).
  void (*sampleQuad)(const float* control, SampleRow& row);
  void (*sampleCubic)(const float* control, SampleRow& row);

  // The smallest dx * dx + dy * dy between the samples and (x, y); those that are NaN are passed over.
  // Infinite when there is no other.
  float (*smallestSquare)(const SampleRow& rowX, const SampleRow& rowY, float x, float y);

  // Whether the values cross `at`: the nearest above and the nearest below are closer together than the
  // largest step between neighbors.
  bool (*crosses)(const SampleRow& row, float at);

  // Splits the samples into those with `at` >= side and the others, and looks at the values `along` in each
  // part: bit 0 tells whether the first part crosses `atAlong`, bit 1 whether the second does. The
  // largest step is that of all samples.
  unsigned (*crossings)(const SampleRow& side, float at, const SampleRow& along, float atAlong);
};

extern const CurveKernel kBaselineCurveKernel;
extern const CurveKernel kAvx2CurveKernel;
extern const CurveKernel kAvx512CurveKernel;

// The kernel of this process's vector level (simd_level.h).
const CurveKernel& ActiveCurveKernel();

}  // namespace tovkit
