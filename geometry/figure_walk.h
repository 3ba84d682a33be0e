// Breaking a path's records into figures: line segments and Bezier curves.
//
// Figures are handed over one by one as they are met, and never stored. The current point is always the
// record before the one looked at, so a figure's points are neighbouring records and nothing is copied.
#pragma once

#include "arc_conversion.h"

#include <tovmx/path.h>

namespace tovkit {

// The curves of one arc, with the two paths that the conversion needs.
class ArcCurves {
 public:
  // Converts the arc from `current` whose four records begin at `arc`. Returns the number of curves.
  int Convert(const CorePathPoint& current, const CorePathPoint* arc) {
    arc_.Clear();
    converted_.Clear();
    arc_.MoveTo(current.x, current.y);
    arc_.ArcTo(arc[0].x, arc[0].y, arc[1].x, arc[1].y, arc[2].x, arc[3].x, arc[3].y);
    return ConvertArc(arc_.GetPoints(), converted_);
  }

  // The four points of curve `k`. Valid until the next conversion.
  const CorePathPoint* Curve(int k) const { return converted_.GetPoints() + 3 * k; }

 private:
  CorePath arc_;
  CorePath converted_;
};

// Calls visitor.Segment(a, b) and visitor.Curve<degree>(points) for the figures of the `count` records, in
// order. Both return true to end the walk; so does this function then, and false when all was seen.
//
// A curve or an arc whose following records are missing is skipped. A figure that is closed before any was
// started is closed to the origin. Unknown flags mean nothing.
template <typename Visitor>
bool WalkFigures(const CorePathPoint* records, int count, Visitor& visitor) {
  const CorePathPoint origin;
  const CorePathPoint* start = &origin;
  const CorePathPoint* const end = records + count;
  ArcCurves arc;
  for (const CorePathPoint* at = records; at != end; ++at) {
    const std::uint32_t flags = at->flags;
    if (flags & kCorePathMove) {
      start = at;
    } else if (at == records) {
      // Without a current point there is nothing to draw from.
    } else if (flags & kCorePathLine) {
      if (visitor.Segment(at[-1], at[0])) return true;
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
      const int curves = arc.Convert(at[-1], at);
      for (int k = 0; k < curves; ++k) {
        if (visitor.template Curve<3>(arc.Curve(k))) return true;
      }
      at += 3;
    }
    if ((at->flags & kCorePathClose) && visitor.Segment(*at, *start)) return true;
  }
  return false;
}

}  // namespace tovkit
