// SPDX-License-Identifier: MIT
#include "simd_level.h"

#include <gtest/gtest.h>

#include <string>

namespace {

constexpr struct {
  base::SimdLevel level;
  const char* name;
} kLevels[] = {{base::SimdLevel::kScalar, "scalar"},
               {base::SimdLevel::kAvx2, "avx2"},
               {base::SimdLevel::kAvx512, "avx512"}};

base::SimdLevel Best() {
  base::SimdLevel best = base::SimdLevel::kScalar;
  for (const auto& row : kLevels) {
    if (base::SupportsSimdLevel(row.level)) best = row.level;
  }
  return best;
}

TEST(SimdLevel, EveryMachineIsScalarAndOnlyOnesWithAvx2HaveAvx512) {
  EXPECT_TRUE(base::SupportsSimdLevel(base::SimdLevel::kScalar));
  EXPECT_TRUE(base::SupportsSimdLevel(base::SimdLevel::kAvx2) ||
              !base::SupportsSimdLevel(base::SimdLevel::kAvx512));
}

TEST(SimdLevel, AWishIsGrantedWhereTheMachineCan) {
  for (const auto& row : kLevels)
    EXPECT_EQ(base::SimdLevelFor(row.name), base::SupportsSimdLevel(row.level) ? row.level : Best())
        << row.name;
}

TEST(SimdLevel, EachHasTheNameThatAsksForIt) {
  for (const auto& row : kLevels) EXPECT_STREQ(base::SimdLevelName(row.level), row.name);
  EXPECT_STREQ(base::SimdLevelName(static_cast<base::SimdLevel>(3)), "");
}

TEST(SimdLevel, AnyOtherWishGivesTheBest) {
  for (const char* wish : {static_cast<const char*>(nullptr), "", "AVX2", "avx5", "avx5120", " scalar"})
    EXPECT_EQ(base::SimdLevelFor(wish), Best()) << (wish == nullptr ? "none" : wish);
}

TEST(SimdLevel, TheEnvironmentsWishHoldsForTheWholeProcess) {
  EXPECT_EQ(base::ChosenSimdLevel(), base::SimdLevelFor(std::getenv("TOVKIT_SIMD")));
  EXPECT_EQ(base::ChosenSimdLevel(), base::ChosenSimdLevel());
}

}  // namespace
