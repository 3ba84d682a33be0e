// SPDX-License-Identifier: MIT
// What the text shaper keeps and what it forgets. A line or a choice that is kept is marked; it is kept as
// long as the mark is found again.
#include "font/text_shaper.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace {

// What the library was told last.
std::string* toldLanguage = nullptr;

}  // namespace

// Stands before the library's own.
extern "C" void pango_context_set_language(PangoContext* context, PangoLanguage* language) {
  static const auto own = reinterpret_cast<void (*)(PangoContext*, PangoLanguage*)>(
      dlsym(RTLD_NEXT, "pango_context_set_language"));
  if (toldLanguage != nullptr) *toldLanguage = pango_language_to_string(language);
  own(context, language);
}

namespace {

using tovmx::FontChoice;
using tovmx::ShapedLine;
using tovmx::TextShaper;

constexpr char kFontFile[] = "/usr/share/fonts/truetype/dejavu/DejaVuSansMono.ttf";
constexpr double kMark = 12345;

CoreFontRequest Request(const wchar_t* family = L"DejaVu Sans", int weight = 400) {
  CoreFontRequest request;
  request.family = family;
  request.face = family;
  request.weight = weight;
  return request;
}

class TextShaperTest : public testing::Test {
 protected:
  void TearDown() override { tovmx::UnregisterApplicationFonts(); }

  const ShapedLine* Shape(const std::wstring& text, const CoreFontRequest& request = Request()) {
    return shaper_.Shape(request, text.data(), static_cast<int>(text.size()), 16);
  }
  void Mark(const std::wstring& text, const CoreFontRequest& request = Request()) {
    const_cast<ShapedLine*>(Shape(text, request))->logical.left = kMark;
  }
  bool IsKept(const std::wstring& text, const CoreFontRequest& request = Request()) {
    return Shape(text, request)->logical.left == kMark;
  }
  void MarkChoice(const CoreFontRequest& request) {
    const_cast<FontChoice&>(shaper_.Resolve(request)).actualFamily = "marked";
  }
  bool ChoiceIsKept(const CoreFontRequest& request) {
    return shaper_.Resolve(request).actualFamily == "marked";
  }

