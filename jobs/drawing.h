// SPDX-License-Identifier: MIT
// Drawing: the lines of text that JSON descriptions hold for one page, and how they are placed on it.
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

  // Keeps the document alive whose part the lines are.
  void Keep(const tovkit::SharedPtr<tovkit::JsonValue>& document) { roots_.push_back(document); }

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

// Adds a drawing for each page of a description: one for an object or an array of lines, several for an array
// of arrays. Throws Error naming `place`, and the page and element, for anything else, for lines among pages
// and for a page without a line.
void AddPages(const tovkit::SharedPtr<tovkit::JsonValue>& description, const std::string& place,
              std::vector<Drawing>& pages);

// A page that the lines fill, but for a margin.
Placement Fit(const TextBounds& bounds);

}  // namespace jobs
