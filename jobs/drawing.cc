#include "drawing.h"

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

}  // namespace

void Drawing::AddLines(const std::shared_ptr<JsonSource>& source) {
  const SharedPtr<JsonValue>& description = source->root();
  if (description->GetType() == tovkit::JsonObject) {
    lines_.push_back({description, source, ""});
    return;
  }
  const int count = static_cast<int>(description->Size());
  if (count == 0) throw source->ErrorAt("", "the array holds no line");
  for (int i = 0; i < count; ++i) {
    std::string pointer = "/" + std::to_string(i);
    SharedPtr<const JsonValue> element = description->GetAt(i);
    if (element->GetType() != tovkit::JsonObject) {
      throw source->ErrorAt(pointer, "element " + std::to_string(i) + " is no object");
    }
    lines_.push_back({std::move(element), source, std::move(pointer)});
  }
}

void Drawing::Measure(TextBounds& bounds, const std::optional<CoreSizeF>& page, Observer& observer) const {
  observer.BeginPart("measuring", static_cast<std::int64_t>(lines_.size()));
  for (const MeasuredLine& line : lines_) {
    const auto refuse = [&line](const std::string& text) {
      throw line.source->ErrorAt(line.pointer + "/Content", text);
    };
    if (!tovkit::DrawTextOnDevice(&bounds, line.description)) {
      refuse("no text to draw; \"Content\" is missing or empty");
    }
    if (!bounds.IsDrawable()) refuse("the text is too long or no font is installed");
    observer.LineMeasured(line, page);
    observer.Advance();
  }
  observer.EndPart();
  for (const auto& [wanted, actual] : bounds.GetSubstitutions()) observer.FontSubstituted(wanted, actual);
  observer.LinesMeasured();
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
