// SPDX-License-Identifier: MIT
// Lines of several runs: which stands where, and which face it is drawn in.
#include <tovmx/device.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

constexpr std::uint32_t kBlack = 0xFF000000;

CoreFontLoader Fonts(const wchar_t* family, bool italic = false) {
  CoreFontLoader fonts(nullptr);
  fonts.LoadFont(family, family, kCoreFontAny, 400, italic);
  return fonts;
}

// Large enough for glyphs to be filled as outlines, which stand at fractions of a pixel.
constexpr float kSize = 300;

struct Strip {
  CoreDib dib;
  CoreBitmapDevice device;

  Strip() : device(Blank(dib)) {}

  // Draws the line and returns where it ends.
  float Draw(const wchar_t* text, float x, const CoreFontLoader& fonts) {
    CoreTextExtents extents;
    EXPECT_TRUE(fonts.MeasureText(text, -1, kSize, extents));
    CoreMatrix place;
    place.Translate(x, 300);
    EXPECT_TRUE(device.DrawText(text, -1, fonts, place, kBlack, kSize));
    return x + extents.logical.right;
  }

  std::vector<std::uint8_t> Finished() {
    EXPECT_TRUE(device.EndText() && device.Flush());
    return {dib.GetBuffer(), dib.GetBuffer() + dib.GetBufferSize()};
  }

 private:
  static CoreDib* Blank(CoreDib& dib) {
    EXPECT_TRUE(dib.Create(4000, 400, 32));
    std::memset(dib.GetBuffer(), 255, dib.GetBufferSize());
    return &dib;
  }
};

// Bytes that are far from those of the other picture; edges may differ a little.
std::size_t Differences(const std::vector<std::uint8_t>& a, const std::vector<std::uint8_t>& b) {
  std::size_t count = 0;
  for (std::size_t i = 0; i < a.size(); ++i) count += std::abs(a[i] - b[i]) > 16 ? 1 : 0;
  return count;
}

struct Case {
  const char* name;
  const wchar_t* line;
  std::vector<const wchar_t*> pieces;  // from left to right
};

// Hebrew runs from right to left, its numbers from left to right (Unicode Bidirectional Algorithm).
const Case kLines[] = {
    {"Latin, Hebrew, digits, Latin",
     L"abc \u05E9\u05DC\u05D5\u05DD 123 def",
     {L"abc ", L"123", L" ", L"\u05E9\u05DC\u05D5\u05DD", L" def"}},
    {"Hebrew first",
     L"\u05E9\u05DC\u05D5\u05DD abc 12 def",
     {L"abc 12 def", L" ", L"\u05E9\u05DC\u05D5\u05DD"}},
    {"digits inside Hebrew",
     L"\u05E9\u05DC 12 \u05D5\u05DD 34 x",
     {L"x", L" ", L"34", L" ", L"\u05D5\u05DD", L" ", L"12", L" ", L"\u05E9\u05DC"}},
    {"Latin isolated among Hebrew",
     L"a \u05E9 \u2067b \u05DC\u2069 c",
     {L"a ", L"\u05E9", L" ", L"\u05DC", L" ", L"b", L" c"}},
    {"scripts of several fonts",
     L"ab\u5B8B\u4F53cd\u05E9\u05DC1",
     {L"ab", L"\u5B8B\u4F53", L"cd", L"1", L"\u05E9\u05DC"}},
};

TEST(LineOrder, RunsOfEitherDirectionStandInVisualOrder) {
  const CoreFontLoader fonts = Fonts(L"DejaVu Sans");
  for (const Case& c : kLines) {
    Strip whole;
    Strip pieces;
    const float end = whole.Draw(c.line, 20, fonts);
    float pen = 20;
    for (const wchar_t* piece : c.pieces) pen = pieces.Draw(piece, pen, fonts);
    EXPECT_NEAR(pen, end, 0.5f) << c.name;
    const auto expected = pieces.Finished();
    EXPECT_LT(Differences(whole.Finished(), expected), 2000u) << c.name;
    EXPECT_GT(Differences(Strip().Finished(), expected), 100'000u) << c.name;
  }
}

// How far the ink of a tall letter leans: the mean column of its upper half less that of its lower half.
double LeanOf(const CoreFontLoader& fonts) {
  Strip strip;
  strip.Draw(L"I", 200, fonts);
  strip.Finished();
  double sum[2] = {0, 0};
  double count[2] = {0, 0};
  for (int y = 90; y < 290; ++y) {
    for (int x = 0; x < 1000; ++x) {
      if ((strip.dib.GetArgb(x, y) & 0xFF) > 127) continue;
      sum[y / 190] += x;
      ++count[y / 190];
    }
  }
  return sum[0] / count[0] - sum[1] / count[1];
}

// Families with an italic face of their own, and one that is slanted by the machine.
TEST(LineOrder, ItalicLeansAndRomanStands) {
  for (const wchar_t* family :
       {L"Liberation Serif", L"Liberation Sans", L"DejaVu Serif", L"SimSun", L"No Such"}) {
    EXPECT_NEAR(LeanOf(Fonts(family)), 0, 3) << CoreFontLoader(Fonts(family)).GetFamily().GetLength();
    EXPECT_GT(LeanOf(Fonts(family, true)), 10);
  }
}

}  // namespace
