// SPDX-License-Identifier: MIT
// Colors as text, read while no memory is left.
#include "allocation_faults.h"

#include <tovkit/imaging.h>

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>

namespace {

TEST(ColorFaults, AColorIsReadWithoutMemory) {
  struct Case {
    const char* text;
    bool isColor;
    std::uint32_t color;
    std::uint32_t kind;
  };
  constexpr std::uint32_t kUntouched = 0xDEADBEEF;
  const Case cases[] = {
      {"#80", true, 0x00808080, 1},
      {"#FF0000", true, 0x000000FF, 2},
      {"#01020304", true, 0x01020304, 3},
      {"128", true, 0x00808080, 1},
      {"255 0 0", true, 0x000000FF, 2},
      {"1 2 3 4", true, 0x01020304, 3},
      {"", false, kUntouched, kUntouched},
      {"1 2", false, kUntouched, kUntouched},
      {"1 2 3 4 5", false, kUntouched, kUntouched},
      {"1 2 3 4 5 6", false, kUntouched, kUntouched},
  };
  for (const Case& c : cases) {
    bool isColor = false;
    std::uint32_t color = kUntouched;
    std::uint32_t kind = kUntouched;
    long seen = -1;
    {
      const AllocationFaults faults = AllocationFaults::OfAny(1, LONG_MAX);
      isColor = tovkit::ParseColor(c.text, color, kind);
      seen = faults.seen();
    }
    EXPECT_EQ(isColor, c.isColor) << c.text;
    EXPECT_EQ(color, c.color) << c.text;
    EXPECT_EQ(kind, c.kind) << c.text;
    EXPECT_EQ(seen, 0) << c.text;
  }
}

}  // namespace
