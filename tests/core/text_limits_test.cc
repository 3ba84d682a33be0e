// SPDX-License-Identifier: MIT
// Where drawing changes its way or stops: the smallest and the largest em, the largest glyphs that are
// pictures, lines that reach far, lines and glyphs beside the page. A document tells what was painted and
// how.
#include "device_support.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

namespace {

using namespace device;

constexpr float kPage = 1000;
constexpr wchar_t kBlock[] = L"\u2588";

std::size_t CountOf(const std::string& part, const std::string& text) {
  std::size_t count = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
  return count;
}

CoreMatrix Scaled(float x, float y, float dx, float dy) {
  CoreMatrix matrix;
  matrix.a = x;
  matrix.d = y;
  matrix.e = dx;
  matrix.f = dy;
  return matrix;
}

template <typename Device>
std::string DocumentOf(const wchar_t* text, const CoreMatrix& matrix, float size) {
  CoreMemoryOutputStream stream;
  Device device(&stream, kPage, kPage);
  EXPECT_TRUE(DrawLine(device, text, matrix, kBlack, size));
  EXPECT_TRUE(device.Finish());
  return TextOf(stream);
}

// How an SVG holds a line: as so many glyphs of its fonts, or as so many outlines.
struct Painted {
  std::size_t glyphs = 0;
  std::size_t outlines = 0;
  bool operator==(const Painted& other) const { return glyphs == other.glyphs && outlines == other.outlines; }
};

void PrintTo(const Painted& painted, std::ostream* out) {
  *out << painted.glyphs << " glyphs, " << painted.outlines << " outlines";
}

Painted SvgOf(const wchar_t* text, const CoreMatrix& matrix, float size) {
  const std::string svg = DocumentOf<CoreSvgDevice>(text, matrix, size);
  const std::size_t fonts = svg.find("</defs>");
  const std::string page = fonts == std::string::npos ? svg : svg.substr(fonts);
  // A shape that covers the page is written as a rectangle.
  return {CountOf("<use ", page), CountOf("<path ", page) + CountOf("<rect ", page)};
}

enum class Written { kNothing, kText, kOutlines };

Written PdfOf(const wchar_t* text, const CoreMatrix& matrix, float size) {
  static const std::size_t empty = DocumentOf<CorePdfDevice>(L"", CoreMatrix(), 10).size();
  const std::string pdf = DocumentOf<CorePdfDevice>(text, matrix, size);
  if (CountOf("/FontFile", pdf) != 0) return Written::kText;
  return pdf.size() > empty + 8 ? Written::kOutlines : Written::kNothing;
}

float Before(float value) { return std::nextafter(value, 0.0f); }
float Behind(float value) { return std::nextafter(value, std::numeric_limits<float>::max()); }

const Painted kNothing = {0, 0};
const Painted kOneGlyph = {1, 0};
const Painted kOneOutline = {0, 1};

TEST(TextLimits, TextBelowA64thOfAPixelIsNotDrawn) {
  constexpr float kLeast = 1.0f / 64;
  EXPECT_EQ(SvgOf(kBlock, At(5, 5), Before(kLeast)), kNothing);
  EXPECT_EQ(SvgOf(kBlock, At(5, 5), kLeast), kOneGlyph);
  EXPECT_EQ(SvgOf(kBlock, At(5, 5), Behind(kLeast)), kOneGlyph);
  // The shorter side decides.
  for (const bool wide : {false, true}) {
    for (const float least : {Before(kLeast), kLeast}) {
      const CoreMatrix matrix = Scaled(wide ? 1 : least, wide ? least : 1, 5, 5);
      EXPECT_EQ(SvgOf(kBlock, matrix, 1), least == kLeast ? kOneGlyph : kNothing) << wide;
    }
  }
  // A document's own unit is a point.
  EXPECT_EQ(PdfOf(L"H", At(5, 5), 0.0208f), Written::kNothing);
  EXPECT_EQ(PdfOf(L"H", At(5, 5), 0.0209f), Written::kText);
}

TEST(TextLimits, TextAbove100000PixelsIsNotDrawn) {
  constexpr float kMost = 100'000;
  for (const float size : {Before(kMost), kMost, Behind(kMost)}) {
    const Painted expected = size <= kMost ? kOneOutline : kNothing;
    EXPECT_EQ(SvgOf(kBlock, At(-5, 5), size), expected) << size;
    // The longer side decides.
    EXPECT_EQ(SvgOf(kBlock, Scaled(size / 10, 1, -5, 5), 10), expected) << size;
    EXPECT_EQ(SvgOf(kBlock, Scaled(1, size / 10, -5, 5), 10), expected) << size;
    Picture picture(20, 20);
    CoreBitmapDevice device(&picture.dib);
    ASSERT_TRUE(DrawLine(device, kBlock, At(-5, 5), kBlack, size));
    EXPECT_EQ(InkOf(picture.dib).IsEmpty(), size > kMost);
  }
}

TEST(TextLimits, GlyphsAbove256PixelsAreOutlines) {
  for (const float size : {200.0f, Before(256), 256.0f, Behind(256), 300.0f}) {
    EXPECT_EQ(SvgOf(kBlock, At(5, 500), size), size <= 256 ? kOneGlyph : kOneOutline) << size;
    EXPECT_EQ(SvgOf(kBlock, Scaled(size, 1, 5, 500), 1), size <= 256 ? kOneGlyph : kOneOutline) << size;
  }
}

TEST(TextLimits, ADocumentKeepsTextUpTo4096Points) {
  constexpr float kMost = 4096 / 0.75f;
  for (const float size : {300.0f, 5461.0f, kMost * 1.0001f, 6000.0f}) {
    EXPECT_EQ(PdfOf(L"H", At(-5, 500), size), size <= kMost ? Written::kText : Written::kOutlines) << size;
  }
}

// The block's ink in multiples of the size; its left edge may stand before the origin.
CoreRectF InkOfBlock(float size) {
  CoreTextExtents extents;
  EXPECT_TRUE(Fonts().MeasureText(kBlock, 1, size, extents));
  return extents.ink;
}

// Two blocks so far apart that one is on the page and the other ends near the limit.
TEST(TextLimits, LinesFurtherOutThan100000AreDrawnGlyphByGlyph) {
  const struct {
    float width;    // between the ends, about
    bool backward;  // the far end is the first
    CoreMatrix turn;
  } rows[] = {{99'500, false, {1, 0, 0, 1, 0, 500}},
              {100'500, true, {1, 0, 0, 1, 0, 500}},
              {99'500, false, {0, 1, -1, 0, 500, 0}},
              {100'500, true, {0, 1, -1, 0, 500, 0}}};
  CoreTextExtents space;
  ASSERT_TRUE(Fonts().MeasureText(L" ", 1, 64, space));
  for (const auto& row : rows) {
    const auto spaces = static_cast<std::size_t>(row.width / space.logical.right);
    const std::wstring line = kBlock + std::wstring(spaces, L' ') + kBlock;
    CoreTextExtents extents;
    ASSERT_TRUE(Fonts().MeasureText(line.c_str(), -1, 64, extents));
    for (const float end : {99'999.0f, 100'001.0f}) {
      const float start = row.backward ? -end - extents.ink.left : end - extents.ink.right;
      CoreMatrix matrix = row.turn;
      (matrix.a == 0 ? matrix.f : matrix.e) = start;
      const Painted painted = SvgOf(line.c_str(), matrix, 64);
      EXPECT_EQ(painted.glyphs == 0, end > 100'000) << row.width << ' ' << matrix.a << ' ' << end;
      EXPECT_EQ(painted.outlines, end > 100'000 ? 1U : 0U) << row.width << ' ' << matrix.a << ' ' << end;
    }
  }
}

// One unit over an edge, and one unit beside it.
TEST(TextLimits, ALineBesideThePageIsLeftOut) {
  const CoreRectF ink = InkOfBlock(64);
  const struct {
    const char* edge;
    float x, y;      // where the ink ends exactly at the edge, from outside
    float inX, inY;  // a step inwards
  } rows[] = {{"left", -ink.right, 500, 1, 0},
              {"right", kPage - ink.left, 500, -1, 0},
              {"top", 500, -ink.bottom, 0, 1},
              {"bottom", 500, kPage - ink.top, 0, -1}};
  for (const auto& row : rows) {
    EXPECT_EQ(SvgOf(kBlock, At(row.x + row.inX, row.y + row.inY), 64), kOneGlyph) << row.edge;
    EXPECT_EQ(SvgOf(kBlock, At(row.x - row.inX, row.y - row.inY), 64), kNothing) << row.edge;
    EXPECT_EQ(PdfOf(kBlock, At(row.x + row.inX, row.y + row.inY), 64), Written::kText) << row.edge;
    EXPECT_EQ(PdfOf(kBlock, At(row.x - row.inX, row.y - row.inY), 64), Written::kNothing) << row.edge;
  }
}

// Glyphs that cannot touch the page are left out of a picture, but a document keeps the text of the line.
TEST(TextLimits, OfALineThatLeavesThePageTheGlyphsOnItAreDrawn) {
  const std::wstring line(100, L'\u2588');
  CoreTextExtents extents;
  ASSERT_TRUE(Fonts().MeasureText(line.c_str(), -1, 64, extents));
  const float advance = extents.logical.right / 100;
  const auto most = static_cast<std::size_t>(std::ceil(kPage / advance)) + 1;
  for (const float x : {0.0f, -20 * advance, kPage - extents.logical.right}) {
    const Painted painted = SvgOf(line.c_str(), At(x, 500), 64);
    EXPECT_GE(painted.glyphs, most - 2) << x;
    EXPECT_LE(painted.glyphs, most + 1) << x;
  }
  EXPECT_EQ(SvgOf(std::wstring(5, L'\u2588').c_str(), At(10, 500), 64), (Painted{5, 0}));
}

}  // namespace
