// SPDX-License-Identifier: MIT
// A path is a vector of records in the order of its calls, and nothing is computed here: who walks it
// decides what the records mean (CoreWalkPath).
#include "tovmx/path.h"

#include <cstddef>

void CorePath::MoveTo(float x, float y) { points_.push_back({x, y, kCorePathMove}); }

void CorePath::LineTo(float x, float y) { points_.push_back({x, y, kCorePathLine}); }

void CorePath::QuadTo(float cx, float cy, float x, float y) {
  points_.insert(points_.end(), {{cx, cy, kCorePathQuad}, {x, y, 0}});
}

void CorePath::CubicTo(float c1x, float c1y, float c2x, float c2y, float x, float y) {
  points_.insert(points_.end(), {{c1x, c1y, kCorePathCubic}, {c2x, c2y, 0}, {x, y, 0}});
}

void CorePath::ArcTo(float rx, float ry, float rotation, float largeArc, float sweep, float x, float y) {
  points_.insert(points_.end(),
                 {{rx, ry, kCorePathArc}, {rotation, largeArc, 0}, {sweep, 0.0f, 0}, {x, y, 0}});
}

void CorePath::Close() {
  if (!points_.empty()) points_.back().flags |= kCorePathClose;
}

void CorePath::AddPoint(const CorePathPoint& point) { points_.push_back(point); }

void CorePath::Clear() noexcept { points_.clear(); }

int CorePath::GetPointCounter() const noexcept { return static_cast<int>(points_.size()) - 1; }

bool CorePath::GetPoint(int index, CorePointF& point, std::uint32_t& flags) const {
  if (index < 0 || index > GetPointCounter()) return false;
  const CorePathPoint& record = points_[static_cast<std::size_t>(index)];
  point = {record.x, record.y};
  flags = record.flags;
  return true;
}

const CorePathPoint* CorePath::GetPoints() const noexcept {
  return points_.empty() ? nullptr : points_.data();
}
