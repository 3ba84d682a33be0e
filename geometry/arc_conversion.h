// Elliptical arcs as cubic curves.
#pragma once

#include <tovmx/path.h>

namespace tovkit {

// Brings a rotation in radians to less than a turn (6.2831855) and not below -0.0001, by the subtractions or
// additions of a turn that single precision gives, with their rounding. From 2^27 upwards a turn is lost in
// the rounding and the loop would not end: such a rotation, an infinity and NaN are returned as they stand.
float ReduceTurns(float rotation);

// Converts an arc to cubic curves and appends them to `output`: one MoveTo, then a CubicTo for each quarter
// turn or part of one. `arc` holds the records of MoveTo and ArcTo, five in all. Returns the number of
// curves; 0 when the arc is degenerate (equal ends, a radius of 0, numbers that are not finite).
//
// The rule is that of the SVG elliptical arc (SVG 1.1, implementation notes F.6), computed on the unit circle
// from the end point to the start point and reflected through the middle of the chord.
int ConvertArc(const CorePathPoint* arc, CorePath& output);

}  // namespace tovkit
