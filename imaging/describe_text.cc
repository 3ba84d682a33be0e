// SPDX-License-Identifier: MIT
// The report of a line: what was asked for, what is drawn, and what differs. It reads the request that
// DrawTextOnDevice draws, so the two cannot disagree.
#include "character_name.h"
#include "description_check.h"
#include "kept_reports.h"
#include "report_text.h"
#include "text_request.h"
#include "tovkit/imaging.h"

#include <tovmx/font.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace tovkit {

namespace {

void SetText(JsonValue& object, const char* key, const std::string& text) {
  object.SetMemberString(key, text.c_str());
}

void DescribeRequest(const TextRequest& request, const CoreFontLoader& fonts, JsonValue& report) {
  SetText(report, "content", ReportText(request.text.c_str(), request.text.GetLength(), kMaxReportText));
  const SharedPtr<JsonValue> font = report.AddObjectMember("font");
  SetText(*font, "wanted",
          ReportText(request.fontName.c_str(), request.fontName.GetLength(), kMaxReportText));
  font->SetMemberBool("named", request.namesFont);
  const CoreWideString family = fonts.GetActualFamily();
  SetText(*font, "family", ReportText(family.c_str(), family.GetLength(), kMaxReportText));
  font->SetMemberBool("substituted", fonts.IsSubstituted());
  font->SetMemberInt("size", request.fontSize);
  font->SetMemberFloat("pixelSize", request.PixelSize());
  font->SetMemberBool("bold", request.bold);
  font->SetMemberBool("italic", request.italic);
  char color[8];
  std::snprintf(color, sizeof color, "#%06X", static_cast<unsigned>(request.color & 0xFFFFFF));
  report.SetMemberString("color", color);
}

void AddBox(JsonValue& object, const char* key, const CoreRectF& box, const CoreMatrix& place) {
  const SharedPtr<JsonValue> edges = object.AddObjectMember(key);
  edges->SetMemberDouble("left", double{box.left} + place.e);
  edges->SetMemberDouble("top", double{box.top} + place.f);
  edges->SetMemberDouble("right", double{box.right} + place.e);
  edges->SetMemberDouble("bottom", double{box.bottom} + place.f);
}

void DescribePlace(const CoreTextExtents& extents, const CoreMatrix& place, JsonValue& report) {
  const SharedPtr<JsonValue> baseline = report.AddObjectMember("baseline");
  baseline->SetMemberDouble("x", place.e);
  baseline->SetMemberDouble("y", place.f);
  if (!extents.ink.IsEmpty()) AddBox(report, "ink", extents.ink, place);
  AddBox(report, "logical", extents.logical, place);
}

void DescribeRun(const CoreTextRun& run, const TextRequest& request, const CoreMatrix& place,
                 JsonValue& result) {
  SetText(result, "text", ReportText(request.text.GetData() + run.first, run.count, kMaxReportText));
  result.SetMemberInt("first", run.first);
  result.SetMemberInt("count", run.count);
  result.SetMemberString("script", run.script.c_str());
  result.SetMemberString("direction", run.rightToLeft ? "rtl" : "ltr");
  result.SetMemberDouble("left", double{run.left} + place.e);
  result.SetMemberDouble("right", double{run.right} + place.e);
  SetText(result, "family", ReportText(run.family.c_str(), kMaxReportText));
  SetText(result, "style", ReportText(run.style.c_str(), kMaxReportText));
  SetText(result, "file", ReportText(run.file.c_str(), kMaxReportText));
  result.SetMemberInt("face", run.face);
  if (run.substituted) {
    SetText(result, "standsInFor",
            ReportText(request.fontName.c_str(), request.fontName.GetLength(), kMaxReportText));
  }
}

// Each character once, in the order of their first positions.
void DescribeMissing(const std::vector<CoreMissingCharacter>& missing, std::uint32_t limit,
                     JsonValue& report) {
  std::map<char32_t, std::vector<int>> positions;
  std::vector<char32_t> order;
  for (const CoreMissingCharacter& one : missing) {
    std::vector<int>& known = positions[one.character];
    if (known.empty()) order.push_back(one.character);
    known.push_back(one.position);
  }
  report.SetMemberInt("missingCount", static_cast<int>(missing.size()));
  const SharedPtr<JsonValue> list = report.AddArrayMember("missing");
  std::size_t left = limit;
  for (const char32_t character : order) {
    if (left == 0) break;
    const std::vector<int>& all = positions[character];
    const SharedPtr<JsonValue> entry = list->InsertObject(-1);
    SetText(*entry, "character", CharacterNotation(character));
    SetText(*entry, "name", CharacterName(character));
    entry->SetMemberInt("count", static_cast<int>(all.size()));
    const SharedPtr<JsonValue> told = entry->AddArrayMember("positions");
    const std::size_t most = std::min(left, all.size());
    for (std::size_t i = 0; i < most; ++i) told->InsertInt(-1, all[i]);
    left -= most;
  }
}

void DescribeWarnings(const JsonValue& description, const TextRequest& request, std::uint32_t limit,
                      JsonValue& report) {
  const DescriptionCheck check = CheckDescription(description, request.text, limit);
  report.SetMemberInt("warningCount", static_cast<int>(check.count));
  const SharedPtr<JsonValue> list = report.AddArrayMember("warnings");
  for (const DescriptionWarning& warning : check.warnings) {
    const SharedPtr<JsonValue> entry = list->InsertObject(-1);
    SetText(*entry, "pointer", warning.pointer);
    entry->SetMemberString("kind", warning.kind);
    SetText(*entry, "message", warning.message);
    if (!warning.nearest.empty()) SetText(*entry, "nearest", warning.nearest);
    if (warning.member >= 0) entry->SetMemberInt("member", warning.member);
  }
}

// Returns null, or why a device would refuse the line or draw nothing.
const char* DescribeLine(const TextRequest& request, std::uint32_t limit, JsonValue& report) {
  if (request.text.IsEmpty()) return "there is no text";
  if (request.fontSize > kLargestFontSize) return "the font size is above 75000";
  if (request.text.GetLength() > kLongestLine) return "the text is longer than 262144 characters";
  const int maxRuns = static_cast<int>(std::min<std::uint32_t>(limit, kMaxReportRuns));
  CoreTextDescription line;
  const CoreFontLoader fonts = request.Fonts();
  if (!fonts.DescribeText(request.text.c_str(), request.text.GetLength(), request.PixelSize(), maxRuns,
                          line)) {
    return "no font is installed";
  }
  DescribeRequest(request, fonts, report);
  const CoreMatrix place = request.Place();
  DescribePlace(line.extents, place, report);
  report.SetMemberInt("runCount", line.runCount);
  const SharedPtr<JsonValue> runs = report.AddArrayMember("runs");
  for (const CoreTextRun& run : line.runs) DescribeRun(run, request, place, *runs->InsertObject(-1));
  DescribeMissing(line.missing, limit, report);
  return nullptr;
}

}  // namespace

// NOLINTNEXTLINE(performance-unnecessary-value-param): handles are passed by value throughout
SharedPtr<JsonValue> DescribeText(SharedPtr<const JsonValue> description, std::uint32_t limit) {
  if (!description) return {};
  KeptReports& kept = KeptReports::ForThisThread();
  const ReportKey key = KeptReports::KeyOf(*description, limit);
  if (SharedPtr<JsonValue> copy = kept.Copy(key)) return copy;
  SharedPtr<JsonValue> report = Json::Parse(nullptr, 0, nullptr);
  report->SetMemberBool("drawable", false);
  const TextRequest request = ReadTextRequest(*description);
  if (const char* const reason = DescribeLine(request, limit, *report)) {
    report->SetMemberString("reason", reason);
  } else {
    report->SetMemberBool("drawable", true);
  }
  DescribeWarnings(*description, request, limit, *report);
  kept.Offer(key, report);
  return report;
}

}  // namespace tovkit
