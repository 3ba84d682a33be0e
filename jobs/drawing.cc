// SPDX-License-Identifier: MIT
// A text is measured by drawing it on a device that draws nothing, then drawn on a page of that size. So
// both use the same code and cannot differ.
#include "drawing.h"

#include "text_review.h"
#include "translated_device.h"

#include <tovkit/imaging.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

namespace jobs {

namespace {

using tovkit::JsonValue;
using tovkit::SharedPtr;

constexpr double kMargin = 16.0;

// Why the line has no text to draw, with the place of what is wrong.
Error NoText(const MeasuredLine& line) {
  constexpr std::uint32_t kMostWarnings = 100;
  const std::string none = "no text to draw; ";
  // A part of a report does not keep it alive.
  const SharedPtr<const JsonValue> report = tovkit::DescribeText(line.description, kMostWarnings);
  const SharedPtr<const JsonValue> warnings = report->GetMember("warnings");
  for (int i = 0; i < static_cast<int>(warnings->Size()); ++i) {
    const SharedPtr<const JsonValue> one = warnings->GetAt(i);
    const std::string kind = one->GetMemberString("kind", "");
    const std::string pointer = one->GetMemberString("pointer", "");
    const bool isType = kind == "wrong-type" && pointer == "/Content";
    const bool isName =
        kind == "unknown-key" && one->GetMemberString("nearest", "") == std::string("Content");
    if (!isType && !isName) continue;
    std::string message = one->GetMemberString("message", "");
    if (isType) message.resize(std::min(message.rfind("; "), message.size()));  // that nothing is drawn
    return line.source->ErrorAtOffset(OffsetOfWarning(line, *one), line.pointer + pointer, none + message);
  }
  const CoreStringList<CoreString> names = line.description->GetMemberNames();
  if (line.description->HasMember("Content") || names.GetCount() == 0) {
    return line.source->ErrorAt(line.pointer + "/Content", none + "\"Content\" is missing or empty");
  }
  constexpr std::size_t kLongestName = 60;
  const std::string name = names.GetAt(0).c_str();
  return line.source->ErrorAt(line.pointer,
                              none + "a line needs \"Content\"" +
                                  (name.size() > kLongestName ? "" : "; this object has \"" + name + "\""));
}

}  // namespace

void Drawing::AddLines(const std::shared_ptr<JsonSource>& source, const SharedPtr<JsonValue>& description,
                       const std::string& pointer) {
  if (description->GetType() == tovkit::JsonObject) {
    lines_.push_back({description, source, pointer});
    return;
  }
  const int count = static_cast<int>(description->Size());
  if (count == 0) throw source->ErrorAt(pointer, "the array holds no line");
  for (int i = 0; i < count; ++i) {
    std::string place = pointer + "/" + std::to_string(i);
    SharedPtr<const JsonValue> element = description->GetAt(i);
    if (element->GetType() != tovkit::JsonObject) {
      throw source->ErrorAt(place, "element " + std::to_string(i) + " is no object");
    }
    lines_.push_back({std::move(element), source, std::move(place)});
  }
}

void AddPages(const std::shared_ptr<JsonSource>& source, std::vector<Drawing>& pages) {
  const SharedPtr<JsonValue>& description = source->root();
  const auto isArray = [](const JsonValue& value) { return value.GetType() == tovkit::JsonArray; };
  const auto refuse = [&source](int i, const char* text) {
    throw source->ErrorAt("/" + std::to_string(i), "element " + std::to_string(i) + text);
  };
  const int count = isArray(*description) ? static_cast<int>(description->Size()) : 0;
  if (count == 0 || !isArray(*description->GetAt(0))) {
    for (int i = 1; i < count; ++i) {
      if (isArray(*description->GetAt(i))) refuse(i, " is a page among lines");
    }
    pages.emplace_back().AddLines(source);
    return;
  }
  for (int i = 0; i < count; ++i) {
    const SharedPtr<JsonValue> page = description->GetAt(i);
    if (!isArray(*page)) refuse(i, " is no page as those before it are");
    pages.emplace_back().AddLines(source, page, "/" + std::to_string(i));
  }
}

void Drawing::Measure(TextBounds& bounds, const std::optional<CoreSizeF>& page, Observer& observer) const {
  observer.BeginPart("measuring", static_cast<std::int64_t>(lines_.size()));
  for (const MeasuredLine& line : lines_) {
    if (!tovkit::DrawTextOnDevice(&bounds, line.description)) throw NoText(line);
    if (!bounds.IsDrawable()) {
      const SharedPtr<const JsonValue> report = tovkit::DescribeText(line.description, 0);
      throw line.source->ErrorAt(line.pointer + "/Content",
                                 report->GetMemberString("reason", "cannot be drawn"));
    }
    observer.LineMeasured(line, page);
    observer.Advance();
  }
  observer.EndPart();
  for (const auto& [wanted, actual] : bounds.GetSubstitutions()) observer.FontSubstituted(wanted, actual);
}

void Drawing::Draw(const Placement& placement, CoreDevice& device, Observer& observer) const {
  TranslatedDevice translated(device, placement.from, placement.to);
  observer.BeginPart("drawing", static_cast<std::int64_t>(lines_.size()));
  for (const MeasuredLine& line : lines_) {
    tovkit::DrawTextOnDevice(&translated, line.description);
    observer.Advance();
  }
  observer.EndPart();
  device.Flush();
}

Placement Fit(const TextBounds& text) {
  const Bounds bounds = text.GetBounds();
  return {{static_cast<float>(std::ceil(bounds.to.x - bounds.from.x + 2 * kMargin)),
           static_cast<float>(std::ceil(bounds.to.y - bounds.from.y + 2 * kMargin))},
          text.Origin(),
          {kMargin - bounds.from.x, kMargin - bounds.from.y}};
}

}  // namespace jobs
