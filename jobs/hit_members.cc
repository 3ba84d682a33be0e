// SPDX-License-Identifier: MIT
#include "hit_members.h"

#include <cfloat>
#include <cmath>

namespace jobs {

namespace {

using tovkit::JsonValue;
using tovkit::SharedPtr;

// A number that a float holds; false when it is none.
bool ReadCoordinate(const SharedPtr<JsonValue>& value, float& coordinate) {
  const double number = NumberOf(*value).value_or(HUGE_VAL);
  const bool fits = number >= -FLT_MAX && number <= FLT_MAX;
  coordinate = static_cast<float>(fits ? number : 0);
  return fits;
}

std::vector<CorePointF> TakePoints(Members& members, bool isNeeded) {
  const SharedPtr<JsonValue> array = members.TakeArray("points");
  if (!array && isNeeded) members.Refuse("points", "missing");
  std::vector<CorePointF> points;
  for (int i = 0; array && i < static_cast<int>(array->Size()); ++i) {
    const SharedPtr<JsonValue> pair = array->GetAt(i);
    CorePointF point;
    const bool isPoint = pair->GetType() == tovkit::JsonArray && pair->Size() == 2 &&
                         ReadCoordinate(pair->GetAt(0), point.x) && ReadCoordinate(pair->GetAt(1), point.y);
    if (!isPoint) members.Refuse("points", "element " + std::to_string(i) + " is not [X, Y]");
    points.push_back(point);
  }
  return points;
}

}  // namespace

void TakeHitMembers(Members& hit, bool needsPoints, HitJob& job) {
  job.id = hit.TakeText("element").value_or("");
  job.tolerance = static_cast<float>(hit.TakeNumber("tolerance", -FLT_MAX, FLT_MAX).value_or(1));
  job.fill = hit.TakeFlag("fill").value_or(false);
  job.points = TakePoints(hit, needsPoints);
}

}  // namespace jobs
