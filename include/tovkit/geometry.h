/// \file
/// Hit testing: does a point touch a vector path?
///
/// HitTestPath answers whether a point lies on a path's outline within a tolerance or, when asked, inside the
/// shape. It is made for viewers that test every shape of a page at every move of the mouse: it allocates
/// nothing (arcs aside), and a figure that is too far away to matter costs little more than its bounding box.
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

namespace tovkit {

/// \defgroup hit_testing Hit testing
/// @{

/// True when `point` touches `path`; false otherwise, for an empty path too. Never fails: records whose
/// followers are missing are skipped, and NaN or infinite numbers only make comparisons false.
///
/// \param point      in path units
/// \param tolerance  the greatest distance, in path units, at which the outline counts as hit. With a
/// negative
///                   one or NaN the outline is never hit.
/// \param path       must not change during the call
/// \param reserved   has no effect
/// \param testFill   true: a point inside the shape is a hit as well
/// \param fillMode   has no effect
/// \return whether the point touches the path
///
/// What callers should know, all of it kept because callers rely on it:
///
/// - Inside means that the rays from the point to the left, right, up and down each cross the outline at
///   least once. It is neither the even-odd nor the winding rule: a point in the hole of a ring is inside, a
///   point in an open U is not.
/// - A point that is outside a curve's control-point box in both x and y never hits that curve, however large
///   the tolerance is.
/// - A point exactly level with a horizontal edge, or exactly above or below a vertical one, hits it at any
///   distance. A sloping edge is hit within 1.41 times the tolerance, measured along an axis.
/// - A ray that meets a curve exactly at a sample, or between the two neighbouring samples that are farthest
///   apart, does not cross it. The centre of a circle made of four quarters is not inside.
/// - A curve is sampled at 51 points and refined near the nearest one. Points of a long curve that lie
///   between two samples can be missed by a tolerance much smaller than their spacing.
/// - A vertical edge counts as crossed by the ray towards it even from above or below it, and so does a
///   horizontal edge from beside it.
/// - A segment without length, such as the closing one of a figure that ends where it began, is hit by
///   points within the tolerance that are off it in both x and y, and by no others. So a closed circle of
///   curves is hit in the corner regions of its seam, where its curves never are.
/// - Arcs with equal ends, a radius of 0 or numbers that are not finite draw nothing.
///
/// Throws std::bad_alloc when the memory for an arc's curves is short; nothing leaks.
TOVKIT_API bool HitTestPath(const CorePointF& point, float tolerance, const CorePath& path, float reserved,
                            bool testFill, CoreFillMode fillMode);

/// @}

}  // namespace tovkit
