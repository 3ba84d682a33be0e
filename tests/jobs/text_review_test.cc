// SPDX-License-Identifier: MIT
// TextReview: what is told of lines that will not look as they were meant, how often, and what fails for it.
#include "jobs/text_review.h"
#include "jobs/drawing.h"

#include <tovkit/imaging.h>
#include <tovkit/json.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace {

using jobs::Finding;
using jobs::JsonSource;
using jobs::MeasuredLine;
using jobs::TextReview;
using tovkit::Json;
using tovkit::JsonValue;
using tovkit::SharedPtr;

SharedPtr<JsonValue> Parsed(const std::string& json) {
  return Json::Parse(json.data(), static_cast<unsigned>(json.size()), nullptr);
}

TEST(ClippedText, NamesTheEdgesAndTheSizeThatIsNeeded) {
  const struct {
    const char* json;
    const char* text;
  } rows[] = {
      {R"({"left": 1.25})", "outside the page: 1.2 beyond the left edge"},
      {R"({"top": 0.01})", "outside the page: 0.1 beyond the top edge"},
      {R"({"bottom": 2, "right": 3})",
       "outside the page: 3.0 beyond the right edge, 2.0 beyond the bottom edge"},
      {R"({"left": 1, "top": 2, "right": 3, "bottom": 4, "wholly": true})",
       "wholly outside the page: 1.0 beyond the left edge, 2.0 beyond the top edge, 3.0 beyond the right "
       "edge, "
       "4.0 beyond the bottom edge"},
      {R"({"right": 165.26, "wholly": false, "needs": {"width": 526, "height": 60}})",
       "outside the page: 165.3 beyond the right edge; it needs 526x60"},
      {R"({"right": 1e300, "needs": {"width": 1e20, "height": 1}})", nullptr},
  };
  for (const auto& row : rows) {
    const std::string text = jobs::ClippedText(*Parsed(row.json));
    if (row.text != nullptr) {
      EXPECT_EQ(text, row.text);
    } else {
      EXPECT_EQ(text.substr(text.find("needs")), "needs 100000000000000000000x1");
    }
  }
}

TEST(FindingNames, StandInTheOrderOfTheType) {
  const auto& names = jobs::FindingNames();
  EXPECT_EQ(std::vector<std::string>(names.begin(), names.end()),
            (std::vector<std::string>{"glyphs", "fonts", "keys", "clip"}));
}

constexpr TextReview::Mask MaskOf(Finding finding) { return 1U << static_cast<unsigned>(finding); }

class Reviewed : public testing::Test {
 protected:
  struct Said {
    Finding finding;
    std::string pointer, text;
  };

  // Looks at each line of an array of descriptions.
  void Look(TextReview& review, const std::string& json, const std::optional<CoreSizeF>& page = {}) {
    const auto source = std::make_shared<JsonSource>(jobs::Input::Memory(json, "page"));
    for (int i = 0; i < static_cast<int>(source->root()->Size()); ++i) {
      const SharedPtr<const JsonValue> line = source->root()->GetAt(i);
      review.Look(MeasuredLine{line, source, "/" + std::to_string(i)}, page);
    }
  }

  TextReview::Settings Telling(TextReview::Mask strict = 0, std::uint32_t limit = 1000) {
    TextReview::Settings settings;
    settings.strict = strict;
    settings.limit = limit;
    settings.tell = [this](Finding finding, const std::string& pointer, const std::string& text) {
      said_.push_back({finding, pointer, text});
    };
    return settings;
  }

  static std::vector<std::string> TextsOf(const std::vector<TextReview::Note>& notes) {
    std::vector<std::string> texts;
    for (const TextReview::Note& note : notes) {
      texts.push_back(std::string(note.first.what()) + " +" + std::to_string(note.more));
    }
    return texts;
  }
  static std::vector<std::string> TextsOf(const std::vector<jobs::Error>& errors) {
    std::vector<std::string> texts;
    for (const jobs::Error& error : errors) texts.emplace_back(error.what());
    return texts;
  }

