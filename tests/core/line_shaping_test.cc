// SPDX-License-Identifier: MIT
// Lines that share an item must come out as if they were itemized by themselves, in every family that the
// machine has.
#include "font/line_shaping.h"

#include <gtest/gtest.h>
#include <pango/pangocairo.h>

#include <random>
#include <string>
#include <vector>

namespace {

using tovmx::ColorPictures;
using tovmx::GlyphRun;
using tovmx::GObjectPtr;
using tovmx::PlainItem;
using tovmx::Release;
using tovmx::ShapedLine;

class LineShapingTest : public testing::Test {
 protected:
  LineShapingTest() : map_(pango_cairo_font_map_new_for_font_type(CAIRO_FONT_TYPE_FT)) {
    context_.reset(pango_font_map_create_context(map_.get()));
    pango_context_set_round_glyph_positions(context_.get(), FALSE);
  }

  void SetFont(const char* family, PangoWeight weight = PANGO_WEIGHT_NORMAL, const char* language = "en") {
    const std::unique_ptr<PangoFontDescription, Release<pango_font_description_free>> description(
        pango_font_description_new());
    pango_font_description_set_family(description.get(), family);
    pango_font_description_set_weight(description.get(), weight);
    pango_font_description_set_absolute_size(description.get(), tovmx::kReferenceSize * PANGO_SCALE);
    pango_context_set_font_description(context_.get(), description.get());
    pango_context_set_language(context_.get(), pango_language_from_string(language));
  }

  std::vector<std::string> Families() const {
    PangoFontFamily** families = nullptr;
    int count = 0;
    pango_font_map_list_families(map_.get(), &families, &count);
    std::vector<std::string> names;
    for (int i = 0; i < count; ++i) names.emplace_back(pango_font_family_get_name(families[i]));
    g_free(families);
    return names;
  }

  ShapedLine Shape(const std::wstring& text, const PlainItem* plain) {
    return tovmx::ShapeLine(context_.get(), text, plain, pictures_);
  }

  bool HasItem(const PlainItem& plain, const std::string& text) {
    PangoItem* const item = plain.For(text);
    if (item == nullptr) return false;
    pango_item_free(item);
    return true;
  }

  GObjectPtr<PangoFontMap> map_;
  GObjectPtr<PangoContext> context_;
  ColorPictures pictures_{1 << 20};
};

void ExpectSameBox(const tovmx::Box& a, const tovmx::Box& b) {
  EXPECT_EQ(a.left, b.left);
  EXPECT_EQ(a.top, b.top);
  EXPECT_EQ(a.right, b.right);
  EXPECT_EQ(a.bottom, b.bottom);
}

void ExpectSameRun(const GlyphRun& a, const GlyphRun& b) {
  EXPECT_EQ(a.font.get(), b.font.get());
  EXPECT_EQ(a.face.get(), b.face.get());
  EXPECT_EQ(a.text, b.text);
  EXPECT_EQ(a.offset, b.offset);
  EXPECT_EQ(a.script, b.script);
  EXPECT_EQ(a.backward, b.backward);
  EXPECT_EQ(a.left, b.left);
  EXPECT_EQ(a.right, b.right);
  ExpectSameBox(a.reach, b.reach);
  ASSERT_EQ(a.glyphs.size(), b.glyphs.size());
  for (std::size_t i = 0; i < a.glyphs.size(); ++i) {
    EXPECT_EQ(a.glyphs[i].index, b.glyphs[i].index);
    EXPECT_EQ(a.glyphs[i].x, b.glyphs[i].x);
    EXPECT_EQ(a.glyphs[i].y, b.glyphs[i].y);
  }
  ASSERT_EQ(a.clusters.size(), b.clusters.size());
  for (std::size_t i = 0; i < a.clusters.size(); ++i) {
    EXPECT_EQ(a.clusters[i].num_bytes, b.clusters[i].num_bytes);
    EXPECT_EQ(a.clusters[i].num_glyphs, b.clusters[i].num_glyphs);
  }
}

void ExpectSameLine(const ShapedLine& a, const ShapedLine& b) {
  ExpectSameBox(a.ink, b.ink);
  ExpectSameBox(a.logical, b.logical);
  EXPECT_EQ(a.glyphCount, b.glyphCount);
  ASSERT_EQ(a.runs.size(), b.runs.size());
  for (std::size_t i = 0; i < a.runs.size(); ++i) ExpectSameRun(a.runs[i], b.runs[i]);
}

// Words, or anything that can be printed; few letters, or many.
std::wstring RandomLine(std::mt19937& random) {
  const bool words = random() % 2 == 0;
  const unsigned spread = 1 + random() % 95;
  const unsigned first = random() % 95;
  std::wstring text;
  for (std::size_t length = 1 + random() % 60; text.size() < length;) {
    const auto any = static_cast<wchar_t>(0x20 + (first + random() % spread) % 95);
    text += !words ? any : random() % 6 == 0 ? L' ' : static_cast<wchar_t>(L'a' + random() % 26);
  }
  return text;
}

TEST_F(LineShapingTest, ALineOfTheSharedItemIsTheLineItemizedByItself) {
  std::mt19937 random(1);
  std::size_t shared = 0;
  for (const std::string& family : Families()) {
    for (const char* const language : {"en", "tr", "zh-cn", "ar"}) {
      SetFont(family.c_str(), random() % 2 == 0 ? PANGO_WEIGHT_NORMAL : PANGO_WEIGHT_BOLD, language);
      const PlainItem plain(context_.get());
      for (int round = 0; round < 60; ++round) {
        const std::wstring text = RandomLine(random);
        SCOPED_TRACE(family + " " + language + ": " + std::string(text.begin(), text.end()));
        shared += HasItem(plain, std::string(text.begin(), text.end())) ? 1 : 0;
        ExpectSameLine(Shape(text, &plain), Shape(text, nullptr));
        if (HasFailure()) return;
      }
    }
  }
  EXPECT_GT(shared, 100U);
}

TEST_F(LineShapingTest, OnlyPrintableAsciiWithALetterSharesAnItem) {
  SetFont("DejaVu Sans");
  const PlainItem plain(context_.get());
  for (const char* const text : {"a", "Z", " (a)", "12 a", "~a!", "fi"})
    EXPECT_TRUE(HasItem(plain, text)) << text;
  for (const char* const text :
       {"", "1", "12 (3)", " ", "@[`{", "a\x7F", "a\t", "\xC3\xA9t\xC3\xA9", "a\xE4\xB8\xAD"})
    EXPECT_FALSE(HasItem(plain, text)) << text;
}

}  // namespace
