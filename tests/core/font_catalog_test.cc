// SPDX-License-Identifier: MIT
// FontCatalog: which families a name leads to, where these fonts are the only ones.
#include "font/font_catalog.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

namespace {

using tovmx::FontCatalog;
using tovmx::FontChoice;

const std::string kFonts = "/usr/share/fonts/truetype/";

const FontCatalog& Catalog() {
  static const FontCatalog catalog(
      false,
      {kFonts + "arphic/uming.ttc", kFonts + "dejavu/DejaVuSans.ttf", kFonts + "dejavu/DejaVuSans-Bold.ttf",
       kFonts + "dejavu/DejaVuSerif.ttf", kFonts + "dejavu/DejaVuSansMono.ttf"});
  return catalog;
}

FontChoice Chosen(const wchar_t* family, const wchar_t* face = L"", const FontCatalog& catalog = Catalog()) {
  CoreFontRequest request;
  request.family = family;
  request.face = face;
  return catalog.Choose(request);
}

TEST(FontCatalog, ANameLeadsToItsKindAndTheOthersFollow) {
  const struct {
    const wchar_t* family;
    const char* families;
    const char* language;
    bool substituted;
  } rows[] = {
      {L"DejaVu Sans", "DejaVu Sans,AR PL UMing CN", "zh-cn", false},
      {L"dejavu-SANS", "DejaVu Sans,AR PL UMing CN", "zh-cn", false},
      {L"DejaVu Serif", "DejaVu Serif,AR PL UMing CN", "zh-cn", false},
      {L"DejaVu Sans Mono", "DejaVu Sans Mono,AR PL UMing CN", "zh-cn", false},
      {L"AR PL UMing CN", "AR PL UMing CN,DejaVu Serif", "zh-cn", false},
      {L"AR PL UMing TW", "AR PL UMing TW,DejaVu Serif,AR PL UMing HK", "zh-tw", false},
      {L"SimSun", "AR PL UMing CN,DejaVu Serif", "zh-cn", true},
      {L"MingLiU", "AR PL UMing HK,DejaVu Serif", "zh-tw", true},
      {L"MS Mincho", "AR PL UMing CN,DejaVu Serif", "ja", true},
      {L"Batang", "AR PL UMing CN,DejaVu Serif", "ko", true},
      {L"Some Serif TW", "AR PL UMing HK,DejaVu Serif", "zh-tw", true},
      {L"No Such Serif", "DejaVu Serif,AR PL UMing CN", "zh-cn", true},
      {L"No Such Sans", "DejaVu Sans,AR PL UMing CN", "zh-cn", true},
      {L"", "DejaVu Sans,AR PL UMing CN", "zh-cn", false},
  };
  for (const auto& row : rows) {
    const FontChoice choice = Chosen(row.family);
    EXPECT_EQ(choice.families, row.families);
    EXPECT_EQ(choice.actualFamily, std::string(row.families).substr(0, std::string(row.families).find(',')));
    EXPECT_STREQ(choice.language, row.language) << row.families;
    EXPECT_EQ(choice.substituted, row.substituted) << row.families;
  }
}

// A face's full name and its PostScript name are as good as its family's.
TEST(FontCatalog, AFaceIsFoundByAllItsNames) {
  for (const wchar_t* const face : {L"DejaVu Sans Bold", L"DejaVuSans-Bold", L"dejavusansbold"}) {
    EXPECT_EQ(Chosen(L"No Such", face).actualFamily, "DejaVu Sans");
    EXPECT_FALSE(Chosen(L"No Such", face).substituted);
  }
  for (const wchar_t* const face : {L"AR PL UMing TW", L"UMingTW"}) {
    EXPECT_EQ(Chosen(L"No Such", face).actualFamily, "AR PL UMing TW");
    EXPECT_STREQ(Chosen(L"No Such", face).language, "zh-tw") << "that of the family that was found";
    EXPECT_STREQ(Chosen(L"SimSun", face).language, "zh-cn") << "that of the name that was asked for";
  }
  EXPECT_EQ(Chosen(L"DejaVu Serif", L"UMingTW").actualFamily, "DejaVu Serif") << "the family comes first";
}

TEST(FontCatalog, WithoutFontsThereIsNoChoice) {
  const FontCatalog none(false, {});
  EXPECT_TRUE(none.IsEmpty());
  EXPECT_EQ(Chosen(L"SimSun", L"", none).families, "");
  const FontCatalog latin(false, {kFonts + "dejavu/DejaVuSans.ttf", "/no/such/file"});
  EXPECT_FALSE(latin.IsEmpty());
  EXPECT_EQ(Chosen(L"SimSun", L"", latin).families, "DejaVu Sans") << "nothing at all for those scripts";
  EXPECT_TRUE(Chosen(L"SimSun", L"", latin).substituted);
}

// In processes of their own, where nobody has asked for fonts before.
TEST(FontConfiguration, IsTheProcessesOwnOnlyWhereItIsShared) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto isCurrent = [] { return tovmx::CatalogFor(kCoreFontAny)->Config() == FcConfigGetCurrent(); };
  EXPECT_EXIT(std::exit(isCurrent() ? 1 : 0), testing::ExitedWithCode(0), "");
  EXPECT_EXIT(
      {
        tovmx::ShareFontConfiguration();
        tovmx::ShareFontConfiguration();
        std::exit(isCurrent() ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
}

}  // namespace
