#include "tovkit/util.h"

#include "simd_level.h"

namespace tovkit {

namespace {

const char* NameOf(base::SimdLevel level) {
  switch (level) {
    case base::SimdLevel::kAvx512:
      return "avx512";
    case base::SimdLevel::kAvx2:
      return "avx2";
    default:
      return "scalar";
  }
}

}  // namespace

const char* GetVectorLevel() { return NameOf(base::ChosenSimdLevel()); }
const char* GetHighestVectorLevel() { return NameOf(base::SimdLevelFor(nullptr)); }

}  // namespace tovkit
