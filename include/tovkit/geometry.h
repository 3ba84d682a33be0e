// SPDX-License-Identifier: MIT
/// \file
/// Hit testing: does a point touch a vector path?
///
/// HitTestPath answers whether a point lies on a path's outline within a tolerance or, when asked, inside the
/// shape. It is made for viewers that test every shape of a page at every move of the mouse: it allocates
/// nothing, and a segment that is too far away to matter costs little more than its bounding box.
///
/// Thread-safety: may be called from any thread. The path must not change during the call.
///
/// \code{.cc}
/// CorePath square;
/// square.MoveTo(0, 0);
/// square.LineTo(10, 0);
/// square.LineTo(10, 10);
/// square.LineTo(0, 10);
/// square.Close();
/// tovkit::HitTestPath({5, 5}, 0.5f, square, 0, true, kCoreFillWinding);   // true: inside
/// tovkit::HitTestPath({5, 5}, 0.5f, square, 0, false, kCoreFillWinding);  // false: no edge is near
/// \endcode
#pragma once

#include <tovkit/export.h>
#include <tovmx/geometry.h>
#include <tovmx/path.h>

#include <cstddef>

namespace tovkit {

/// \defgroup hit_testing Hit testing
/// @{

/// True when `point` touches `path`; false otherwise, for an empty path too. Never fails: records whose
/// followers are missing are skipped, and NaN or infinite numbers only make comparisons false.
///
/// \param point      in path units
/// \param tolerance  in path units: curves and the ends of lines are hit within this distance, lines beside
///                   them within 1.41 times it. With a negative one or NaN the outline is never hit.
/// \param path       must not change during the call
/// \param reserved   has no effect
/// \param testFill   true: a point inside the shape is a hit as well
/// \param fillMode   has no effect
/// \return whether the point touches the path
///
/// What callers should know:
///
/// - Inside means that the rays from the point to the left, right, up and down each cross the outline at
///   least once. It is neither the even-odd nor the winding rule: a point in the hole of a ring is inside, a
///   point in an open U is not.
/// - A point that is outside a curve's control-point box in both x and y never hits that curve, however large
///   the tolerance is.
/// - A point exactly level with a horizontal edge, or exactly above or below a vertical one, hits it at any
///   distance. Any other point beside an edge, sloping or not, hits it within 1.41 times the tolerance,
///   measured along an axis.
/// - A curve is sampled at 51 points and refined near the nearest one. Points of a long curve that lie
///   between two samples can be missed by a tolerance much smaller than their spacing.
/// - A ray crosses a curve where the samples on either side of it are closer together than the two
///   neighboring samples that are farthest apart. So it does not cross between these two, nor exactly at an
///   end or at a sample whose two neighbors are as far apart. The center of a circle made of four quarters is
///   not inside.
/// - A vertical edge counts as crossed by the ray towards it even from above or below it, and so does a
///   horizontal edge from beside it.
/// - A segment without length, such as the closing one of a subpath that ends where it began, is hit by
///   points within the tolerance that are off it in both x and y, and by no others. So a closed circle of
///   curves is hit in the corner regions of its seam, where its curves never are.
/// - Arcs with equal ends, a radius of 0 or numbers that are not finite draw nothing.
///
/// Takes no memory from the heap and throws nothing.
TOVKIT_API bool HitTestPath(const CorePointF& point, float tolerance, const CorePath& path, float reserved,
                            bool testFill, CoreFillMode fillMode);

/// The rays of the inside test, as bits.
enum HitTestRay : unsigned {
  kHitTestRayRight = 1,  ///< towards greater x
  kHitTestRayDown = 2,   ///< towards greater y
  kHitTestRayLeft = 4,   ///< towards smaller x
  kHitTestRayUp = 8,     ///< towards smaller y
};

/// What HitTestPathDetail tells.
struct HitTestDetail {
  bool hit = false;   ///< the answer of HitTestPath
  int record = -1;    ///< the record that the first segment that is hit begins with: that of the line, the
                      ///< first of the curve or arc, the one that a subpath is closed after; -1 without a hit
                      ///< and when only the rays decided
  unsigned rays = 0;  ///< HitTestRay bits of the rays that cross the outline, when the inside was asked for
                      ///< and no segment is hit; all four make the point a hit
  double distance = 0;  ///< from the point to the nearest point drawn, in path units, whether hit or not;
                        ///< infinite when the path draws nothing or the point is not finite
};

/// As HitTestPath, and why: which record decided, which rays crossed, how far away the outline is.
///
/// The verdict is always HitTestPath's, with all that is said there. The distance is the Euclidean one to the
/// lines and curves as they are drawn, to some seven digits; segments whose numbers are not finite do not
/// count. It is no verdict: a point may be nearer than the tolerance and no hit, or farther and a hit.
///
/// \param point      in path units
/// \param tolerance  as for HitTestPath
/// \param path       must not change during the call
/// \param testFill   true: a point inside the shape is a hit as well
/// \return the verdict and its reasons
///
/// Takes no memory from the heap and throws nothing. Looks at every segment, which takes some 3 microseconds
/// for a curve.
///
/// \code{.cc}
/// CorePath line;
/// line.MoveTo(0, 0);
/// line.LineTo(10, 0);
/// const HitTestDetail near = HitTestPathDetail({5, 3}, 1, line, false);   // no hit, record -1, distance 3
/// \endcode
[[nodiscard]] TOVKIT_API HitTestDetail HitTestPathDetail(const CorePointF& point, float tolerance,
                                                         const CorePath& path, bool testFill);

/// Asks HitTestPath for many points at once: hits[i] becomes what it answers for points[i], always. From some
/// hundred points on the path is prepared first, one of many curves from a thousand or two, and then the time
/// of a point hardly depends on the number of segments.
///
/// \param points     `count` of them, in path units; not null unless `count` is 0
/// \param count      how many
/// \param tolerance  as for HitTestPath
/// \param path       must not change during the call
/// \param testFill   true: points inside the shape are hits as well
/// \param hits       room for `count` answers; all of them are written
///
/// Takes memory for the time of the call: up to 2 KB for each line of the path and 50 KB for each curve, 6 KB
/// where there are more than 1,024 curves or fewer than 350 points for each; from 16,384 points on up to 500
/// KB more. Without it, and with a path of more than 131,072 records, the points are asked one by one, which
/// takes none. Throws nothing and starts no threads: to use several, give each a part of the points.
///
/// \code{.cc}
/// CorePath line;
/// line.MoveTo(0, 0);
/// line.LineTo(10, 0);
/// const CorePointF points[] = {{5, 0.2f}, {5, 3}};
/// bool hits[2];
/// HitTestPathPoints(points, 2, 0.5f, line, false, hits);   // true, false
/// \endcode
TOVKIT_API void HitTestPathPoints(const CorePointF* points, std::size_t count, float tolerance,
                                  const CorePath& path, bool testFill, bool* hits);

/// @}

}  // namespace tovkit
