// SPDX-License-Identifier: MIT
// What fontconfig is told and asked when a family is not installed. Each check runs in a process of its own,
// whose fonts are those of a small configuration.
#include "holds.h"
#include "scratch_dir.h"

#include <tovmx/device.h>
#include <tovmx/font.h>
#include <tovmx/text_codec.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <string>

namespace {

constexpr char kLiberation[] = "/usr/share/fonts/truetype/liberation/";
constexpr char kMing[] = "/usr/share/fonts/truetype/arphic/uming.ttc";

// Font files of the machine in folders of their own, the first listed first.
class FontConfig {
 public:
  FontConfig(std::initializer_list<const char*> files, const std::string& rules = "") {
    std::ofstream config(File());
    config << R"(<?xml version="1.0"?><!DOCTYPE fontconfig SYSTEM "urn:fontconfig:fonts.dtd"><fontconfig>)";
    int folder = 0;
    for (const char* file : files) {
      const std::string path = scratch_.path() + "/" + std::to_string(folder++);
      std::filesystem::create_directory(path);
      const bool isPath = file[0] == '/';
      std::filesystem::create_symlink((isPath ? "" : kLiberation) + std::string(file), path + "/font.ttf");
      config << "<dir>" << path << "</dir>";
    }
    config << "<cachedir>" << scratch_.path() << "/cache</cachedir>" << rules << "</fontconfig>";
  }
  std::string File() const { return scratch_.path() + "/fonts.conf"; }

