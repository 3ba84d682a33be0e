// SPDX-License-Identifier: MIT
// Rows of a name and a text rather than columns: texts and paths may be of any length. A list that was cut
// says how long it was.
#include "report_table.h"

#include "jobs/text_review.h"
#include "text_output.h"

#include <tovkit/util.h>

#include <cstdint>
#include <cstdio>
#include <string>

namespace cli {

namespace {

using tovkit::JsonValue;
using tovkit::SharedPtr;

std::string Text(const JsonValue& object, const char* key) {
  return PrintableUtf8(object.GetMemberString(key, ""));
}

void PrintRow(const char* what, const std::string& text) { std::printf("  %-9s %s\n", what, text.c_str()); }

// Calls `print` for each element and says how many more there are.
template <typename Print>
void ForEach(const JsonValue& report, const char* list, const char* count, const Print& print) {
  const SharedPtr<const JsonValue> elements = report.GetMember(list);
  if (!elements) return;
  const std::uint32_t told = elements->Size();
  for (std::uint32_t i = 0; i < told; ++i) print(*elements->GetAt(static_cast<std::int32_t>(i)));
  const std::uint32_t all = report.GetMemberUint(count, 0);
  if (all > told) PrintRow("", "... " + std::to_string(all) + " in all");
}

std::string Place(const JsonValue& report, const JsonValue& placed) {
  if (!placed.HasMember("line")) return Text(report, "file");
  return Text(report, "file") + ":" + std::to_string(placed.GetMemberUint64("line", 0)) + ":" +
         std::to_string(placed.GetMemberUint64("column", 0));
}

std::string Number(const JsonValue& object, const char* key) {
  char text[320];
  std::snprintf(text, sizeof text, "%.1f", object.GetMemberDouble(key, 0));
  return text;
}

void PrintPlace(const JsonValue& report) {
  const SharedPtr<const JsonValue> ink = report.GetMember("ink");
  if (!ink) return;
  PrintRow("ink", Number(*ink, "left") + "," + Number(*ink, "top") + " to " + Number(*ink, "right") + "," +
                      Number(*ink, "bottom") + ", color " + Text(report, "color"));
}

void PrintRuns(const JsonValue& report) {
  const char* what = "font";
  ForEach(report, "runs", "runCount", [&what](const JsonValue& run) {
    const std::string wanted = Text(run, "standsInFor");
    PrintRow(what, "\"" + Text(run, "text") + "\" " + Text(run, "family") + " " + Text(run, "style") +
                       (wanted.empty() ? "" : ", for " + wanted) + ", " + Text(run, "script") + ", " +
                       Text(run, "file"));
    what = "";
  });
}

void PrintMissing(const JsonValue& report) {
  const SharedPtr<const JsonValue> missing = report.GetMember("missing");
  if (!missing) return;
  const char* what = "no glyph";
  for (std::uint32_t i = 0; i < missing->Size(); ++i) {
    const SharedPtr<const JsonValue> entry = missing->GetAt(static_cast<std::int32_t>(i));
    std::string positions;
    const SharedPtr<const JsonValue> told = entry->GetMember("positions");
    for (std::uint32_t n = 0; n < told->Size() && n < 8; ++n) {
      positions += (n == 0 ? "" : ", ") + std::to_string(told->GetAtInt(n, 0));
    }
    const std::uint32_t count = entry->GetMemberUint("count", 0);
    PrintRow(what, Text(*entry, "character") + " " + Text(*entry, "name") + ", at " + positions +
                       (count > 8 ? ", ... " + std::to_string(count) + " times" : ""));
    what = "";
  }
}

void PrintClipped(const JsonValue& report) {
  const SharedPtr<const JsonValue> clipped = report.GetMember("clipped");
  if (!clipped) return;
  PrintRow("clipped", jobs::ClippedText(*clipped));
}

}  // namespace

void ReportTable::Print(const JsonValue& report) {
  std::printf("%s%s  \"%s\"\n", isFirst_ ? "" : "\n", Place(report, report).c_str(),
              Text(report, "content").c_str());
  isFirst_ = false;
  if (report.HasMember("reason")) PrintRow("not drawn", Text(report, "reason"));
  PrintPlace(report);
  PrintRuns(report);
  PrintMissing(report);
  PrintClipped(report);
  ForEach(report, "warnings", "warningCount", [&report](const JsonValue& warning) {
    PrintRow("check", Place(report, warning) + ": " + Text(warning, "message"));
  });
}

void ReportTable::End(const std::vector<std::string>& counts) {
  std::puts(counts.empty() ? "\nNothing looks wrong." : "\nWhat looks wrong:");
  for (const std::string& count : counts) std::printf("  %s\n", count.c_str());
}

}  // namespace cli
