// SPDX-License-Identifier: MIT
// A line that was shaped before takes no memory when it comes again.
#include "allocation_faults.h"

#include <tovmx/font.h>

#include <gtest/gtest.h>

#include <climits>
#include <string>

namespace {

long AllocationsOf(const CoreFontLoader& fonts, const std::wstring& text) {
  CoreTextExtents extents;
  const AllocationFaults none = AllocationFaults::OfAny(LONG_MAX, 1);
  EXPECT_TRUE(fonts.MeasureText(text.c_str(), static_cast<int>(text.size()), 20.0f, extents));
  return none.seen();
}

// As a description has it, family and face are one name.
CoreFontLoader Loaded(const wchar_t* name) {
  CoreFontLoader fonts(nullptr);
  fonts.LoadFont(name, name, kCoreFontAny, 400, false);
  return fonts;
}

TEST(KeptLines, LinesOfTwoFamiliesInTurnAreKept) {
  const CoreFontLoader fonts[] = {Loaded(L"DejaVu Sans"), Loaded(L"Liberation Serif"), Loaded(L"SimSun")};
  const auto lineOf = [](int i) { return L"line " + std::to_wstring(i / 3); };
  for (int i = 0; i < 60; ++i) EXPECT_GT(AllocationsOf(fonts[i % 3], lineOf(i)), 0) << i;
  for (int i = 0; i < 60; ++i) EXPECT_EQ(AllocationsOf(fonts[i % 3], lineOf(i)), 0) << i;
}

}  // namespace
