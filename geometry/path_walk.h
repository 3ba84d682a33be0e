// Breaking a path's records into its segments: lines, Bezier curves and arcs.
//
// Segments are handed over one by one as they are met, and never stored. The current point is always the
// record before the one looked at, so a segment's points are neighboring records and nothing is copied:
//
//   records   M  L  C1 C2 E  A1 A2 A3 E
//   line      [0  1]
//   curve        [0  1  2  3]
//   arc                   [0  1  2  3  4]
#pragma once

#include <tovmx/path.h>

namespace tovkit {

// Calls visitor.Line(a, b), visitor.Curve<degree>(points) and visitor.Arc(records) for the segments of the
// `count` records, in order. They return true to end the walk; so does this function then, and false when all
// was seen.
//
// A curve or an arc whose following records are missing is skipped. A subpath that is closed before any was
// started is closed to the origin. Unknown flags mean nothing.
template <typename Visitor>
bool WalkPath(const CorePathPoint* records, int count, Visitor& visitor) {
  const CorePathPoint origin;
  const CorePathPoint* start = &origin;
  const CorePathPoint* const end = records + count;
  for (const CorePathPoint* at = records; at != end; ++at) {
    const std::uint32_t flags = at->flags;
    if (flags & kCorePathMove) {
      start = at;
    } else if (at == records) {
      // Without a current point there is nothing to draw from.
    } else if (flags & kCorePathLine) {
      if (visitor.Line(at[-1], at[0])) return true;
    } else if (flags & kCorePathQuad) {
      if (end - at > 1) {
        if (visitor.template Curve<2>(at - 1)) return true;
        at += 1;
      }
    } else if (flags & kCorePathCubic) {
      if (end - at > 2) {
        if (visitor.template Curve<3>(at - 1)) return true;
        at += 2;
      }
    } else if ((flags & kCorePathArc) && end - at > 3) {
      if (visitor.Arc(at - 1)) return true;
      at += 3;
    }
    if ((at->flags & kCorePathClose) && visitor.Line(*at, *start)) return true;
  }
  return false;
}

}  // namespace tovkit
