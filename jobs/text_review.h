// SPDX-License-Identifier: MIT
// TextReview: finds what will not look as it was meant, in lines that are about to be drawn.
//
//   TextReview review({.limit = 1000});
//   review.Look(line, page);                       // for each line
//   for (const TextReview::Note& note : review.Notes()) ...
#pragma once

#include "drawing.h"
#include "error.h"

#include <tovkit/json.h>
#include <tovmx/geometry.h>

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace jobs {

enum class Finding {
  kGlyphs,  // characters that no font holds
  kFonts,   // families that a description names and that are not installed
  kKeys,    // members of a description that are not used as they stand
  kClip,    // ink outside the page
};
inline constexpr std::size_t kFindings = 4;

// Their names, in the order of the type: "glyphs", "fonts", "keys", "clip".
const std::array<const char*, kFindings>& FindingNames();

class TextReview {
 public:
  // Which findings are failures; bit n stands for the Finding n.
  using Mask = unsigned;
  static constexpr Mask kAll = (1U << kFindings) - 1;

  struct Settings {
    Mask strict = 0;
    std::uint32_t limit = 1000;  // of a report's lists
    // Gets the report of every line: that of DescribeText, with "file", "pointer", "line" and "column" of the
    // line and of each warning, and with "clipped", how far the ink reaches beyond the page's edges.
    std::function<void(const tovkit::JsonValue& report)> sink = nullptr;
    // Gets every finding in words, up to the limit in each line, with the pointer of its place.
    std::function<void(Finding finding, const std::string& pointer, const std::string& text)> tell = nullptr;
  };

  explicit TextReview(Settings settings) : settings_(std::move(settings)) {}

  void Look(const MeasuredLine& line, const std::optional<CoreSizeF>& page);

  // The first finding of a kind, with its place, and how many more of the kind there are.
  struct Note {
    Error first;
    std::int64_t more = 0;
  };

  // One for each kind of finding that was met.
  std::vector<Note> Notes() const;

  // How many there are of each kind that was met: "2 fonts are not installed, others stand in".
  std::vector<std::string> Counts() const;

  // The findings of strict kinds, the first kMostFailures in the order in which they were met, and how many
  // more there are.
  static constexpr std::size_t kMostFailures = 20;
  const std::vector<Error>& Failures() const { return failures_; }
  std::int64_t MoreFailures() const;

 private:
  struct Kind {
    std::int64_t count = 0;
    std::optional<Error> first;
    std::int64_t firstCount = 0;  // what the first one stands for: a character may be missing several times
  };

  bool IsStrict(Finding finding) const;
  bool IsTold(Finding finding) const;
  bool IsKept(Finding finding) const;
  void Tell(Finding finding, const MeasuredLine& line, const std::string& pointer, const std::string& text,
            std::int64_t count = 1, const tovkit::JsonValue* warning = nullptr);
  Kind& KindOf(Finding finding) { return kinds_[static_cast<std::size_t>(finding)]; }
  void LookAtGlyphs(const MeasuredLine& line, const tovkit::JsonValue& report);
  void LookAtFonts(const MeasuredLine& line, const tovkit::JsonValue& report);
  void LookAtKeys(const MeasuredLine& line, const tovkit::JsonValue& report);
  void LookAtClip(const MeasuredLine& line, const std::optional<CoreSizeF>& page, tovkit::JsonValue& report);
  void Hand(const MeasuredLine& line, tovkit::JsonValue& report) const;

  Settings settings_;
  std::array<Kind, kFindings> kinds_{};
  std::set<std::string> fonts_;  // that are not installed
  std::vector<Error> failures_;
  std::int64_t failuresCount_ = 0;  // what they stand for
};

// Where what a warning of a report is about stands in the line's source: a value, or the name of a member.
std::size_t OffsetOfWarning(const MeasuredLine& line, const tovkit::JsonValue& warning);

// How far ink stands over which edges of the page, of "clipped" in a report, and what size of page has room
// for it: "outside the page:
// 165.3 beyond the right edge; it needs 526x60".
std::string ClippedText(const tovkit::JsonValue& clipped);

}  // namespace jobs
