// SPDX-License-Identifier: MIT
// Which vector instructions this process uses, decided once.
//
// The best that the processor and the operating system support, or less when TOVKIT_SIMD says so: "scalar",
// "avx2" or "avx512", for tests and comparisons. Results never depend on it. A level that the machine lacks,
// and any other value, are ignored.
//
// Thread-safety: any function from any thread.
#pragma once

#include <cstdlib>
#include <cstring>

namespace base {

enum class SimdLevel { kScalar, kAvx2, kAvx512 };  // with BMI1; with F, BW, VL and VBMI

inline bool SupportsSimdLevel(SimdLevel level) {
  switch (level) {
    case SimdLevel::kAvx512:
      return __builtin_cpu_supports("avx512f") != 0 && __builtin_cpu_supports("avx512bw") != 0 &&
             __builtin_cpu_supports("avx512vl") != 0 && __builtin_cpu_supports("avx512vbmi") != 0;
    case SimdLevel::kAvx2:
      return __builtin_cpu_supports("avx2") != 0 && __builtin_cpu_supports("bmi") != 0;
    default:
      return true;
  }
}

// The levels by the names that TOVKIT_SIMD has for them, the best first.
struct SimdLevelRow {
  SimdLevel level;
  const char* name;
};
inline constexpr SimdLevelRow kSimdLevels[] = {
    {SimdLevel::kAvx512, "avx512"}, {SimdLevel::kAvx2, "avx2"}, {SimdLevel::kScalar, "scalar"}};

inline const char* SimdLevelName(SimdLevel level) {
  for (const SimdLevelRow& row : kSimdLevels) {
    if (row.level == level) return row.name;
  }
  return "";
}

// The level for `wish`, the value of TOVKIT_SIMD or null, on this machine.
inline SimdLevel SimdLevelFor(const char* wish) {
  for (const SimdLevelRow& row : kSimdLevels) {
    if (wish != nullptr && std::strcmp(wish, row.name) == 0 && SupportsSimdLevel(row.level)) return row.level;
  }
  for (const SimdLevelRow& row : kSimdLevels) {
    if (SupportsSimdLevel(row.level)) return row.level;
  }
  return SimdLevel::kScalar;
}

inline SimdLevel ChosenSimdLevel() {
  static const SimdLevel chosen = SimdLevelFor(std::getenv("TOVKIT_SIMD"));
  return chosen;
}

}  // namespace base
