// SPDX-License-Identifier: MIT
// How high and how wide a line is, beside what its fonts say of themselves.
#include <tovmx/font.h>

#include <gtest/gtest.h>

#include <hb-ot.h>

#include <algorithm>
#include <memory>
#include <string>

namespace {

constexpr float kSize = 64;
constexpr int kUnits = 1024;  // HarfBuzz counts in whole numbers

struct Height {
  float top, bottom;
};

// From the font's ascent to its descent.
Height HeightOf(const char* file) {
  const std::unique_ptr<hb_blob_t, void (*)(hb_blob_t*)> blob(hb_blob_create_from_file(file),
                                                              hb_blob_destroy);
  const std::unique_ptr<hb_face_t, void (*)(hb_face_t*)> face(hb_face_create(blob.get(), 0), hb_face_destroy);
  const std::unique_ptr<hb_font_t, void (*)(hb_font_t*)> font(hb_font_create(face.get()), hb_font_destroy);
  const int scale = static_cast<int>(kSize) * kUnits;
  hb_font_set_scale(font.get(), scale, scale);
  hb_font_extents_t extents;
  EXPECT_NE(hb_font_get_h_extents(font.get(), &extents), 0) << file;
  return {-static_cast<float>(extents.ascender) / kUnits, -static_cast<float>(extents.descender) / kUnits};
}

CoreTextExtents Measured(const wchar_t* family, const wchar_t* text, float size = kSize) {
  CoreFontLoader fonts(nullptr);
  fonts.LoadFont(family, family, kCoreFontAny, 400, false);
  CoreTextExtents extents;
  EXPECT_TRUE(fonts.MeasureText(text, -1, size, extents));
  return extents;
}

TEST(FontHeights, ALineReachesFromTheAscentToTheDescentOfItsFont) {
  const struct {
    const wchar_t* family;
    const char* file;
  } rows[] = {{L"DejaVu Sans", "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf"},
              {L"DejaVu Serif", "/usr/share/fonts/truetype/dejavu/DejaVuSerif.ttf"},
              {L"DejaVu Sans Mono", "/usr/share/fonts/truetype/dejavu/DejaVuSansMono.ttf"},
              {L"Liberation Serif", "/usr/share/fonts/truetype/liberation/LiberationSerif-Regular.ttf"},
              {L"AR PL UMing CN", "/usr/share/fonts/truetype/arphic/uming.ttc"}};
  for (const auto& row : rows) {
    const Height expected = HeightOf(row.file);
    for (const wchar_t* text : {L"x", L"(", L"12 3"}) {
      const CoreTextExtents extents = Measured(row.family, text);
      EXPECT_NEAR(extents.logical.top, expected.top, 0.1f) << row.file;
      EXPECT_NEAR(extents.logical.bottom, expected.bottom, 0.1f) << row.file;
      EXPECT_EQ(extents.logical.left, 0);
    }
  }
}

// In whatever order they stand.
TEST(FontHeights, OfSeveralFontsTheHighestAndTheLowestCount) {
  const wchar_t* const pieces[] = {L"x", L"\u5B8B", L"\u05E9", L"\uFDFD", L"\u0E01"};
  for (const wchar_t* family : {L"DejaVu Sans", L"Liberation Serif", L"AR PL UMing CN"}) {
    for (const wchar_t* first : pieces) {
      for (const wchar_t* second : pieces) {
        const CoreTextExtents a = Measured(family, first);
        const CoreTextExtents b = Measured(family, second);
        const CoreTextExtents both = Measured(family, (std::wstring(first) + L" " + second).c_str());
        EXPECT_EQ(both.logical.top, std::min(a.logical.top, b.logical.top)) << first << second;
        EXPECT_EQ(both.logical.bottom, std::max(a.logical.bottom, b.logical.bottom)) << first << second;
        EXPECT_EQ(both.ink.top, std::min(a.ink.top, b.ink.top)) << first << second;
        EXPECT_EQ(both.ink.bottom, std::max(a.ink.bottom, b.ink.bottom)) << first << second;
      }
    }
  }
}

TEST(FontHeights, ALineWithoutCharactersIsNowhere) {
  for (const wchar_t* text : {L"", L"\x01\x02"}) {
    const CoreTextExtents extents = Measured(L"DejaVu Sans", text);
    EXPECT_EQ(extents.logical, (CoreRectF{0, 0, 0, 0}));
    EXPECT_EQ(extents.ink, (CoreRectF{0, 0, 0, 0}));
  }
}

}  // namespace
