// SPDX-License-Identifier: MIT
// Counts each kind of finding over all lines, so that a page with a thousand missing glyphs costs one note.
// The first finding of each kind is kept, and the first few of strict kinds, which become the errors, with
// their places in the source.
#include "text_review.h"

#include <tovkit/imaging.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <utility>

namespace jobs {

namespace {

using tovkit::JsonValue;
using tovkit::SharedPtr;

void SetPlace(const MeasuredLine& line, std::size_t offset, JsonValue& object) {
  if (!line.source->hasText()) return;
  const TextPosition position = line.source->PositionOf(offset);
  object.SetMemberUint64("line", position.line);
  object.SetMemberUint64("column", position.column);
}

struct Ink {
  double left, top, right, bottom;
};

Ink InkOf(const JsonValue& box) {
  const auto edge = [&box](const char* name) { return box.GetMemberDouble(name, 0); };
  return {edge("left"), edge("top"), edge("right"), edge("bottom")};
}

struct Edge {
  const char* name;
  double beyond;
};

// Rounded to a tenth, and at least one tenth.
std::string Rounded(double length) {
  char text[320];
  std::snprintf(text, sizeof text, "%.1f", std::max(0.1, length));
  return text;
}

// A whole number of any size, without an exponent.
std::string Whole(double number) {
  char text[320];
  std::snprintf(text, sizeof text, "%.0f", number);
  return text;
}

}  // namespace

std::size_t OffsetOfWarning(const MeasuredLine& line, const JsonValue& warning) {
  std::string pointer = line.pointer + warning.GetMemberString("pointer", "");
  const int member = warning.GetMemberInt("member", -1);
  if (member < 0) return line.source->OffsetOf(pointer);
  pointer.resize(pointer.rfind('/'));
  return line.source->OffsetOfName(pointer, static_cast<std::size_t>(member));
}

std::string ClippedText(const JsonValue& clipped) {
  std::string text;
  for (const char* const edge : {"left", "top", "right", "bottom"}) {
    if (!clipped.HasMember(edge)) continue;
    text += (text.empty() ? "" : ", ") + Rounded(clipped.GetMemberDouble(edge, 0)) + " beyond the " + edge +
            " edge";
  }
  text = (clipped.GetMemberBool("wholly", false) ? "wholly outside the page: " : "outside the page: ") + text;
  if (const SharedPtr<const JsonValue> needs = clipped.GetMember("needs")) {
    text += "; it needs " + Whole(needs->GetMemberDouble("width", 0)) + "x" +
            Whole(needs->GetMemberDouble("height", 0));
  }
  return text;
}

const std::array<const char*, kFindings>& FindingNames() {
  static constexpr std::array<const char*, kFindings> names = {"glyphs", "fonts", "keys", "clip"};
  return names;
}

bool TextReview::IsStrict(Finding finding) const {
  return (settings_.strict >> static_cast<unsigned>(finding) & 1) != 0;
}

// Whether one more of the kind is to be put into words.
bool TextReview::IsTold(Finding finding) const { return settings_.tell || IsKept(finding); }

bool TextReview::IsKept(Finding finding) const {
  return !kinds_[static_cast<std::size_t>(finding)].first ||
         (IsStrict(finding) && failures_.size() < kMostFailures);
}

void TextReview::Tell(Finding finding, const MeasuredLine& line, const std::string& pointer,
                      const std::string& text, std::int64_t count, const JsonValue* warning) {
  if (settings_.tell) settings_.tell(finding, line.pointer + pointer, text);
  if (!IsKept(finding)) return;
  const std::size_t offset =
      warning != nullptr ? OffsetOfWarning(line, *warning) : line.source->OffsetOf(line.pointer + pointer);
  const Error error = line.source->ErrorAtOffset(offset, line.pointer + pointer, text);
  Kind& kind = KindOf(finding);
  if (!kind.first) {
    kind.first = error;
    kind.firstCount = count;
  }
  if (!IsStrict(finding) || failures_.size() == kMostFailures) return;
  failures_.push_back(error);
  failuresCount_ += count;
}

void TextReview::LookAtGlyphs(const MeasuredLine& line, const JsonValue& report) {
  KindOf(Finding::kGlyphs).count += report.GetMemberInt("missingCount", 0);
  const SharedPtr<const JsonValue> missing = report.GetMember("missing");
  const int told = missing ? static_cast<int>(missing->Size()) : 0;
  for (int i = 0; i < told && IsTold(Finding::kGlyphs); ++i) {
    const SharedPtr<const JsonValue> one = missing->GetAt(i);
    Tell(Finding::kGlyphs, line, "/Content",
         std::string("no font has ") + one->GetMemberString("character", "") + " " +
             one->GetMemberString("name", ""),
         one->GetMemberInt("count", 1));
  }
}

void TextReview::LookAtFonts(const MeasuredLine& line, const JsonValue& report) {
  const SharedPtr<const JsonValue> font = report.GetMember("font");
  if (!font || !font->GetMemberBool("named", false) || !font->GetMemberBool("substituted", false)) return;
  const std::string wanted = font->GetMemberString("wanted", "");
  if (!fonts_.insert(wanted).second) return;
  ++KindOf(Finding::kFonts).count;
  if (!IsTold(Finding::kFonts)) return;
  Tell(Finding::kFonts, line, "/Font/FontName",
       "the font \"" + wanted + "\" is not installed; " + font->GetMemberString("family", "") +
           " stands in for it; fc-list names those that are");
}

void TextReview::LookAtKeys(const MeasuredLine& line, const JsonValue& report) {
  KindOf(Finding::kKeys).count += report.GetMemberInt("warningCount", 0);
  const SharedPtr<const JsonValue> warnings = report.GetMember("warnings");
  const int told = static_cast<int>(warnings->Size());
  for (int i = 0; i < told && IsTold(Finding::kKeys); ++i) {
    const SharedPtr<const JsonValue> one = warnings->GetAt(i);
    Tell(Finding::kKeys, line, one->GetMemberString("pointer", ""), one->GetMemberString("message", ""), 1,
         &*one);
  }
}

void TextReview::LookAtClip(const MeasuredLine& line, const std::optional<CoreSizeF>& page,
                            JsonValue& report) {
  const SharedPtr<const JsonValue> box = std::as_const(report).GetMember("ink");
  if (!page || !box) return;
  const Ink ink = InkOf(*box);
  const double width = double{page->width}, height = double{page->height};
  const Edge edges[] = {
      {"left", -ink.left}, {"top", -ink.top}, {"right", ink.right - width}, {"bottom", ink.bottom - height}};
  SharedPtr<JsonValue> clipped;
  for (const Edge& edge : edges) {
    if (edge.beyond <= 0) continue;
    if (!clipped) clipped = report.AddObjectMember("clipped");
    clipped->SetMemberDouble(edge.name, edge.beyond);
  }
  if (!clipped) return;
  const bool isOutside = ink.right <= 0 || ink.bottom <= 0 || ink.left >= width || ink.top >= height;
  clipped->SetMemberBool("wholly", isOutside);
  if (!clipped->HasMember("left") && !clipped->HasMember("top")) {
    const SharedPtr<JsonValue> needs = clipped->AddObjectMember("needs");
    needs->SetMemberDouble("width", std::ceil(std::max(width, ink.right)));
    needs->SetMemberDouble("height", std::ceil(std::max(height, ink.bottom)));
  }
  ++KindOf(Finding::kClip).count;
  if (!IsTold(Finding::kClip)) return;
  Tell(Finding::kClip, line, "", (isOutside ? "the text is " : "the text has ink ") + ClippedText(*clipped));
}

// Places come first in the report, since people look for them.
void TextReview::Hand(const MeasuredLine& line, JsonValue& report) const {
  const SharedPtr<JsonValue> warnings = report.GetMember("warnings");
  for (std::uint32_t i = 0; i < warnings->Size(); ++i) {
    const SharedPtr<JsonValue> warning = warnings->GetAt(static_cast<std::int32_t>(i));
    SetPlace(line, OffsetOfWarning(line, *warning), *warning);
  }
  const SharedPtr<JsonValue> whole = tovkit::Json::Parse(nullptr, 0, nullptr);
  whole->SetMemberString("file", line.source->printableName().c_str());
  whole->SetMemberString("pointer", line.pointer.c_str());
  SetPlace(line, line.source->OffsetOf(line.pointer), *whole);
  for (const CoreString& name : report.GetMemberNames()) {
    whole->SetMember(name.c_str(), report.GetMember(name.c_str()));
  }
  settings_.sink(*whole);
}

void TextReview::Look(const MeasuredLine& line, const std::optional<CoreSizeF>& page) {
  // Of most lines nothing is to be said, and counts alone cost the least.
  const std::uint32_t told = settings_.sink ? settings_.limit : 0;
  const SharedPtr<JsonValue> report = tovkit::DescribeText(line.description, told);
  const bool isQuiet =
      report->GetMemberInt("warningCount", 0) == 0 && report->GetMemberInt("missingCount", 0) == 0;
  // One of everything is enough for notes. What is told in words does not depend on how much a report is to
  // hold.
  std::uint32_t needed = settings_.strict == 0 ? 1 : kMostFailures;
  if (settings_.tell) needed = std::max(needed, settings_.limit);
  const SharedPtr<JsonValue> found =
      isQuiet || told >= needed ? report : tovkit::DescribeText(line.description, needed);
  LookAtKeys(line, *found);
  LookAtFonts(line, *found);
  LookAtGlyphs(line, *found);
  LookAtClip(line, page, *report);
  if (settings_.sink) Hand(line, *report);
}

std::vector<TextReview::Note> TextReview::Notes() const {
  std::vector<Note> notes;
  for (const Kind& kind : kinds_) {
    if (kind.first) notes.push_back({*kind.first, kind.count - kind.firstCount});
  }
  return notes;
}

std::vector<std::string> TextReview::Counts() const {
  constexpr const char* kWords[kFindings][2] = {
      {" character has no glyph", " characters have no glyph"},
      {" font is not installed, another stands in", " fonts are not installed, others stand in"},
      {" member of a description is not used as it stands",
       " members of descriptions are not used as they stand"},
      {" line has ink outside the page", " lines have ink outside the page"}};
  std::vector<std::string> counts;
  for (std::size_t i = 0; i < kFindings; ++i) {
    const std::int64_t count = kinds_[i].count;
    if (count != 0) counts.push_back(std::to_string(count) + kWords[i][count == 1 ? 0 : 1]);
  }
  return counts;
}

std::int64_t TextReview::MoreFailures() const {
  std::int64_t all = 0;
  for (std::size_t i = 0; i < kFindings; ++i) {
    if (IsStrict(static_cast<Finding>(i))) all += kinds_[i].count;
  }
  return all - failuresCount_;
}

}  // namespace jobs
