#include "simd_level.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using tovkit::SimdLevel;
using tovkit::SimdLevelFor;

constexpr struct {
  SimdLevel level;
  const char* name;
} kLevels[] = {{SimdLevel::kScalar, "scalar"}, {SimdLevel::kAvx2, "avx2"}, {SimdLevel::kAvx512, "avx512"}};

SimdLevel Best() {
  SimdLevel best = SimdLevel::kScalar;
  for (const auto& row : kLevels) {
    if (tovkit::SupportsSimdLevel(row.level)) best = row.level;
  }
  return best;
}

TEST(SimdLevel, EveryMachineIsScalarAndOnlyOnesWithAvx2HaveAvx512) {
  EXPECT_TRUE(tovkit::SupportsSimdLevel(SimdLevel::kScalar));
  EXPECT_TRUE(tovkit::SupportsSimdLevel(SimdLevel::kAvx2) || !tovkit::SupportsSimdLevel(SimdLevel::kAvx512));
}

TEST(SimdLevel, AWishIsGrantedWhereTheMachineCan) {
  for (const auto& row : kLevels)
    EXPECT_EQ(SimdLevelFor(row.name), tovkit::SupportsSimdLevel(row.level) ? row.level : Best()) << row.name;
}

TEST(SimdLevel, AnyOtherWishGivesTheBest) {
  for (const char* wish : {static_cast<const char*>(nullptr), "", "AVX2", "avx5", "avx5120", " scalar"})
    EXPECT_EQ(SimdLevelFor(wish), Best()) << (wish == nullptr ? "none" : wish);
}

TEST(SimdLevel, TheEnvironmentsWishHoldsForTheWholeProcess) {
  EXPECT_EQ(tovkit::ChosenSimdLevel(), SimdLevelFor(std::getenv("TOVKIT_SIMD")));
  EXPECT_EQ(tovkit::ChosenSimdLevel(), tovkit::ChosenSimdLevel());
}

}  // namespace