  std::vector<Said> said_;
};

using Texts = std::vector<std::string>;
const char* const kPlain = R"("Font": {"FontName": "DejaVu Sans", "FontSize": 20})";

std::string Lines(const std::vector<std::string>& members) {
  std::string json = "[";
  for (const std::string& each : members) {
    json += (json.size() == 1 ? "{" : ",\n {") + each + ", " + kPlain + "}";
  }
  return json + "]";
}

TEST_F(Reviewed, NothingIsToldOfWhatIsAsItShouldBe) {
  TextReview review(Telling(TextReview::kAll));
  Look(review, Lines({R"("Content": "plain", "DeltaX": 10, "DeltaY": 10)"}), CoreSizeF{400, 100});
  EXPECT_TRUE(said_.empty());
  EXPECT_TRUE(review.Notes().empty());
  EXPECT_TRUE(review.Counts().empty());
  EXPECT_TRUE(review.Failures().empty());
  EXPECT_EQ(review.MoreFailures(), 0);
}

TEST_F(Reviewed, AKindIsNotedOnceAndCounted) {
  const std::string lines = Lines({R"("Content": "a\uDBFF\uDC21\uDBFF\uDC21b\uDBFF\uDC22", "Xy": 1, "Yz": 2)",
                                   R"("Content": "\uDBFF\uDC21", "Xy": 3)"});
  TextReview review({});
  Look(review, lines);
  const auto notes = review.Notes();
  ASSERT_EQ(notes.size(), 2u);
  EXPECT_EQ(std::string(notes[0].first.what()).rfind("page:1:14: no font has U+10FC21 ", 0), 0u)
      << notes[0].first.what();
  EXPECT_EQ(notes[0].more, 2) << "four in all, two of them the one that is named";
  EXPECT_EQ(std::string(notes[1].first.what()).rfind("page:1:", 0), 0u) << notes[1].first.what();
  EXPECT_EQ(notes[1].more, 2);
  EXPECT_EQ(review.Counts(),
            (Texts{"4 characters have no glyph", "3 members of descriptions are not used as they stand"}));
  EXPECT_TRUE(review.Failures().empty());
  EXPECT_EQ(review.MoreFailures(), 0);
}

TEST_F(Reviewed, OneIsCountedInTheSingular) {
  TextReview review({});
  Look(review,
       R"([{"Content": "\uDBFF\uDC21x", "Xy": 1, "DeltaX": -3, "Font": {"FontName": "No Such Face"}}])",
       CoreSizeF{4000, 4000});
  EXPECT_EQ(review.Counts(),
            (Texts{"1 character has no glyph", "1 font is not installed, another stands in",
                   "1 member of a description is not used as it stands", "1 line has ink outside the page"}));
}

TEST_F(Reviewed, AFontIsMissedOnceHoweverManyLinesNameIt) {
  TextReview review(Telling(MaskOf(Finding::kFonts)));
  Look(review, R"([{"Content": "x", "Font": {"FontName": "No Such A"}},
                   {"Content": "x", "Font": {"FontName": "No Such B"}},
                   {"Content": "x", "Font": {"FontName": "No Such A"}}, {"Content": "x"}])");
  EXPECT_EQ(review.Counts(), (Texts{"2 fonts are not installed, others stand in"}));
  ASSERT_EQ(said_.size(), 2u);
  EXPECT_EQ(said_[0].pointer, "/0/Font/FontName");
  EXPECT_EQ(said_[1].pointer, "/1/Font/FontName");
  EXPECT_EQ(said_[0].text.rfind("the font \"No Such A\" is not installed; ", 0), 0u) << said_[0].text;
  EXPECT_NE(said_[0].text.find(" stands in for it; fc-list names those that are"), std::string::npos);
  ASSERT_EQ(review.Failures().size(), 2u);
  EXPECT_EQ(review.MoreFailures(), 0);
}

