// SPDX-License-Identifier: MIT
// Eight doubles at a time; eight floats, because sixteen would leave most of the last vector unused.
#include "curve_kernel_lanes.h"

#include <immintrin.h>

namespace tovkit {

namespace {

struct Avx512Lanes {
  typedef float Floats __attribute__((vector_size(32)));
  typedef double Doubles __attribute__((vector_size(64)));
  static constexpr int kFloats = 8;
  static constexpr int kDoubles = 8;
  static Floats Narrow(const Doubles* part) { return __builtin_convertvector(part[0], Floats); }
  static __m128 Fold(Floats v) { return _mm_min_ps(_mm256_castps256_ps128(v), _mm256_extractf128_ps(v, 1)); }
};

}  // namespace

const CurveKernel kAvx512CurveKernel = CurveKernelOf<Avx512Lanes>::kKernel;

}  // namespace tovkit
