// SPDX-License-Identifier: MIT
// Drawing: the lines of text that JSON descriptions hold, and how they are placed on a page.
//
//   Drawing drawing;
//   drawing.AddLines(ReadJson(input), input.name());
//   TextBounds bounds;
//   drawing.Measure(bounds, observer);
//   drawing.Draw(Fit(bounds), device, observer);
#pragma once

#include "observer.h"
#include "text_bounds.h"

#include <tovkit/json.h>
#include <tovmx/device.h>
#include <tovmx/geometry.h>

#include <string>
#include <vector>

namespace jobs {

// A page's size, in device units, and what of the lines' plane lies where on it.
struct Placement {
  CoreSizeF size;
  Position from;
  Position to;
};

class Drawing {
 public:
  // A description is an object, one line, or an array of them. Throws Error naming `place`, and the element,
  // for anything else and for an empty array.
  void AddLines(const tovkit::SharedPtr<tovkit::JsonValue>& description, const std::string& place);

  // Shows the lines to `bounds`. Throws Error for a line that cannot be drawn. Tells the observer of fonts
  // that stand in for others.
  void Measure(TextBounds& bounds, Observer& observer) const;

  void Draw(const Placement& placement, CoreDevice& device, Observer& observer) const;

 private:
  struct Line {
    tovkit::SharedPtr<const tovkit::JsonValue> description;
    std::string place;
  };

  std::vector<tovkit::SharedPtr<tovkit::JsonValue>> roots_;  // keep the lines alive
  std::vector<Line> lines_;
};

// A page that the lines fill, but for a margin.
Placement Fit(const TextBounds& bounds);

}  // namespace jobs
