// SPDX-License-Identifier: MIT
#include <tovmx/color_space.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>

namespace {

TEST(ColorSpace, GrayAndRgbAreTurnedAndOpaque) {
  for (const std::uint32_t kind : {0U, 1U, 2U, 4U, 1000U}) {
    EXPECT_EQ(CoreColorToArgb(0x00332211, kind), 0xff112233U) << kind;
    EXPECT_EQ(CoreColorToArgb(0xaa332211, kind), 0xff112233U) << kind;
    EXPECT_EQ(CoreColorToArgb(0, kind), 0xff000000U) << kind;
    for (int bit = 0; bit < 24; ++bit) {
      const int turned = bit < 8 ? bit + 16 : bit < 16 ? bit : bit - 16;
      EXPECT_EQ(CoreColorToArgb(1U << bit, kind), 0xff000000U | 1U << turned) << kind << ", " << bit;
    }
  }
}

TEST(ColorSpace, EachInkTakesItsLight) {
  EXPECT_EQ(CoreColorToArgb(0, kCoreColorCmyk), 0xffffffffU);
  EXPECT_EQ(CoreColorToArgb(0xff000000, kCoreColorCmyk), 0xff00ffffU);
  EXPECT_EQ(CoreColorToArgb(0x00ff0000, kCoreColorCmyk), 0xffff00ffU);
  EXPECT_EQ(CoreColorToArgb(0x0000ff00, kCoreColorCmyk), 0xffffff00U);
  EXPECT_EQ(CoreColorToArgb(0x000000ff, kCoreColorCmyk), 0xff000000U);
  for (unsigned ink = 0; ink < 256; ++ink) {
    for (unsigned black = 0; black < 256; ++black) {
      const auto light = [black](unsigned each) {
        return static_cast<std::uint32_t>(std::lround((255.0 - each) * (255.0 - black) / 255));
      };
      const unsigned other = 255 - ink, third = ink * 7 % 256;
      ASSERT_EQ(CoreColorToArgb(ink << 24 | other << 16 | third << 8 | black, kCoreColorCmyk),
                0xff000000U | light(ink) << 16 | light(other) << 8 | light(third))
          << ink << " under " << black;
    }
  }
}

}  // namespace
