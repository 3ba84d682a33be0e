// SPDX-License-Identifier: MIT
// A text is measured by drawing it on a device that draws nothing, then drawn on a page of that size. So
// both use the same code and cannot differ.
#include "drawing.h"

#include "error.h"
#include "translated_device.h"

#include <tovkit/imaging.h>

#include <cmath>
#include <cstdint>
#include <utility>

namespace jobs {

namespace {

using tovkit::JsonValue;
using tovkit::SharedPtr;

constexpr double kMargin = 16.0;

[[noreturn]] void Refuse(const std::string& place, const std::string& text) {
  throw Error(ErrorKind::kInput, place, text);
}

}  // namespace

void Drawing::AddLines(const SharedPtr<JsonValue>& description, const std::string& place) {
  roots_.push_back(description);
  if (description->GetType() == tovkit::JsonObject) {
    lines_.push_back({description, place});
    return;
  }
  const int count = static_cast<int>(description->Size());
  if (count == 0) Refuse(place, "the array holds no line");
  for (int i = 0; i < count; ++i) {
    const std::string name = "element " + std::to_string(i);
    SharedPtr<const JsonValue> element = description->GetAt(i);
    if (element->GetType() != tovkit::JsonObject) Refuse(place, name + " is no object");
    std::string line = place;
    line.append(": ").append(name);
    lines_.push_back({std::move(element), std::move(line)});
  }
}

void AddPages(const SharedPtr<JsonValue>& description, const std::string& place,
              std::vector<Drawing>& pages) {
  const auto isArray = [](const JsonValue& value) { return value.GetType() == tovkit::JsonArray; };
  const int count = isArray(*description) ? static_cast<int>(description->Size()) : 0;
  if (count == 0 || !isArray(*description->GetAt(0))) {
    for (int i = 1; i < count; ++i) {
      if (isArray(*description->GetAt(i)))
        Refuse(place, "element " + std::to_string(i) + " is a page among lines");
    }
    pages.emplace_back().AddLines(description, place);
    return;
  }
  for (int i = 0; i < count; ++i) {
    const SharedPtr<JsonValue> page = description->GetAt(i);
    if (!isArray(*page)) Refuse(place, "element " + std::to_string(i) + " is no page as those before it are");
    Drawing& drawing = pages.emplace_back();
    drawing.Keep(description);
    drawing.AddLines(page, place + ": page " + std::to_string(i + 1));
  }
}

void Drawing::Measure(TextBounds& bounds, Observer& observer) const {
  observer.BeginPart("measuring", static_cast<std::int64_t>(lines_.size()));
  for (const Line& line : lines_) {
    if (!tovkit::DrawTextOnDevice(&bounds, line.description)) {
      Refuse(line.place, "no text to draw; \"Content\" is missing or empty");
    }
    if (!bounds.IsDrawable()) Refuse(line.place, "the text is too long or no font is installed");
    observer.Advance();
  }
  observer.EndPart();
  for (const auto& [wanted, actual] : bounds.GetSubstitutions()) observer.FontSubstituted(wanted, actual);
}

void Drawing::Draw(const Placement& placement, CoreDevice& device, Observer& observer) const {
  TranslatedDevice translated(device, placement.from, placement.to);
  observer.BeginPart("drawing", static_cast<std::int64_t>(lines_.size()));
  for (const Line& line : lines_) {
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
