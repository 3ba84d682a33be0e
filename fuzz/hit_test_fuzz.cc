// SPDX-License-Identifier: MIT
// The input is a point, a tolerance and records as they lie in memory: the shipped hit test against the
// reference, and many points at once against single ones.
#include "reference_hit.h"

#include <tovkit/geometry.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

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

// Many points at once, with the coordinates of records: the answers of the single calls.
void ComparePoints(const CorePath& path, CorePointF point, float tolerance) {
  constexpr int kPoints = 256;
  const int records = path.GetPointCounter() + 1;
  std::vector<CorePointF> points(kPoints, point);
  for (int i = 1; i < kPoints && records > 0; ++i) {
    if (i % 3 != 1) points[static_cast<std::size_t>(i)].x = path.GetPoints()[i % records].x;
    if (i % 3 != 2) points[static_cast<std::size_t>(i)].y = path.GetPoints()[i / 3 % records].y;
  }
  for (const bool fill : {false, true}) {
    bool hits[kPoints];
    tovkit::HitTestPathPoints(points.data(), points.size(), tolerance, path, fill, hits);
    for (std::size_t i = 0; i < points.size(); ++i) {
      if (hits[i] != tovkit::HitTestPath(points[i], tolerance, path, 0, fill, kCoreFillEvenOdd)) std::abort();
    }
  }
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
  ComparePoints(path, {head[0], head[1]}, head[2]);
  return 0;
}