TEST_F(Reviewed, StrictKindsFailAndNoOthers) {
  const std::string lines =
      Lines({R"("Content": "\uDBFF\uDC21", "Xy": 1, "DeltaY": 40)",
             R"("Content": "\uDBFF\uDC22\uDBFF\uDC23", "Yz": 1, "DeltaX": -5, "DeltaY": 40)"});
  for (TextReview::Mask mask = 0; mask <= TextReview::kAll; ++mask) {
    TextReview review({.strict = mask});
    Look(review, lines, CoreSizeF{900, 900});
    std::size_t expected = 0;
    if ((mask & MaskOf(Finding::kGlyphs)) != 0) expected += 3;
    if ((mask & MaskOf(Finding::kKeys)) != 0) expected += 2;
    if ((mask & MaskOf(Finding::kClip)) != 0) expected += 1;
    EXPECT_EQ(review.Failures().size(), expected) << mask;
    EXPECT_EQ(review.MoreFailures(), 0) << mask;
    EXPECT_EQ(review.Notes().size(), 3u) << mask;
  }
}

TEST_F(Reviewed, TwentyFailuresAreKeptAndTheOthersCounted) {
  for (const int count : {19, 20, 21, 40}) {
    for (const bool inOneLine : {true, false}) {
      std::vector<std::string> members;
      std::string keys;
      for (int i = 0; i < count; ++i) {
        const std::string key = ", \"Unknown" + std::to_string(i) + "\": 1";
        inOneLine ? keys += key : (members.push_back("\"Content\": \"x\"" + key), keys);
      }
      if (inOneLine) members.push_back("\"Content\": \"x\"" + keys);
      TextReview review({.strict = MaskOf(Finding::kKeys)});
      Look(review, Lines(members));
      EXPECT_EQ(review.Failures().size(), static_cast<std::size_t>(std::min(count, 20)));
      EXPECT_EQ(review.MoreFailures(), std::max(count - 20, 0)) << inOneLine;
      ASSERT_EQ(review.Notes().size(), 1u);
      EXPECT_EQ(review.Notes()[0].more, count - 1);
      EXPECT_NE(std::string(review.Failures().back().what())
                    .find("Unknown" + std::to_string(std::min(count, 20) - 1)),
                std::string::npos)
          << review.Failures().back().what();
    }
  }
}

// A character that is missing many times is one failure that stands for all of them.
TEST_F(Reviewed, AFailureStandsForEveryPlaceOfItsCharacter) {
  TextReview review({.strict = MaskOf(Finding::kGlyphs)});
  std::string many;
  for (int i = 0; i < 12; ++i) many += "\\uDBFF\\uDC21";
  Look(review, Lines({"\"Content\": \"" + many + "\\uDBFF\\uDC22\""}));
  EXPECT_EQ(review.Failures().size(), 2u);
  EXPECT_EQ(review.MoreFailures(), 0);
  EXPECT_EQ(review.Counts(), (Texts{"13 characters have no glyph"}));
  EXPECT_EQ(review.Notes()[0].more, 1);
}

TEST_F(Reviewed, EverythingIsToldUpToTheLimitOfALine) {
  const std::string lines =
      Lines({R"("Content": "\uDBFF\uDC21\uDBFF\uDC22\uDBFF\uDC23", "A1": 1, "B1": 1, "C1": 1)"});
  for (const std::uint32_t limit : {1U, 2U, 3U, 9U}) {
    said_.clear();
    TextReview review(Telling(0, limit));
    Look(review, lines);
    int keys = 0, glyphs = 0;
    for (const Said& each : said_) {
      keys += each.finding == Finding::kKeys ? 1 : 0;
      glyphs += each.finding == Finding::kGlyphs ? 1 : 0;
      EXPECT_EQ(each.pointer.rfind(each.finding == Finding::kGlyphs ? "/0/Content" : "/0/", 0), 0u);
    }
    EXPECT_EQ(keys, static_cast<int>(std::min(limit, 3U)));
    EXPECT_EQ(glyphs, static_cast<int>(std::min(limit, 3U)));
    EXPECT_EQ(review.Counts()[0], "3 characters have no glyph") << "whatever the limit";
  }
}

