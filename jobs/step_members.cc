// SPDX-License-Identifier: MIT
#include "step_members.h"

#include "error.h"

#include <climits>
#include <cmath>

namespace jobs {

namespace {

CoreRect RectangleOf(const tovkit::SharedPtr<tovkit::JsonValue>& edges, const std::string& place) {
  CoreRect rect;
  int* const targets[] = {&rect.left, &rect.top, &rect.right, &rect.bottom};
  bool whole = edges->Size() == 4;
  for (int i = 0; whole && i < 4; ++i) {
    const auto edge = edges->GetAt(i);
    // As 5.0 too, which is the same number.
    const double number = NumberOf(*edge).value_or(NAN);
    whole = number >= INT_MIN && number <= INT_MAX && number == std::floor(number);
    if (whole) *targets[i] = static_cast<int>(number);
  }
  if (!whole)
    throw Error(ErrorKind::kInput, place, "four whole numbers, left, top, right and bottom, are expected");
  return rect;
}

PictureSize SizeOf(Members& step, const std::string& text) {
  const auto size = ParsePictureSize(text);
  if (!size) step.Refuse("resize", "'" + text + "' is no size such as 800x600, 800x, x600 or 50%");
  return *size;
}

CoreFilter TakeFilter(Members& step) {
  const auto name = step.TakeText("filter");
  if (!name) return kCoreFilterLanczos;
  const auto filter = FindFilter(*name);
  if (!filter) step.Refuse("filter", "'" + *name + "' is none of nearest, linear, cubic and lanczos");
  return *filter;
}

// The one thing that a step does.
PictureStep TakeStep(Members& step, const std::string& place) {
  if (const auto edges = step.TakeArray("erase")) return EraseStep{RectangleOf(edges, place + ": erase")};
  if (const auto edges = step.TakeArray("crop")) return CropStep{RectangleOf(edges, place + ": crop")};
  if (const auto size = step.TakeText("resize")) return ResizeStep{SizeOf(step, *size), TakeFilter(step)};
  if (step.TakeFlag("upright").value_or(false)) return UprightStep{};
  step.Refuse("", "no step; there are erase, crop, resize and upright");
}

}  // namespace

PictureSteps TakeSteps(Members& members) {
  PictureSteps taken;
  const auto steps = members.TakeArray("steps");
  for (int i = 0; steps && i < static_cast<int>(steps->Size()); ++i) {
    const std::string place = "steps: element " + std::to_string(i);
    Members step(steps->GetAt(i), place);
    taken.push_back(TakeStep(step, place));
    step.Finish();
  }
  return taken;
}

}  // namespace jobs
