// SPDX-License-Identifier: MIT
#include <tovkit/imaging.h>

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <ostream>
#include <random>
#include <vector>

namespace {

using tovkit::DeleteRectDib;

constexpr std::uint8_t kUntouched = 0x5a;

CoreDib MakeDib(int width, int height, int bits) {
  CoreDib dib;
  EXPECT_TRUE(dib.Create(width, height, bits));
  std::memset(dib.GetBuffer(), kUntouched, dib.GetBufferSize());
  return dib;
}

// The bytes of a row that are no longer untouched: [first, last), and all of them `fill`.
struct Span {
  int first;
  int last;
  friend bool operator==(const Span& a, const Span& b) { return a.first == b.first && a.last == b.last; }
  friend std::ostream& operator<<(std::ostream& out, const Span& s) {
    return out << s.first << " to " << s.last;
  }
};

Span Blanked(const CoreDib& dib, int row, std::uint8_t fill) {
  const std::uint8_t* bytes = dib.GetRow(row);
  int first = 0;
  while (first < dib.GetStride() && bytes[first] == kUntouched) ++first;
  if (first == dib.GetStride()) return {0, 0};
  int last = dib.GetStride();
  while (bytes[last - 1] == kUntouched) --last;
  for (int i = first; i < last; ++i) EXPECT_EQ(bytes[i], fill) << "byte " << i << " of row " << row;
  return {first, last};
}

TEST(DeleteRectDib, NullAndEmptyAreRefused) {
  CoreDib dib = MakeDib(4, 4, 24);
  EXPECT_FALSE(DeleteRectDib(nullptr, {0, 0, 1, 1}));
  EXPECT_FALSE(DeleteRectDib(nullptr, {0, 0, 0, 0}));
  EXPECT_FALSE(DeleteRectDib(&dib, {1, 1, 1, 3}));
  EXPECT_FALSE(DeleteRectDib(&dib, {1, 2, 3, 2}));
  for (int y = 0; y < 4; ++y) EXPECT_EQ(Blanked(dib, y, 255), (Span{0, 0}));
}

TEST(DeleteRectDib, A24BitBitmapWithoutPaletteGetsSixBytesOf255) {
  CoreDib dib = MakeDib(4, 4, 24);
  EXPECT_TRUE(DeleteRectDib(&dib, {1, 1, 3, 2}));
  EXPECT_EQ(Blanked(dib, 0, 255), (Span{0, 0}));
  EXPECT_EQ(Blanked(dib, 1, 255), (Span{3, 9}));
  EXPECT_EQ(Blanked(dib, 2, 255), (Span{0, 0}));
}

TEST(DeleteRectDib, AnEightBitBitmapGetsTheBrightestPaletteIndex) {
  CoreDib dib = MakeDib(8, 2, 8);
  const std::uint32_t entries[] = {0, 0x010101, 0x0000ff, 0x00ff00, 0xfefefe, 0xffffff, 0x808080};
  ASSERT_TRUE(dib.SetPalette(entries, 7));
  EXPECT_TRUE(DeleteRectDib(&dib, {2, 0, 5, 1}));
  EXPECT_EQ(Blanked(dib, 0, 5), (Span{2, 5}));
}

TEST(DeleteRectDib, TheBrightestEntryHasTheGreatestSumOfItsThreeComponents) {
  // Each of the first entries is ahead in one component, in the weights of the eye, or in two of three.
  for (const std::uint32_t brightest : {0x909090U, 0xc000c1U, 0xc0c100U, 0x00c0c1U}) {
    CoreDib dib = MakeDib(8, 1, 8);
    const std::uint32_t entries[] = {0x0000ff, 0x00ff00, 0xff0000, 0x80ff00, brightest, 0x00ff40};
    ASSERT_TRUE(dib.SetPalette(entries, 6));
    EXPECT_TRUE(DeleteRectDib(&dib, {0, 0, 8, 1}));
    EXPECT_EQ(Blanked(dib, 0, 4), (Span{0, 8})) << std::hex << brightest;
  }
}

TEST(DeleteRectDib, OfSeveralPaletteEntriesWithTheGreatestSumTheLastIsTaken) {
  CoreDib dib = MakeDib(8, 1, 8);
  const std::uint32_t entries[] = {0x0000ff, 0xff0000, 0x00ff00, 0x000001};
  ASSERT_TRUE(dib.SetPalette(entries, 4));
  EXPECT_TRUE(DeleteRectDib(&dib, {0, 0, 8, 1}));
  EXPECT_EQ(Blanked(dib, 0, 2), (Span{0, 8}));
  const std::uint32_t black[] = {0, 0, 0};
  ASSERT_TRUE(dib.SetPalette(black, 3));
  EXPECT_TRUE(DeleteRectDib(&dib, {0, 0, 8, 1}));
  EXPECT_EQ(dib.GetRow(0)[0], 2) << "all black: still the last";
}

TEST(DeleteRectDib, OfPalettesOfEverySizeTheLastOfTheBrightestIsTaken) {
  std::mt19937 random(1);
  for (int round = 0; round < 2000; ++round) {
    const int size = 1 + static_cast<int>(random() % 256);
    // Few colors, so that several are equally bright; in some palettes one of them is white.
    const std::uint32_t step = round % 3 == 0 ? 0xff : 0x55;
    std::vector<std::uint32_t> entries(static_cast<std::size_t>(size));
    for (std::uint32_t& entry : entries)
      entry = (random() % 2 + (round % 2 != 0 ? random() % 2 : 0)) * step | random() % 2 * step << 8 |
              random() % 2 * step << 16;
    int expected = 0;
    const auto sum = [&](int i) {
      const std::uint32_t entry = entries[static_cast<std::size_t>(i)];
      return (entry & 0xff) + (entry >> 8 & 0xff) + (entry >> 16 & 0xff);
    };
    for (int i = 1; i < size; ++i) expected = sum(i) >= sum(expected) ? i : expected;
    CoreDib dib = MakeDib(4, 1, 8);
    ASSERT_TRUE(dib.SetPalette(entries.data(), size));
    ASSERT_TRUE(DeleteRectDib(&dib, {0, 0, 4, 1}));
    ASSERT_EQ(dib.GetRow(0)[0], expected) << size << " entries, round " << round;
  }
}

TEST(DeleteRectDib, GrayAnd32BitsGet255InEveryByte) {
  CoreDib gray = MakeDib(8, 1, 8);
  EXPECT_TRUE(DeleteRectDib(&gray, {1, 0, 3, 1}));
  EXPECT_EQ(Blanked(gray, 0, 255), (Span{1, 3}));
  CoreDib dib = MakeDib(3, 1, 32);
  EXPECT_TRUE(DeleteRectDib(&dib, {1, 0, 2, 1}));
  EXPECT_EQ(Blanked(dib, 0, 255), (Span{4, 8}));
}

TEST(DeleteRectDib, ReversedEdgesAreSwapped) {
  CoreDib dib = MakeDib(4, 4, 24);
  EXPECT_TRUE(DeleteRectDib(&dib, {3, 2, 1, 1}));
  EXPECT_EQ(Blanked(dib, 1, 255), (Span{3, 9}));
}

// Width 5 at 24 bits: 15 bytes of pixels, a stride of 16, and 16 / 3 is 5.
TEST(DeleteRectDib, WhatLiesOutsideTheBitmapIsCutOff) {
  const struct {
    const char* condition;
    CoreRect rect;
    Span row0, row3;
  } cases[] = {
      {"wider than the bitmap", {2, 0, 100, 4}, {6, 15}, {6, 15}},
      {"negative corner", {-7, -3, 2, 1}, {0, 6}, {0, 0}},
      {"all negative", {-7, -3, -1, -1}, {0, 0}, {0, 0}},
      {"right of the bitmap", {50, 0, 60, 4}, {0, 0}, {0, 0}},
      {"left at the stride", {5, 0, 6, 4}, {0, 0}, {0, 0}},
      {"below the bitmap", {0, 4, 5, 9}, {0, 0}, {0, 0}},
      {"far below the bitmap", {0, 40, 5, 90}, {0, 0}, {0, 0}},
      {"taller than the bitmap", {0, 3, 1, 9}, {0, 0}, {0, 3}},
      {"everything there is", {INT_MIN, INT_MIN, INT_MAX, INT_MAX}, {0, 15}, {0, 15}},
      {"products beyond 32 bits", {INT_MAX / 2, 0, INT_MAX, INT_MAX}, {0, 0}, {0, 0}},
      {"a product that wraps to a small one", {0x55555556, 0, INT_MAX, 4}, {0, 0}, {0, 0}},
      {"a right edge whose product wraps", {0, 0, 0x55555556, 4}, {0, 15}, {0, 15}},
  };
  for (const auto& c : cases) {
    CoreDib dib = MakeDib(5, 4, 24);
    EXPECT_TRUE(DeleteRectDib(&dib, c.rect)) << c.condition;
    EXPECT_EQ(Blanked(dib, 0, 255), c.row0) << c.condition;
    EXPECT_EQ(Blanked(dib, 3, 255), c.row3) << c.condition;
  }
}

TEST(DeleteRectDib, TheCutIsMadeAtTheEndOfThePaddedRow) {
  CoreDib dib = MakeDib(3, 1, 24);  // 9 bytes of pixels in a stride of 12, which is 4 whole pixels
  EXPECT_TRUE(DeleteRectDib(&dib, {0, 0, 10, 1}));
  EXPECT_EQ(Blanked(dib, 0, 255), (Span{0, 12}));
  CoreDib exact = MakeDib(3, 1, 24);
  EXPECT_TRUE(DeleteRectDib(&exact, {0, 0, 3, 1}));
  EXPECT_EQ(Blanked(exact, 0, 255), (Span{0, 9}));
}

TEST(DeleteRectDib, ShallowBitmapsGetWholeBytesOfZeroWhateverThePalette) {
  CoreDib dib = MakeDib(64, 2, 1);
  const std::uint32_t entries[] = {0, 0xffffff};
  ASSERT_TRUE(dib.SetPalette(entries, 2));
  EXPECT_TRUE(DeleteRectDib(&dib, {9, 1, 31, 2}));
  EXPECT_EQ(Blanked(dib, 0, 0), (Span{0, 0}));
  EXPECT_EQ(Blanked(dib, 1, 0), (Span{1, 3}));
}

TEST(DeleteRectDib, AByteThatTheLeftEdgeCutsIsBlankedWholeAndOneThatTheRightEdgeCutsIsLeftAlone) {
  const struct {
    int left, right;
    Span bytes;
  } cases[] = {{8, 16, {1, 2}}, {9, 16, {1, 2}},  {15, 16, {1, 2}}, {8, 17, {1, 2}},
               {8, 23, {1, 2}}, {15, 31, {1, 3}}, {1, 7, {0, 0}},   {7, 9, {0, 1}}};
  for (const auto& c : cases) {
    CoreDib dib = MakeDib(64, 1, 1);
    EXPECT_TRUE(DeleteRectDib(&dib, {c.left, 0, c.right, 1}));
    EXPECT_EQ(Blanked(dib, 0, 0), c.bytes) << c.left << " to " << c.right;
  }
}

// Two pixels to a byte: 16 bytes for 32 pixels.
TEST(DeleteRectDib, With4BitsItBlanksAQuarterOfTheWidthFromAQuarterOfTheLeftEdgeOn) {
  CoreDib dib = MakeDib(32, 1, 4);
  EXPECT_TRUE(DeleteRectDib(&dib, {0, 0, 32, 1}));
  EXPECT_EQ(Blanked(dib, 0, 0), (Span{0, 4})) << "8 of 32 pixels";
  CoreDib right = MakeDib(32, 1, 4);
  EXPECT_TRUE(DeleteRectDib(&right, {16, 0, 32, 1}));
  EXPECT_EQ(Blanked(right, 0, 0), (Span{2, 4})) << "4 of 16 pixels, from the fourth on";
}

TEST(DeleteRectDib, The0ThatShallowBitmapsGetIsBlackWithoutAPalette) {
  CoreDib dib = MakeDib(8, 1, 1);
  EXPECT_TRUE(DeleteRectDib(&dib, {0, 0, 8, 1}));
  for (int x = 0; x < 8; ++x) EXPECT_EQ(dib.GetArgb(x, 0), 0xFF000000U);
}

TEST(DeleteRectDib, ShallowBitmapsAreSafeForEveryRectangle) {
  for (const int bits : {1, 4}) {
    for (const CoreRect& rect :
         {CoreRect{0, 0, INT_MAX, INT_MAX}, CoreRect{INT_MIN, INT_MIN, INT_MAX, INT_MAX},
          CoreRect{INT_MAX - 1, 0, INT_MAX, 3}, CoreRect{1000, 0, 2000, 3}}) {
      CoreDib dib = MakeDib(9, 3, bits);
      EXPECT_TRUE(DeleteRectDib(&dib, rect));
      EXPECT_EQ(Blanked(dib, 2, 0), rect.left < 1000 ? (Span{0, dib.GetStride()}) : (Span{0, 0}));
    }
  }
}

TEST(DeleteRectDib, ABitmapWithoutPixelsIsSafe) {
  CoreDib dib;
  EXPECT_TRUE(DeleteRectDib(&dib, {0, 0, 5, 5}));
  EXPECT_TRUE(DeleteRectDib(&dib, {INT_MIN, INT_MIN, INT_MAX, INT_MAX}));
}

// Against a plain reading of the rules, over every small rectangle.
TEST(DeleteRectDib, EverySmallRectangleOfEveryDepth) {
  for (const int bits : {1, 4, 8, 24, 32}) {
    for (int left = -2; left < 13; ++left) {
      for (int right = -2; right < 13; ++right) {
        for (int top = -1; top < 5; ++top) {
          const int bottom = 3;
          CoreDib dib = MakeDib(9, 3, bits);
          const bool done = DeleteRectDib(&dib, {left, top, right, bottom});
          ASSERT_EQ(done, left != right && top != bottom);
          if (!done) continue;
          const int size = bits / 8;
          const int most = size == 0 ? INT_MAX : dib.GetStride() / size;
          const int from = std::min(std::max(std::min(left, right), 0), most);
          const int to = std::min(std::max(std::max(left, right), 0), most);
          for (int y = 0; y < 3; ++y) {
            const bool hit = y >= std::min(top, bottom) && y < std::max(top, bottom);
            const Span bytes = size == 0 ? Span{from / 8, to / 8} : Span{from * size, to * size};
            const Span expected = hit && bytes.first < bytes.last ? bytes : Span{0, 0};
            ASSERT_EQ(Blanked(dib, y, size == 0 ? 0 : 255), expected)
                << bits << " bits, (" << left << ", " << top << ", " << right << ", " << bottom << "), row "
                << y;
          }
        }
      }
    }
  }
}

}  // namespace