// What fails does not depend on how much a report is to hold.
TEST_F(Reviewed, ASmallReportHidesNoFailure) {
  const std::string lines = Lines({R"("Content": "x", "A1": 1, "B1": 1, "C1": 1)"});
  std::uint32_t listed = 0;
  TextReview::Settings settings;
  settings.strict = TextReview::kAll;
  settings.limit = 1;
  settings.sink = [&listed](const JsonValue& report) { listed += report.GetMember("warnings")->Size(); };
  TextReview review(settings);
  Look(review, lines);
  EXPECT_EQ(listed, 1u);
  EXPECT_EQ(review.Failures().size(), 3u);
}

class Clipping : public Reviewed {
 protected:
  // Where the ink of a line stands, whose left top end stands at (x, y).
  struct Ink {
    double left, top, right, bottom;
  };
  static std::string LineAt(int x, int y) {
    return Lines(
        {R"("Content": "Ink", "DeltaX": )" + std::to_string(x) + R"(, "DeltaY": )" + std::to_string(y)});
  }
  static Ink InkAt(int x, int y) {
    // The parts of a document are there as long as its root is.
    const auto lines = Parsed(LineAt(x, y));
    const auto report = tovkit::DescribeText(lines->GetAt(0), 9);
    const auto ink = report->GetMember("ink");
    return {ink->GetMemberDouble("left", 0), ink->GetMemberDouble("top", 0), ink->GetMemberDouble("right", 0),
            ink->GetMemberDouble("bottom", 0)};
  }
  // "clipped" of the report as text, empty without.
  std::string ClippedOf(int x, int y, const std::optional<CoreSizeF>& page) {
    std::string text;
    said_.clear();
    TextReview::Settings settings = Telling();
    settings.sink = [&text](const JsonValue& report) {
      if (const auto clipped = report.GetMember("clipped")) text = jobs::ClippedText(*clipped);
    };
    TextReview review(settings);
    Look(review, LineAt(x, y), page);
    EXPECT_EQ(said_.size(), text.empty() ? 0u : 1u);
    EXPECT_EQ(review.Counts().size(), text.empty() ? 0u : 1u);
    if (!said_.empty()) {
      EXPECT_EQ(said_[0].pointer, "/0");
      EXPECT_EQ(said_[0].text, (text.rfind("wholly", 0) == 0 ? "the text is " : "the text has ink ") + text);
    }
    return text;
  }
};

TEST_F(Clipping, APageThatJustHoldsTheInkClipsNothing) {
  const Ink ink = InkAt(30, 20);
  ASSERT_GT(ink.left, 0);
  ASSERT_GT(ink.top, 0);
  const CoreSizeF page = {static_cast<float>(ink.right), static_cast<float>(ink.bottom)};
  ASSERT_GE(double{page.width}, ink.right - 1e-4);
  EXPECT_EQ(ClippedOf(30, 20, CoreSizeF{std::ceil(page.width), std::ceil(page.height)}), "");
  EXPECT_EQ(ClippedOf(30, 20, std::nullopt), "") << "a page that fits its text clips nothing";
}

TEST_F(Clipping, EveryEdgeIsToldWithWhatStandsOverIt) {
  const Ink ink = InkAt(30, 20);
  const auto tenth = [](double length) {
    char text[40];
    std::snprintf(text, sizeof text, "%.1f", length);
    return std::string(text);
  };
  const auto size = [](double width, double height) {
    return std::to_string(static_cast<int>(width)) + "x" + std::to_string(static_cast<int>(height));
  };
  const float width = static_cast<float>(std::floor(ink.right)) - 2, height = 300;
  EXPECT_EQ(ClippedOf(30, 20, CoreSizeF{width, height}),
            "outside the page: " + tenth(ink.right - double{width}) + " beyond the right edge; it needs " +
                size(std::ceil(ink.right), 300));
  const float low = static_cast<float>(std::floor(ink.bottom)) - 2;
  EXPECT_EQ(ClippedOf(30, 20, CoreSizeF{500, low}), "outside the page: " + tenth(ink.bottom - double{low}) +
                                                        " beyond the bottom edge; it needs " +
                                                        size(500, std::ceil(ink.bottom)));
  const Ink over = InkAt(-5, -8);
  EXPECT_EQ(ClippedOf(-5, -8, CoreSizeF{500, 300}), "outside the page: " + tenth(-over.left) +
                                                        " beyond the left edge, " + tenth(-over.top) +
                                                        " beyond the top edge");
  EXPECT_EQ(ClippedOf(-5, -8, CoreSizeF{10, 300}),
            "outside the page: " + tenth(-over.left) + " beyond the left edge, " + tenth(-over.top) +
                " beyond the top edge, " + tenth(over.right - 10) + " beyond the right edge")
      << "no page has room for what is left of it";
}

