// SPDX-License-Identifier: MIT
// The kernel that every x86-64 processor runs (four floats or two doubles at a time), and the choice of one.
#include "curve_kernel_lanes.h"
#include "simd_level.h"

namespace tovkit {

namespace {

struct BaselineLanes {
  typedef float Floats __attribute__((vector_size(16)));
  typedef double Doubles __attribute__((vector_size(16)));
  static constexpr int kFloats = 4;
  static constexpr int kDoubles = 2;
  static Floats Narrow(const Doubles* part) {
    return _mm_movelh_ps(_mm_cvtpd_ps(part[0]), _mm_cvtpd_ps(part[1]));
  }
  static __m128 Fold(Floats v) { return v; }
};

}  // namespace

constexpr CurveWeights kCurveWeights = MakeCurveWeights();
const CurveKernel kBaselineCurveKernel = CurveKernelOf<BaselineLanes>::kKernel;

const CurveKernel& ActiveCurveKernel() {
  static const CurveKernel* const kernels[] = {&kBaselineCurveKernel, &kAvx2CurveKernel, &kAvx512CurveKernel};
  static const CurveKernel& active = *kernels[static_cast<int>(base::ChosenSimdLevel())];
  return active;
}

}  // namespace tovkit
