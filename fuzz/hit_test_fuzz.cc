// SPDX-License-Identifier: MIT
// The input is a point, a tolerance and records as they lie in memory: the shipped hit test against the
// reference.
#include "reference_hit.h"

#include <tovkit/geometry.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

constexpr std::size_t kMostRecords = 64;

// The reference's turn reduction goes turn by turn; millions of them would take the fuzzer's time.
constexpr float kMostRotation = 1e5f;

bool HasLongReduction(const CorePath& path) {
  for (int i = 0; i < path.GetPointCounter(); ++i) {
    const float rotation = std::fabs(path.GetPoints()[i + 1].x);
    if ((path.GetPoints()[i].flags & kCorePathArc) && rotation > kMostRotation && rotation < 0x1p28f)
      return true;
  }
  return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  float head[3];
  if (size < sizeof head) return 0;
  std::memcpy(head, data, sizeof head);
  CorePath path;
  CorePathPoint record;
  for (std::size_t at = sizeof head; at + sizeof record <= size && at < kMostRecords * sizeof record;
       at += sizeof record) {
    std::memcpy(&record, data + at, sizeof record);
    path.AddPoint(record);
  }
  if (HasLongReduction(path)) return 0;
  for (const bool fill : {false, true}) {
    const CorePointF point = {head[0], head[1]};
    if (tovkit::HitTestPath(point, head[2], path, 0, fill, kCoreFillEvenOdd) !=
        reference::ReferenceHitTestPath(point, head[2], path, 0, fill, kCoreFillEvenOdd))
      std::abort();
    const tovkit::HitTestDetail detail = tovkit::HitTestPathDetail(point, head[2], path, fill);
    if (detail.hit != tovkit::HitTestPath(point, head[2], path, 0, fill, kCoreFillEvenOdd)) std::abort();
    if (detail.record > path.GetPointCounter() || std::isnan(detail.distance)) std::abort();
  }
  return 0;
}