TEST_F(Clipping, WhatNoPixelOfThePageShowsIsWhollyOutside) {
  const Ink ink = InkAt(0, 0);
  const auto wholly = [&](int x, int y, CoreSizeF page) {
    return ClippedOf(x, y, page).rfind("wholly", 0) == 0;
  };
  const int width = static_cast<int>(std::ceil(ink.right)), height = static_cast<int>(std::ceil(ink.bottom));
  EXPECT_TRUE(wholly(-width, 0, {500, 300}));
  EXPECT_FALSE(wholly(-width + 2, 20, {500, 300}));
  EXPECT_FALSE(wholly(-width + 1, 20, {500, 300})) << "less than a pixel is inside";
  EXPECT_FALSE(wholly(20, -height + 1, {500, 300}));
  const Ink there = InkAt(30, 20);
  EXPECT_TRUE(wholly(30, 20, {static_cast<float>(there.left), 300})) << "the edges of both meet";
  EXPECT_TRUE(wholly(30, 20, {500, static_cast<float>(there.top)}));
  EXPECT_TRUE(wholly(0, -height, {500, 300}));
  EXPECT_FALSE(wholly(20, -height + 2, {500, 300}));
  EXPECT_TRUE(wholly(500, 20, {500, 300}));
  EXPECT_FALSE(wholly(490, 20, {500, 300}));
  EXPECT_TRUE(wholly(20, 310, {500, 300}));
  EXPECT_FALSE(wholly(20, 280, {500, 300}));
}

TEST_F(Clipping, InkThatEndsAtTheEdgeIsInside) {
  const Ink ink = InkAt(30, 20);
  const auto right = static_cast<float>(ink.right), bottom = static_cast<float>(ink.bottom);
  ASSERT_EQ(double{right}, ink.right);
  ASSERT_EQ(double{bottom}, ink.bottom);
  EXPECT_EQ(ClippedOf(30, 20, CoreSizeF{right, 300}), "");
  EXPECT_EQ(ClippedOf(30, 20, CoreSizeF{500, bottom}), "");
  EXPECT_NE(ClippedOf(30, 20, CoreSizeF{std::nextafter(right, 0.0f), 300}), "");
  EXPECT_NE(ClippedOf(30, 20, CoreSizeF{500, std::nextafter(bottom, 0.0f)}), "");
}

TEST_F(Reviewed, AReportBeginsWithItsPlace) {
  std::vector<std::string> reports;
  TextReview::Settings settings;
  settings.sink = [&reports](const JsonValue& report) { reports.push_back(report.ToString().c_str()); };
  TextReview review(settings);
  Look(review, Lines({R"("Content": "a")", R"("Content": "b", "Xy": 1)"}));
  ASSERT_EQ(reports.size(), 2u);
  EXPECT_EQ(reports[0].rfind(
                R"({"file":"page","pointer":"/0","line":1,"column":2,"drawable":true,"content":"a")", 0),
            0u)
      << reports[0];
  EXPECT_EQ(reports[1].rfind(
                R"({"file":"page","pointer":"/1","line":2,"column":2,"drawable":true,"content":"b")", 0),
            0u)
      << reports[1];
  EXPECT_NE(reports[1].find(R"("line":2,"column":19})"), std::string::npos) << reports[1];
}

}  // namespace