  TextShaper shaper_;
};

std::wstring Numbered(int number) { return L"line " + std::to_wstring(number); }

TEST_F(TextShaperTest, The512LinesUsedLastAreKept) {
  for (int i = 0; i < 512; ++i) Mark(Numbered(i));
  for (int i = 0; i < 512; ++i) ASSERT_TRUE(IsKept(Numbered(i))) << i;
  EXPECT_TRUE(IsKept(Numbered(0)));  // now the last but one to go
  Mark(L"one more");
  EXPECT_TRUE(IsKept(Numbered(0)));
  for (int i = 2; i < 512; ++i) ASSERT_TRUE(IsKept(Numbered(i))) << i;
  EXPECT_FALSE(IsKept(Numbered(1)));
}

// Of 2,048 glyphs, so that 32 of them are the 65,536 that are kept.
std::wstring Long(int number) { return std::wstring(2047, L'H') + static_cast<wchar_t>(L'A' + number); }

TEST_F(TextShaperTest, LinesAreKeptUpTo65536Glyphs) {
  for (int i = 0; i < 32; ++i) Mark(Long(i));
  for (int i = 0; i < 32; ++i) ASSERT_TRUE(IsKept(Long(i))) << i;
  Mark(L"x");
  for (int i = 1; i < 32; ++i) ASSERT_TRUE(IsKept(Long(i))) << i;
  EXPECT_TRUE(IsKept(L"x"));
  EXPECT_FALSE(IsKept(Long(0)));  // takes the place of the next
  EXPECT_TRUE(IsKept(Long(31)));
}

// Of those that no other line has room beside, the last.
TEST_F(TextShaperTest, LinesOfAnyLengthAreKept) {
  for (const std::size_t length : {2048U, 2049U, 65535U, 65536U, 65537U, 262144U}) {
    const std::wstring text(length, L'H');
    Mark(text);
    EXPECT_TRUE(IsKept(text)) << length;
    Mark(L"x");
    EXPECT_TRUE(IsKept(L"x"));
    EXPECT_EQ(IsKept(text), length != 65536) << length;
    EXPECT_FALSE(IsKept(std::wstring(length, L'I'))) << length;
  }
}

// They have no glyphs but take memory.
TEST_F(TextShaperTest, CharactersThatAreNotDrawnCountToo) {
  std::wstring texts[3];
  for (std::size_t i = 0; i < 3; ++i) {
    texts[i].assign(30000, L'\1');
    texts[i].push_back(static_cast<wchar_t>(L'a' + i));
    Mark(texts[i]);
  }
  EXPECT_FALSE(IsKept(texts[0]));
  EXPECT_TRUE(IsKept(texts[2]));
}

// Else one of them would take the other's place.
TEST_F(TextShaperTest, LinesThatDifferInOneThingAreKeptSideBySide) {
  CoreFontRequest requests[7];
  for (CoreFontRequest& request : requests) request = Request();
  requests[1].family = L"DejaVu Serif";
  requests[2].face = L"DejaVu Serif";
  requests[3].weight = 700;
  requests[4].italic = true;
  requests[5].source = kCoreFontSystem;
  requests[6].source = kCoreFontSystem;
  requests[6].italic = true;
  for (const CoreFontRequest& request : requests) {
    Mark(L"text", request);
    Mark(L"texts", request);
    MarkChoice(request);
  }
  for (const CoreFontRequest& request : requests) {
    const auto number = &request - requests;
    EXPECT_TRUE(IsKept(L"text", request)) << number;
    EXPECT_TRUE(IsKept(L"texts", request)) << number;
    EXPECT_TRUE(ChoiceIsKept(request)) << number;
  }
}

TEST_F(TextShaperTest, The64TypefacesAreKeptAndForgottenTogether) {
  for (int weight = 1; weight <= 64; ++weight) MarkChoice(Request(L"DejaVu Sans", weight));
  for (int weight = 1; weight <= 64; ++weight) {
    ASSERT_TRUE(ChoiceIsKept(Request(L"DejaVu Sans", weight))) << weight;
  }
  MarkChoice(Request(L"DejaVu Sans", 65));
  EXPECT_TRUE(ChoiceIsKept(Request(L"DejaVu Sans", 65)));
  for (int weight = 1; weight <= 63; ++weight) {
    ASSERT_FALSE(ChoiceIsKept(Request(L"DejaVu Sans", weight))) << weight;
  }
}

TEST_F(TextShaperTest, NewFontsMakeItForgetEverything) {
  Mark(L"short");
  Mark(std::wstring(3000, L'H'));
  MarkChoice(Request());
  ASSERT_TRUE(tovmx::RegisterApplicationFont(kFontFile));
  EXPECT_FALSE(ChoiceIsKept(Request()));
  EXPECT_FALSE(IsKept(L"short"));
  // With room for as much as ever, in number and in glyphs.
  Mark(L"short");
  for (int i = 1; i < 512; ++i) Mark(Numbered(i));
  for (int i = 511; i > 0; --i) ASSERT_TRUE(IsKept(Numbered(i))) << i;
  EXPECT_TRUE(IsKept(L"short"));
  ASSERT_TRUE(tovmx::RegisterApplicationFont(kFontFile));
  ASSERT_TRUE(shaper_.HasFonts(kCoreFontAny));
  for (int i = 0; i < 32; ++i) Mark(Long(i));
  for (int i = 0; i < 32; ++i) ASSERT_TRUE(IsKept(Long(i))) << i;
}

// What a family's name says of its readers, or else the family itself.
TEST_F(TextShaperTest, TheLanguageIsThatOfTheReaders) {
  const std::pair<const wchar_t*, const char*> rows[] = {
      {L"SimSun", "zh-cn"},         {L"MingLiU", "zh-tw"},
      {L"MS Mincho", "ja"},         {L"Batang", "ko"},
      {L"No Such", "zh-cn"},        {L"DejaVu Sans", "zh-cn"},
      {L"AR PL UMing CN", "zh-cn"}, {L"AR PL UMing TW", "zh-tw"},
      {L"No Such JP", "ja"},        {L"", "zh-cn"}};
  for (const auto& [family, language] : rows)
    EXPECT_STREQ(shaper_.Resolve(Request(family)).language, language);
}

// Fonts have forms of a character for each language, and stand in for others by it.
TEST_F(TextShaperTest, ALineIsShapedInTheLanguageOfItsReaders) {
  std::string told;
  toldLanguage = &told;
  for (const auto& [family, language] : {std::pair{L"SimSun", "zh-cn"}, std::pair{L"MingLiU", "zh-tw"},
                                         std::pair{L"MS Mincho", "ja"}, std::pair{L"Batang", "ko"}}) {
    told.clear();
    EXPECT_NE(Shape(L"\u9AA8", Request(family)), nullptr);
    EXPECT_EQ(told, language);
  }
  toldLanguage = nullptr;
}

}  // namespace
