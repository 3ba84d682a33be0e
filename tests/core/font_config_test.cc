// SPDX-License-Identifier: MIT
// What fontconfig is told and asked when a family is not installed. Each check runs in a process of its own,
// whose fonts are those of a small configuration.
#include "holds.h"
#include "scratch_dir.h"

#include <tovmx/font.h>
#include <tovmx/text_codec.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <string>

namespace {

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
      std::filesystem::create_symlink("/usr/share/fonts/truetype/liberation/" + std::string(file),
                                      path + "/font.ttf");
      config << "<dir>" << path << "</dir>";
    }
    config << "<cachedir>" << scratch_.path() << "/cache</cachedir>" << rules << "</fontconfig>";
  }
  std::string File() const { return scratch_.path() + "/fonts.conf"; }

 private:
  ScratchDir scratch_;
};

std::string FamilyFor(int weight, bool italic, const wchar_t* name = L"No Such") {
  CoreFontLoader fonts(nullptr);
  fonts.LoadFont(name, name, kCoreFontSystem, weight, italic);
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

}  // namespace
