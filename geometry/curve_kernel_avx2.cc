// SPDX-License-Identifier: MIT
// Eight floats or four doubles at a time.
#include "curve_kernel_lanes.h"

#include <immintrin.h>

namespace tovkit {

namespace {

struct Avx2Lanes {
  typedef float Floats __attribute__((vector_size(32)));
  typedef double Doubles __attribute__((vector_size(32)));
  static constexpr int kFloats = 8;
  static constexpr int kDoubles = 4;
  static Floats Narrow(const Doubles* part) {
    return _mm256_set_m128(_mm256_cvtpd_ps(part[1]), _mm256_cvtpd_ps(part[0]));
  }
  static __m128 Fold(Floats v) { return _mm_min_ps(_mm256_castps256_ps128(v), _mm256_extractf128_ps(v, 1)); }
};

}  // namespace

const CurveKernel kAvx2CurveKernel = CurveKernelOf<Avx2Lanes>::kKernel;

}  // namespace tovkit