 private:
  ScratchDir scratch_;
};

std::string FamilyFor(int weight, bool italic, const wchar_t* name = L"No Such",
                      int source = kCoreFontSystem) {
  CoreFontLoader fonts(nullptr);
  fonts.LoadFont(name, name, source, weight, italic);
  const CoreWideString family = fonts.GetActualFamily();
  return CoreTextCodec::Utf8Encode(family.GetData(), family.GetLength()).c_str();
}

template <typename Check>
[[noreturn]] void CheckWith(const FontConfig& config, Check check) {
  setenv("FONTCONFIG_FILE", config.File().c_str(), 1);
  check();
  std::exit(0);
}

#define EXPECT_WITH(config, check) EXPECT_EXIT(CheckWith(config, check), testing::ExitedWithCode(0), "")

class FontConfigTest : public testing::Test {
 protected:
  // The child starts anew, with no fonts loaded.
  void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
  void TearDown() override { GTEST_FLAG_SET(death_test_style, "fast"); }
};

TEST_F(FontConfigTest, ItsRulesNameTheReplacement) {
  const FontConfig config({"LiberationSans-Regular.ttf", "LiberationSerif-Regular.ttf"},
                          "<alias binding=\"same\"><family>No Such</family><prefer><family>Liberation "
                          "Serif</family></prefer></alias><alias><family>sans-serif</family><prefer><family>"
                          "Liberation Sans</family></prefer></alias>");
  EXPECT_WITH(config, [] {
    HOLDS(FamilyFor(400, false) == "Liberation Serif");
    HOLDS(FamilyFor(400, false, L"Another") == "Liberation Sans");
  });
}

// A request names no width; fontconfig's default is the normal one.
TEST_F(FontConfigTest, WhatARequestLeavesOpenIsTheDefault) {
  const FontConfig narrowFirst({"LiberationSansNarrow-Regular.ttf", "LiberationSans-Regular.ttf"});
  EXPECT_WITH(narrowFirst, [] { HOLDS(FamilyFor(400, false) == "Liberation Sans"); });
  const FontConfig narrowLast({"LiberationSans-Regular.ttf", "LiberationSansNarrow-Regular.ttf"});
  EXPECT_WITH(narrowLast, [] { HOLDS(FamilyFor(400, false) == "Liberation Sans"); });
}

TEST_F(FontConfigTest, TheSlantDecidesWhereNothingElseDoes) {
  const FontConfig romanFirst({"LiberationSans-Regular.ttf", "LiberationSerif-Italic.ttf"});
  const FontConfig italicFirst({"LiberationSerif-Italic.ttf", "LiberationSans-Regular.ttf"});
  for (const FontConfig* config : {&romanFirst, &italicFirst}) {
    EXPECT_WITH(*config, [] {
      HOLDS(FamilyFor(400, false) == "Liberation Sans");
      HOLDS(FamilyFor(400, true) == "Liberation Serif");
    });
  }
}

TEST_F(FontConfigTest, TheWeightDecidesWhereNothingElseDoes) {
  const FontConfig regularFirst({"LiberationSans-Regular.ttf", "LiberationSerif-Bold.ttf"});
  const FontConfig boldFirst({"LiberationSerif-Bold.ttf", "LiberationSans-Regular.ttf"});
  for (const FontConfig* config : {&regularFirst, &boldFirst}) {
    EXPECT_WITH(*config, [] {
      HOLDS(FamilyFor(400, false) == "Liberation Sans");
      HOLDS(FamilyFor(700, false) == "Liberation Serif");
    });
  }
}

// On a share that comes back, for one.
TEST_F(FontConfigTest, AFontThatCannotBeReadFailsItsLinesUntilItCanAgain) {
  const FontConfig config({"LiberationSans-Regular.ttf"});
  const std::string file = std::filesystem::path(config.File()).replace_filename("0/font.ttf");
  EXPECT_WITH(config, [&file] {
    HOLDS(FamilyFor(400, false) == "Liberation Sans");
    const std::filesystem::path font = std::filesystem::read_symlink(file);
    std::filesystem::remove(file);
    CoreFontLoader fonts(nullptr);
    fonts.LoadFont(L"Liberation Sans", L"", kCoreFontSystem, 400, false);
    CoreTextExtents extents;
    HOLDS(!fonts.MeasureText(L"text", -1, 10, extents));
    std::filesystem::create_symlink(font, file);
    HOLDS(fonts.MeasureText(L"text", -1, 10, extents));
    HOLDS(extents.logical.right > 10);
  });
}

// A comma would end the name in a list of families.
TEST_F(FontConfigTest, AFamilyWithACommaInItsNameIsNotTaken) {
  const FontConfig config({"LiberationSans-Regular.ttf", "LiberationSerif-Regular.ttf"},
                          "<match target=\"scan\"><test name=\"family\"><string>Liberation "
                          "Sans</string></test><edit name=\"family\" mode=\"assign\"><string>Odd, "
                          "Sans</string></edit></match>");
  EXPECT_WITH(config, [] {
    HOLDS(FamilyFor(400, false, L"Odd, Sans") == "Liberation Serif");
    HOLDS(FamilyFor(400, false, L"Liberation Sans") == "Liberation Serif");
  });
}

// The nearest in style is looked for among the families with the characters of a region only.
TEST_F(FontConfigTest, AFamilyThatTellsNoLanguagesStandsInForNoRegion) {
  const FontConfig config({"LiberationSans-Regular.ttf", "LiberationSerif-Regular.ttf"},
                          "<match target=\"scan\"><edit name=\"lang\" mode=\"delete\"/></match>");
  EXPECT_WITH(config, [] { HOLDS(FamilyFor(400, false, L"SimSun") == "Liberation Sans"); });
}

std::string LanguageRule(const std::string& family, const std::string& language) {
  return "<match target=\"scan\"><test name=\"family\"><string>" + family +
         "</string></test><edit name=\"lang\" mode=\"assign\"><langset><string>" + language +
         "</string></langset></edit></match>";
}

TEST_F(FontConfigTest, TheCharactersOfTheRegionComeBeforeTheStyle) {
  const FontConfig config({"LiberationSans-Regular.ttf", "LiberationSerif-Regular.ttf"},
                          LanguageRule("Liberation Sans", "ja") + LanguageRule("Liberation Serif", "zh-tw"));
  EXPECT_WITH(config, [] {
    HOLDS(FamilyFor(400, false, L"MS Mincho") == "Liberation Sans");
    HOLDS(FamilyFor(400, false, L"PMingLiU") == "Liberation Serif");
    HOLDS(FamilyFor(400, false, L"Microsoft JhengHei") == "Liberation Serif");
    HOLDS(FamilyFor(400, false, L"MS Gothic") == "Liberation Sans");
  });
}

// Four families of one style, three of them for the same readers.
TEST_F(FontConfigTest, OfEquallyCloseFamiliesTheFirstByNameIsTaken) {
  const FontConfig config({kMing, "LiberationSans-Regular.ttf"});
  EXPECT_WITH(config, [] {
    HOLDS(FamilyFor(400, false, L"PMingLiU") == "AR PL UMing HK");
    HOLDS(FamilyFor(400, false, L"SimSun") == "AR PL UMing CN");
    HOLDS(FamilyFor(400, false, L"MS Mincho") == "AR PL UMing CN");
  });
}

// The locale's own language is not asked for.
TEST_F(FontConfigTest, ALatinReplacementIsOneForEnglish) {
  const FontConfig config({"LiberationSans-Regular.ttf", kMing});
  EXPECT_WITH(config, [] {
    setenv("FC_LANG", "zh-cn", 1);
    HOLDS(FamilyFor(400, false) == "Liberation Sans");
  });
}

TEST_F(FontConfigTest, FilesOfTheApplicationAreFontsOfTheirSourcesOnly) {
  const FontConfig config({"LiberationSans-Regular.ttf"});
  EXPECT_WITH(config, [] {
    const std::string folder = kLiberation;
    const auto has = [](const wchar_t* name, int source, const char* part) {
      return FamilyFor(400, false, name, source) == part;
    };
    HOLDS(CoreFontLoader::RegisterFontFile((folder + "LiberationSerif-Regular.ttf").c_str()));
    HOLDS(has(L"Liberation Serif", kCoreFontAny, "Liberation Serif"));
    HOLDS(has(L"Liberation Serif", kCoreFontApplication, "Liberation Serif"));
    HOLDS(has(L"Liberation Serif", kCoreFontSystem, "Liberation Sans"));
    HOLDS(CoreFontLoader::RegisterFontFile((folder + "LiberationMono-Regular.ttf").c_str()));
    HOLDS(has(L"Liberation Mono", kCoreFontAny, "Liberation Mono"));
    HOLDS(has(L"Liberation Mono", kCoreFontApplication, "Liberation Mono"));
    HOLDS(has(L"Liberation Mono", kCoreFontSystem, "Liberation Sans"));
    HOLDS(has(L"Liberation Sans", kCoreFontAny, "Liberation Sans"));
    HOLDS(!has(L"Liberation Sans", kCoreFontApplication, "Liberation Sans"));
    CoreFontLoader::UnregisterFontFiles();
    HOLDS(has(L"Liberation Mono", kCoreFontAny, "Liberation Sans"));
    HOLDS(has(L"Liberation Mono", kCoreFontApplication, ""));
  });
}

// Text is smooth and gray on every machine.
TEST_F(FontConfigTest, TheMachinesSettingsForDrawingDoNotCount) {
  const FontConfig config({"LiberationSans-Regular.ttf"},
                          "<match target=\"font\"><edit name=\"antialias\" mode=\"assign\"><bool>false</bool>"
                          "</edit><edit name=\"hinting\" mode=\"assign\"><bool>true</bool></edit><edit "
                          "name=\"hintstyle\" mode=\"assign\"><const>hintfull</const></edit><edit "
                          "name=\"rgba\" mode=\"assign\"><const>rgb</const></edit></match>");
  EXPECT_WITH(config, [] {
    CoreDib picture;
    HOLDS(picture.Create(200, 60, 32));
    CoreBitmapDevice device(&picture);
    device.FillPage(0xFFFFFFFF);
    CoreMatrix place;
    place.Translate(10, 40);
    HOLDS(device.DrawText(L"Smooth", -1, CoreFontLoader(nullptr), place, 0xFF000000, 30));
    HOLDS(device.EndText() && device.Flush());
    int between = 0;
    for (int y = 0; y < 60; ++y) {
      for (int x = 0; x < 200; ++x) {
        const std::uint32_t pixel = picture.GetArgb(x, y) & 0xFFFFFF;
        HOLDS(pixel % 0x10101 == 0);
        between += pixel != 0 && pixel != 0xFFFFFF ? 1 : 0;
      }
    }
    HOLDS(between > 100);
  });
}

}  // namespace
