// SPDX-License-Identifier: MIT
// Drawing: the lines of text that JSON descriptions hold for one page, and how they are placed on it.
//
//   Drawing drawing;
//   drawing.AddLines(std::make_shared<JsonSource>(input));
//   TextBounds bounds;
//   drawing.Measure(bounds, size, observer);
//   drawing.Draw(Fit(bounds), device, observer);
#pragma once

#include "json_source.h"
#include "observer.h"
#include "text_bounds.h"

#include <tovkit/json.h>
#include <tovmx/device.h>
#include <tovmx/geometry.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace jobs {

// A page's size, in device units, and what of the lines' plane lies where on it.
struct Placement {
  CoreSizeF size;
  Position from;
  Position to;
};

// A line as its source describes it.
struct MeasuredLine {
  tovkit::SharedPtr<const tovkit::JsonValue> description;
  std::shared_ptr<JsonSource> source;  // keeps the description alive
  std::string pointer;                 // of the description, RFC 6901
};

class Drawing {
 public:
  // A description is an object, one line, or an array of them. Throws Error with the place in the source for
  // anything else and for an empty array.
  void AddLines(const std::shared_ptr<JsonSource>& source) { AddLines(source, source->root(), ""); }

  // The same of a part of the source, which has this pointer.
  void AddLines(const std::shared_ptr<JsonSource>& source,
                const tovkit::SharedPtr<tovkit::JsonValue>& description, const std::string& pointer);

  // Shows the lines to `bounds`. Throws Error for a line that cannot be drawn. Tells the observer of every
  // line and of fonts that stand in for others. `page` is the size of the page when it is known.
  void Measure(TextBounds& bounds, const std::optional<CoreSizeF>& page, Observer& observer) const;

  void Draw(const Placement& placement, CoreDevice& device, Observer& observer) const;

 private:
  std::vector<MeasuredLine> lines_;
};

// Adds a drawing for each page of a description: one for an object or an array of lines, several for an array
// of arrays. Throws Error with the place in the source for anything else, for lines among pages and for a
// page without a line.
void AddPages(const std::shared_ptr<JsonSource>& source, std::vector<Drawing>& pages);

// A page that the lines fill, but for a margin.
Placement Fit(const TextBounds& bounds);

}  // namespace jobs
