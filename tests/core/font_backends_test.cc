// SPDX-License-Identifier: MIT
// Beside the libraries behind the fonts: their versions, and where HarfBuzz puts marks.
#include <tovmx/font.h>

#include <gtest/gtest.h>

#include <fontconfig/fontconfig.h>
#include <hb-ot.h>
#include <pango/pango.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <string>

#include <ft2build.h>
#include FT_FREETYPE_H

namespace {

constexpr char kFontFile[] = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf";
constexpr float kSize = 64;
constexpr float kUnits = 1024;  // HarfBuzz counts in whole numbers

std::string Dotted(int major, int minor, int patch) {
  return std::to_string(major) + "." + std::to_string(minor) + "." + std::to_string(patch);
}

TEST(FontBackends, EachIsNamedWithItsVersion) {
  const int fontconfig = FcGetVersion();
  FT_Library library = nullptr;
  ASSERT_EQ(FT_Init_FreeType(&library), 0);
  FT_Int version[3] = {};
  FT_Library_Version(library, &version[0], &version[1], &version[2]);
  FT_Done_FreeType(library);
  const std::string expected[] = {
      std::string("Pango ") + pango_version_string(), std::string("HarfBuzz ") + hb_version_string(),
      "FreeType " + Dotted(version[0], version[1], version[2]),
      "fontconfig " + Dotted(fontconfig / 10000, fontconfig % 10000 / 100, fontconfig % 100)};
  const CoreStringList<CoreString> lines = CoreFontLoader::DescribeBackends();
  ASSERT_EQ(lines.GetCount(), 4);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(std::string(lines.GetAt(i).c_str()), expected[i]);
}

// The ink of the line as HarfBuzz alone shapes it.
CoreRectF InkBeside(const wchar_t* text) {
  const std::unique_ptr<hb_blob_t, void (*)(hb_blob_t*)> blob(hb_blob_create_from_file(kFontFile),
                                                              hb_blob_destroy);
  const std::unique_ptr<hb_face_t, void (*)(hb_face_t*)> face(hb_face_create(blob.get(), 0), hb_face_destroy);
  const std::unique_ptr<hb_font_t, void (*)(hb_font_t*)> font(hb_font_create(face.get()), hb_font_destroy);
  const int scale = static_cast<int>(kSize * kUnits);
  hb_font_set_scale(font.get(), scale, scale);
  const std::unique_ptr<hb_buffer_t, void (*)(hb_buffer_t*)> buffer(hb_buffer_create(), hb_buffer_destroy);
  for (unsigned i = 0; text[i] != 0; ++i)
    hb_buffer_add(buffer.get(), static_cast<hb_codepoint_t>(text[i]), i);
  hb_buffer_set_content_type(buffer.get(), HB_BUFFER_CONTENT_TYPE_UNICODE);
  hb_buffer_guess_segment_properties(buffer.get());
  hb_shape(font.get(), buffer.get(), nullptr, 0);
  unsigned count = 0;
  const hb_glyph_info_t* infos = hb_buffer_get_glyph_infos(buffer.get(), &count);
  const hb_glyph_position_t* places = hb_buffer_get_glyph_positions(buffer.get(), &count);
  CoreRectF ink{1e9f, 1e9f, -1e9f, -1e9f};
  int pen = 0;
  for (unsigned i = 0; i < count; ++i) {
    hb_glyph_extents_t glyph;
    if (hb_font_get_glyph_extents(font.get(), infos[i].codepoint, &glyph) == 0) continue;
    const auto x = static_cast<float>(pen + places[i].x_offset + glyph.x_bearing) / kUnits;
    const auto y = -static_cast<float>(places[i].y_offset + glyph.y_bearing) / kUnits;
    ink = {std::min(ink.left, x), std::min(ink.top, y),
           std::max(ink.right, x + static_cast<float>(glyph.width) / kUnits),
           std::max(ink.bottom, y - static_cast<float>(glyph.height) / kUnits)};
    pen += places[i].x_advance;
  }
  return ink;
}

// Marks whose places are in the font's tables, alone at each end, above and below.
TEST(FontBackends, MarksStandWhereTheFontPutsThem) {
  CoreFontLoader fonts(nullptr);
  fonts.LoadFont(L"DejaVu Sans", L"", kCoreFontSystem, 400, false);
  for (const wchar_t* text : {L"x", L"xyz", L"x\u0301", L"x\u0323", L"i\u0302\u0301", L"q\u0302\u0302\u0302",
                              L"ab\u0323\u0323x", L"\u05E9\u05C1", L"\u05E9\u05B8\u05C2\u05DC"}) {
    CoreTextExtents extents;
    ASSERT_TRUE(fonts.MeasureText(text, -1, kSize, extents));
    const CoreRectF expected = InkBeside(text);
    EXPECT_NEAR(extents.ink.left, expected.left, 0.25) << text;
    EXPECT_NEAR(extents.ink.top, expected.top, 0.25) << text;
    EXPECT_NEAR(extents.ink.right, expected.right, 0.25) << text;
    EXPECT_NEAR(extents.ink.bottom, expected.bottom, 0.25) << text;
  }
}

// What no font of the source holds is the box of its number, whatever other fonts the machine has.
TEST(FontBackends, TheApplicationsSourceTakesNoGlyphFromTheMachine) {
  ASSERT_TRUE(CoreFontLoader::RegisterFontFile("/usr/share/fonts/truetype/dejavu/DejaVuSansMono.ttf"));
  CoreFontLoader fonts(nullptr);
  ASSERT_TRUE(fonts.LoadFont(L"DejaVu Sans Mono", L"", kCoreFontApplication, 400, false));
  CoreTextExtents unknown;
  CoreTextExtents chinese;
  ASSERT_TRUE(fonts.MeasureText(L"\uEBEB", 1, kSize, unknown));
  ASSERT_TRUE(fonts.MeasureText(L"\u5B8B", 1, kSize, chinese));
  CoreFontLoader::UnregisterFontFiles();
  EXPECT_EQ(chinese.logical.right, unknown.logical.right);
  EXPECT_LT(chinese.logical.right, 60);
}

}  // namespace
