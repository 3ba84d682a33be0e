// SPDX-License-Identifier: MIT
// A line that was drawn, measured or described before is not shaped again, whoever asks next, and the report
// of one that is described again and again is not made again.
#include <tovkit/imaging.h>
#include <tovkit/json.h>
#include <tovmx/device.h>
#include <tovmx/dib.h>
#include <tovmx/font.h>

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>

namespace {

int shapings = 0;
int namesAsked = 0;  // of fonts

}  // namespace

// Stands before the library's; what it takes are a PangoItem, the text, an attribute list and the glyphs.
extern "C" [[gnu::visibility("default")]] void pango_shape_item(void* item, const char* text, int length,
                                                                void* attributes, void* glyphs, int flags);

void pango_shape_item(void* item, const char* text, int length, void* attributes, void* glyphs, int flags) {
  ++shapings;
  static auto* const next =
      reinterpret_cast<decltype(&pango_shape_item)>(dlsym(RTLD_NEXT, "pango_shape_item"));
  next(item, text, length, attributes, glyphs, flags);
}

// What it takes are a pattern, the name of a property, a number and where the text goes.
extern "C" [[gnu::visibility("default")]] int FcPatternGetString(const void* pattern, const char* object,
                                                                 int n, unsigned char** text);

int FcPatternGetString(const void* pattern, const char* object, int n, unsigned char** text) {
  ++namesAsked;
  static auto* const next =
      reinterpret_cast<decltype(&FcPatternGetString)>(dlsym(RTLD_NEXT, "FcPatternGetString"));
  return next(pattern, object, n, text);
}

namespace {

using tovkit::Json;
using tovkit::JsonValue;
using tovkit::SharedPtr;

SharedPtr<JsonValue> Line(const std::string& content) {
  const std::string text =
      R"({"Content": ")" + content + R"(", "Font": {"FontName": "DejaVu Sans", "FontSize": 12}})";
  return Json::Parse(text.data(), static_cast<unsigned>(text.size()), nullptr);
}

void Draw(const std::string& content) {
  CoreDib page;
  ASSERT_TRUE(page.Create(200, 50, 24));
  CoreBitmapDevice device(&page);
  EXPECT_TRUE(tovkit::DrawTextOnDevice(&device, Line(content)));
}

void Describe(const std::string& content) {
  EXPECT_TRUE(tovkit::DescribeText(Line(content))->GetMemberBool("drawable", false));
}

void Measure(const std::string& content) {
  CoreFontLoader fonts(nullptr);
  fonts.LoadFont(L"DejaVu Sans", L"DejaVu Sans", kCoreFontAny, 400, false);
  CoreTextExtents extents;
  const std::wstring text(content.begin(), content.end());
  EXPECT_TRUE(fonts.MeasureText(text.c_str(), static_cast<int>(text.size()), 16, extents));
}

int ShapingsOf(const std::function<void(const std::string&)>& use, const std::string& content) {
  const int before = shapings;
  use(content);
  return shapings - before;
}

TEST(KeptLine, WhatWasDrawnMeasuredOrDescribedIsNotShapedAgain) {
  const struct {
    const char* name;
    std::function<void(const std::string&)> use;
  } uses[] = {{"draw", Draw}, {"describe", Describe}, {"measure", Measure}};
  for (const auto& first : uses) {
    for (const auto& second : uses) {
      const std::string content = std::string(first.name) + " and " + second.name;
      EXPECT_EQ(ShapingsOf(first.use, content), 1) << content;
      EXPECT_EQ(ShapingsOf(second.use, content), 0) << content;
    }
  }
}

TEST(KeptLine, IsNotShapedAgainAsLongAsItIsAmongTheLast512Lines) {
  const auto others = [](int count) {
    for (int i = 0; i < count; ++i) Measure("other " + std::to_string(i));
  };
  EXPECT_EQ(ShapingsOf(Measure, "watched"), 1);
  others(511);
  EXPECT_EQ(ShapingsOf(Measure, "watched"), 0);
  others(512);
  EXPECT_EQ(ShapingsOf(Measure, "watched"), 1);
}

TEST(KeptLine, IsNotShapedAgainAsLongAsItIsAmongTheLast65536Glyphs) {
  const auto longOnes = [](int count) {
    for (int i = 100; i < 100 + count; ++i) Measure(std::to_string(i) + std::string(2045, 'H'));
  };
  Measure("watched");
  longOnes(31);
  EXPECT_EQ(ShapingsOf(Measure, "watched"), 0);
  longOnes(32);
  EXPECT_GT(ShapingsOf(Measure, "watched"), 0);
}

TEST(KeptLine, IsNotShapedAgainAtOnceWhateverItsLength) {
  for (const std::size_t length : {2048U, 2049U, 65536U, 65537U}) {
    const std::string content(length, 'x');
    EXPECT_GT(ShapingsOf(Measure, content), 0) << length;
    EXPECT_EQ(ShapingsOf(Measure, content), 0) << length;
  }
}

// A line of so many runs is kept without the names of their fonts; a report of one run is short enough to be
// kept.
TEST(KeptReport, IsMadeTwiceAndNotAgain) {
  std::string content;
  for (int i = 0; i < 20; ++i) content += "a\u5B8B";
  const auto namesOf = [&content] {
    const int before = namesAsked;
    EXPECT_TRUE(tovkit::DescribeText(Line(content), 1)->GetMemberBool("drawable", false));
    return namesAsked - before;
  };
  EXPECT_GT(namesOf(), 0);
  EXPECT_GT(namesOf(), 0);
  EXPECT_EQ(namesOf(), 0);
  EXPECT_EQ(namesOf(), 0);
}

}  // namespace
