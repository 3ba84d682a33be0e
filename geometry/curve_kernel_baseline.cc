// What every x86-64 processor has: four floats or two doubles at a time.
#include "curve_kernel_lanes.h"

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

}  // namespace tovkit
