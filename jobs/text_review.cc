// SPDX-License-Identifier: MIT
// Counts each kind of trouble over all lines, so that a page with a thousand missing glyphs costs one note.
// Only the first trouble of a strict kind is kept: it becomes the error, with its place in the source.
#include "text_review.h"

#include <tovkit/imaging.h>

#include <algorithm>
#include <cstdio>
#include <utility>

namespace jobs {

namespace {

using tovkit::JsonValue;
using tovkit::SharedPtr;

std::size_t IndexOf(Trouble trouble) { return static_cast<std::size_t>(trouble); }

// Where the line or one of its members stands.
void SetPlace(const MeasuredLine& line, const std::string& pointer, bool atName, JsonValue& object) {
  const std::size_t offset = line.source->OffsetOf(line.pointer + pointer, atName);
  const TextPosition position = line.source->PositionOf(offset);
  object.SetMemberUint64("line", position.line);
  object.SetMemberUint64("column", position.column);
}

bool IsAtName(const JsonValue& warning) {
  return std::string(warning.GetMemberString("kind", "")) == "unknown-key";
}

std::string Counted(std::int64_t count, const char* one, const char* several) {
  return std::to_string(count) + (count == 1 ? one : several);
}

struct Edge {
  const char* name;
  double beyond;
};

// Rounded to a tenth, and at least one tenth.
std::string Rounded(double length) {
  char text[64];
  std::snprintf(text, sizeof text, "%.1f", std::max(0.1, length));
  return text;
}

}  // namespace

const std::array<const char*, kTroubles>& TroubleNames() {
  static constexpr std::array<const char*, kTroubles> names = {"glyphs", "fonts", "keys", "clip"};
  return names;
}

void TextReview::Met(Trouble trouble, const MeasuredLine& line, const std::string& pointer,
                     const std::string& text, bool atName) {
  if (settings_.tell) settings_.tell(trouble, line.pointer + pointer, text);
  if (first_ || (settings_.strict >> IndexOf(trouble) & 1) == 0) return;
  first_ = line.source->ErrorAt(line.pointer + pointer, text, atName);
}

void TextReview::LookAtGlyphs(const MeasuredLine& line, const JsonValue& report) {
  const int count = report.GetMemberInt("missingCount", 0);
  if (count == 0) return;
  counts_[IndexOf(Trouble::kGlyphs)] += count;
  std::string text = Counted(count, " character has no glyph", " characters have no glyph");
  const SharedPtr<const JsonValue> missing = report.GetMember("missing");
  if (const SharedPtr<const JsonValue> first = missing->GetAt(0)) {
    text += std::string(count == 1 ? ": " : ", the first is ") + first->GetMemberString("character", "") +
            " " + first->GetMemberString("name", "");
  }
  Met(Trouble::kGlyphs, line, "/Content", text);
}

void TextReview::LookAtFonts(const MeasuredLine& line, const JsonValue& report) {
  const SharedPtr<const JsonValue> font = report.GetMember("font");
  if (!font || !font->GetMemberBool("named", false) || !font->GetMemberBool("substituted", false)) return;
  const std::string wanted = font->GetMemberString("wanted", "");
  fonts_.insert(wanted);
  counts_[IndexOf(Trouble::kFonts)] = static_cast<std::int64_t>(fonts_.size());
  Met(Trouble::kFonts, line, "/Font/FontName",
      "the font \"" + wanted + "\" is not installed; " + font->GetMemberString("family", "") +
          " stands in for it");
}

void TextReview::LookAtKeys(const MeasuredLine& line, const JsonValue& report) {
  counts_[IndexOf(Trouble::kKeys)] += report.GetMemberInt("warningCount", 0);
  const SharedPtr<const JsonValue> warnings = report.GetMember("warnings");
  for (std::uint32_t i = 0; i < warnings->Size(); ++i) {
    const SharedPtr<const JsonValue> warning = warnings->GetAt(static_cast<std::int32_t>(i));
    Met(Trouble::kKeys, line, warning->GetMemberString("pointer", ""),
        warning->GetMemberString("message", ""), IsAtName(*warning));
  }
}

void TextReview::LookAtClip(const MeasuredLine& line, const std::optional<CoreSizeF>& page,
                            JsonValue& report) {
  const SharedPtr<const JsonValue> ink = std::as_const(report).GetMember("ink");
  if (!page || !ink) return;
  const Edge edges[] = {{"left", -ink->GetMemberDouble("left", 0)},
                        {"top", -ink->GetMemberDouble("top", 0)},
                        {"right", ink->GetMemberDouble("right", 0) - double{page->width}},
                        {"bottom", ink->GetMemberDouble("bottom", 0) - double{page->height}}};
  std::string text;
  SharedPtr<JsonValue> clipped;
  for (const Edge& edge : edges) {
    if (edge.beyond <= 0) continue;
    if (!clipped) clipped = report.AddObjectMember("clipped");
    clipped->SetMemberDouble(edge.name, edge.beyond);
    text += (text.empty() ? "" : ", ") + Rounded(edge.beyond) + " beyond the " + edge.name + " edge";
  }
  if (text.empty()) return;
  ++counts_[IndexOf(Trouble::kClip)];
  Met(Trouble::kClip, line, "", "the text has ink outside the page: " + text);
}

// Places come first in the report, since people look for them.
void TextReview::Hand(const MeasuredLine& line, JsonValue& report) const {
  const SharedPtr<JsonValue> warnings = report.GetMember("warnings");
  for (std::uint32_t i = 0; i < warnings->Size(); ++i) {
    const SharedPtr<JsonValue> warning = warnings->GetAt(static_cast<std::int32_t>(i));
    SetPlace(line, warning->GetMemberString("pointer", ""), IsAtName(*warning), *warning);
  }
  const SharedPtr<JsonValue> whole = tovkit::Json::Parse(nullptr, 0, nullptr);
  whole->SetMemberString("file", line.source->printableName().c_str());
  whole->SetMemberString("pointer", line.pointer.c_str());
  SetPlace(line, "", false, *whole);
  for (const CoreString& name : report.GetMemberNames()) {
    whole->SetMember(name.c_str(), report.GetMember(name.c_str()));
  }
  settings_.sink(*whole);
}

void TextReview::Look(const MeasuredLine& line, const std::optional<CoreSizeF>& page) {
  // Without a sink only notes are needed, and those mention one of each.
  const std::uint32_t limit = settings_.sink || settings_.tell ? settings_.limit : 1;
  const SharedPtr<JsonValue> report = tovkit::DescribeText(line.description, limit);
  LookAtKeys(line, *report);
  LookAtFonts(line, *report);
  LookAtGlyphs(line, *report);
  LookAtClip(line, page, *report);
  if (settings_.sink) Hand(line, *report);
}

std::vector<std::string> TextReview::Notes() const {
  std::vector<std::string> notes;
  const auto note = [&](Trouble trouble, const char* one, const char* several) {
    const std::int64_t count = counts_[IndexOf(trouble)];
    if (count != 0) notes.push_back(Counted(count, one, several));
  };
  note(Trouble::kGlyphs, " character has no glyph; --report tells which",
       " characters have no glyph; --report tells which");
  note(Trouble::kFonts, " font is not installed, another stands in; --report tells which",
       " fonts are not installed, others stand in; --report tells which");
  note(Trouble::kKeys, " member of a description is not used as it stands; --report tells which",
       " members of descriptions are not used as they stand; --report tells which");
  note(Trouble::kClip, " line has ink outside the page; --report tells which",
       " lines have ink outside the page; --report tells which");
  return notes;
}

void TextReview::FailIfStrict() const {
  if (first_) throw Error(*first_);
}

}  // namespace jobs
