#include "curve_kernel.h"

#include <cstdlib>
#include <string_view>

namespace tovkit {

namespace {

const CurveKernel& ChooseCurveKernel() {
  const char* forced = std::getenv("TOVKIT_SIMD");
  const std::string_view wanted = forced != nullptr ? forced : "avx512";
  const bool avx2 = __builtin_cpu_supports("avx2") != 0;
  const bool avx512 =
      avx2 && __builtin_cpu_supports("avx512f") != 0 && __builtin_cpu_supports("avx512vl") != 0;
  if (wanted == "scalar") return kBaselineCurveKernel;
  if (wanted != "avx2" && avx512) return kAvx512CurveKernel;
  return avx2 ? kAvx2CurveKernel : kBaselineCurveKernel;
}

}  // namespace

const CurveKernel& ActiveCurveKernel() {
  static const CurveKernel& active = ChooseCurveKernel();
  return active;
}

}  // namespace tovkit
