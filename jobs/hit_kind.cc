// SPDX-License-Identifier: MIT
// The JSON of a hit test, as a HitJob. Every member is read and refused before the path is.
#include "error.h"
#include "hit_job.h"
#include "job_kind.h"

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

std::vector<CorePointF> TakePoints(Members& members) {
  const SharedPtr<JsonValue> array = members.TakeArray("points");
  if (!array) members.Refuse("points", "missing");
  std::vector<CorePointF> points;
  for (int i = 0; i < static_cast<int>(array->Size()); ++i) {
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

void RunHitKind(Members& members, JobBench& bench, JobResult& result) {
  Members hit(members.Take("hit"), "hit");
  members.Finish();
  const auto text = hit.TakeText("path");
  const auto name = hit.TakeText("file");
  if (text.has_value() == name.has_value()) hit.Refuse("", "one of \"path\" and \"file\" is expected");
  if (name && bench.input == nullptr) hit.Refuse("file", "no folder of input files was given");
  const OpenDescriptor file = name ? bench.input->OpenFile(*name) : OpenDescriptor();
  HitJob job{name ? Input::Descriptor(file.get(), *name) : Input::Memory(*text, "path")};
  job.id = hit.TakeText("element").value_or("");
  job.tolerance = static_cast<float>(hit.TakeNumber("tolerance", -FLT_MAX, FLT_MAX).value_or(1));
  job.fill = hit.TakeFlag("fill").value_or(false);
  job.points = TakePoints(hit);
  hit.Finish();
  result.hits = Run(job, bench.observer);
}

}  // namespace jobs
