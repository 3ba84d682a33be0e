// SPDX-License-Identifier: MIT
// A picture of what hits a path: every pixel asks HitTestPath, and the outline is drawn over the answers.
#pragma once

#include "observer.h"

#include <tovmx/dib.h>
#include <tovmx/path.h>

#include <cstdint>

namespace jobs {

// The colors of the picture, 0xAARRGGBB.
inline constexpr std::uint32_t kMapMiss = 0xffffffff;
inline constexpr std::uint32_t kMapInside = 0xffbfd9ec;   // hit with the inside test only
inline constexpr std::uint32_t kMapOutline = 0xfff2b05e;  // the outline is within the tolerance
inline constexpr std::uint32_t kMapStroke = 0xff1d2f4a;   // the outline itself

// The part of the path's plane that such a picture shows, and its size in pixels.
struct HitMapView {
  double left, top, scale;  // pixels to the unit
  int width, height;
};

// The view that DrawHitMap shows, with the same preconditions.
[[nodiscard]] HitMapView ViewOfHitMap(const CorePath& path, float tolerance, int size);

// Fills `map` with a 24-bit picture whose longer side has `size` pixels: the path's box with a margin that
// shows where the tolerance ends. False, and the map then holds anything, when memory is short. Precondition:
// the path has records, all finite; 1 <= size <= CoreBitmapDevice::kMaxSide.
[[nodiscard]] bool DrawHitMap(const CorePath& path, float tolerance, int size, Observer& observer,
                              CoreDib& map);

}  // namespace jobs
