// SPDX-License-Identifier: MIT
/// \file
/// CoreWalkPath: the segments of a path, lines, Bezier curves and arcs, one after the other.
///
/// Segments are handed over as they are met, and never stored. The current point is always the record before
/// the one looked at, so the points of a segment are neighboring records and nothing is copied:
///
///     records   M  L  C1 C2 E  A1 A2 A3 E
///     line      [0  1]
///     cubic        [0  1  2  3]
///     arc                   [0  1  2  3  4]
///
/// Thread-safety: may be called from any thread. The records must not change during the call.
///
/// \code{.cc}
/// struct Counter {
///   int lines = 0, curves = 0, arcs = 0;
///   bool Line(const CorePathPoint& from, const CorePathPoint& to) { return ++lines, false; }
///   bool Quad(const CorePathPoint* points) { return ++curves, false; }
///   bool Cubic(const CorePathPoint* points) { return ++curves, false; }
///   bool Arc(const CorePathPoint* records) { return ++arcs, false; }
///   bool Close(const CorePathPoint& from, const CorePathPoint& start) { return Line(from, start); }
/// };
///
/// CorePath path;
/// path.MoveTo(0, 0);
/// path.LineTo(10, 0);
/// path.QuadTo(10, 10, 0, 10);
/// path.Close();
/// Counter counter;
/// CoreWalkPath(path.GetPoints(), path.GetPointCounter() + 1, counter);   // two lines, one curve
/// \endcode
#pragma once

#include <tovmx/path.h>

/// Calls visitor.Line(from, to), visitor.Quad(points), visitor.Cubic(points), visitor.Arc(records) and
/// visitor.Close(from, start) for the segments of the `count` records at `records`, in order. `points` are
/// the 3 or 4 control points, the first being where the curve starts; `records` are the point that the arc
/// starts from and the four records of ArcTo, as CoreArcToCubics takes them; Close is the line that closes a
/// subpath.
///
/// They return true to end the walk; so does this function then, and false when all was seen. What they
/// throw is passed on.
///
/// A first record that is no move is the current point and draws nothing. A curve or an arc whose following
/// records are missing is skipped. A subpath that is closed before any was started is closed to the origin.
/// Of several flags of one record the first in the order of CorePathFlag from move to arc counts; unknown
/// flags mean nothing.
template <typename Visitor>
bool CoreWalkPath(const CorePathPoint* records, int count, Visitor& visitor) {
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
        if (visitor.Quad(at - 1)) return true;
        at += 1;
      }
    } else if (flags & kCorePathCubic) {
      if (end - at > 2) {
        if (visitor.Cubic(at - 1)) return true;
        at += 2;
      }
    } else if ((flags & kCorePathArc) && end - at > 3) {
      if (visitor.Arc(at - 1)) return true;
      at += 3;
    }
    if ((at->flags & kCorePathClose) && visitor.Close(*at, *start)) return true;
  }
  return false;
}
