// SPDX-License-Identifier: MIT
// DescribeText of descriptions that come again: the same report as the first time, and a document of its own.
#include "holds.h"
#include "scratch_dir.h"

#include <tovkit/imaging.h>
#include <tovkit/json.h>
#include <tovmx/font.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>

namespace {

using tovkit::DescribeText;
using tovkit::Json;
using tovkit::JsonValue;
using tovkit::SharedPtr;

std::string ReportOf(const std::string& text, std::uint32_t limit = 1000) {
  const auto description = Json::Parse(text.data(), static_cast<unsigned>(text.size()), nullptr);
  return DescribeText(description, limit)->ToString().c_str();
}

// Another thread keeps nothing of this one's.
std::string FreshReportOf(const std::string& text, std::uint32_t limit = 1000) {
  std::string report;
  std::thread([&] { report = ReportOf(text, limit); }).join();
  return report;
}

// What differs between them is all that a report can depend on.
const char* const kFamily[] = {
    R"({"Content": "a"})",
    R"({"Content": "a", "x": 1})",
    R"({"Content": "a", "x": 1.0})",
    R"({"Content": "a", "x": "1"})",
    R"({"Content": "a", "DeltaX": 1})",
    R"({"Content": "a", "DeltaX": 1.0})",
    R"({"Content": "a", "DeltaX": 1.5})",
    R"({"Content": "a", "DeltaX": -0.0})",
    R"({"Content": "a", "DeltaX": 1.8e308})",
    R"({"Content": "a", "DeltaX": 1.8e308, "x": 1})",
    R"({"Content": "a", "DeltaX": 1.8e308, "DeltaY": 5})",
    R"({"Content": "a", "x": {"y": {}}, "DeltaX": 1.8e308, "DeltaY": 5})",
    R"({"Content": "a\u0000b"})",
    R"({"Content": "a\\u0000b"})",
    R"({"Content": "a", "Font": {"FontName": "DejaVu Serif", "FontSize": 12}})",
    R"({"Content": "a", "Font": {"FontSize": 12, "FontName": "DejaVu Serif"}})",
    R"({"Content": "a", "Font": {"FontSize": 12, "FontSize": 13}})",
    R"({"Content": "a", "Font": {"FontSize": 13, "FontSize": 12}})",
    R"({"Content": "\uE123\uE124 b", "Font": {"Color": "red"}})",
    R"({"Content": ""})",
    R"({})",
    R"([{"Content": "a"}])",
};

TEST(KeptReports, TheyAreThoseOfTheFirstTime) {
  for (int round = 0; round < 5; ++round) {
    for (const char* text : kFamily) EXPECT_EQ(ReportOf(text), FreshReportOf(text)) << round << " " << text;
  }
}

TEST(KeptReports, EveryLimitHasItsOwn) {
  const std::string text = R"({"Content": "\uE123\uE124\uE125", "b": 1, "c": 2})";
  for (int round = 0; round < 5; ++round) {
    for (const std::uint32_t limit : {0U, 1U, 2U, 1000U}) {
      EXPECT_EQ(ReportOf(text, limit), FreshReportOf(text, limit)) << round << " " << limit;
    }
  }
}

TEST(KeptReports, MoreThanAreKept) {
  const auto text = [](int i) { return "{\"Content\": \"a\", \"DeltaX\": " + std::to_string(i) + "}"; };
  for (int round = 0; round < 4; ++round) {
    for (int i = 0; i < 700; ++i) {
      EXPECT_NE(ReportOf(text(i)).find("\"baseline\":{\"x\":" + std::to_string(i) + ".0,"), std::string::npos)
          << i;
    }
  }
}

TEST(KeptReports, AReportIsTheCallersOwn) {
  const std::string text = R"({"Content": "its own", "Fnot": 1})";
  const std::string expected = FreshReportOf(text);
  const auto description = Json::Parse(text.data(), static_cast<unsigned>(text.size()), nullptr);
  for (int round = 0; round < 5; ++round) {
    const SharedPtr<JsonValue> report = DescribeText(description);
    ASSERT_STREQ(report->ToString().c_str(), expected.c_str()) << round;
    report->RemoveMember("runs");
    report->SetMemberString("content", "another");
    report->GetMember("warnings")->GetAt(0)->SetMemberInt("line", 7);
  }
}

TEST(KeptReports, ADescriptionThatChangesHasAnotherReport) {
  const auto description = Json::Parse(R"({"Content": "a"})", 16, nullptr);
  for (int round = 0; round < 4; ++round) DescribeText(description);
  description->SetMemberString("Content", "b");
  EXPECT_STREQ(DescribeText(description)->GetMemberString("content", ""), "b");
}

// The machine has no font until the application brings one.
TEST(KeptReportsDeathTest, FontsThatComeAndGoAreSeen) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  const auto hold = [] {
    const ScratchDir scratch;
    const std::string config = scratch.path() + "/fonts.conf";
    std::ofstream(config) << R"(<?xml version="1.0"?><!DOCTYPE fontconfig SYSTEM "urn:fontconfig:fonts.dtd">)"
                          << "<fontconfig><cachedir>" << scratch.path() << "/cache</cachedir></fontconfig>";
    setenv("FONTCONFIG_FILE", config.c_str(), 1);
    const auto description = Json::Parse(R"({"Content": "a"})", 16, nullptr);
    const auto isDrawable = [&description] {
      const SharedPtr<JsonValue> report = DescribeText(description);
      const bool drawable = report->GetMemberBool("drawable", false);
      HOLDS(report->GetMemberString("reason", "") == std::string(drawable ? "" : "no font is installed"));
      return drawable;
    };
    for (int round = 0; round < 3; ++round) {
      const std::uint64_t before = CoreFontGeneration();
      for (int i = 0; i < 4; ++i) HOLDS(!isDrawable());
      HOLDS(CoreFontLoader::RegisterFontFile("/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf"));
      HOLDS(CoreFontGeneration() > before);
      for (int i = 0; i < 4; ++i) HOLDS(isDrawable());
      CoreFontLoader::UnregisterFontFiles();
    }
  };
  const auto check = [&hold] {
    hold();
    std::exit(0);
  };
  EXPECT_EXIT(check(), testing::ExitedWithCode(0), "");
}

}  // namespace
