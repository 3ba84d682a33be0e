#include "json_array.h"
#include "tovkit/convert.h"

#include <cstdint>

namespace tovkit {

SharedPtr<JsonValue> Convert::PathToJson(const CorePath& path) {
  SharedPtr<JsonValue> points = NewArray();
  // The counter is the last index.
  for (int i = 0, last = path.GetPointCounter(); i <= last; ++i) {
    CorePointF point;
    std::uint32_t kind = 0;
    path.GetPoint(i, point, kind);
    const SharedPtr<JsonValue> pair = points->InsertArray(i);
    pair->InsertFloat(-1, point.x);
    pair->InsertFloat(-1, point.y);
  }
  return points;
}

}  // namespace tovkit
