// SPDX-License-Identifier: MIT
// The rotation of an elliptical arc.
#pragma once

namespace tovmx {

// Brings a rotation in radians to less than a turn (6.2831855) and not below -0.0001, by the subtractions or
// additions of a turn that single precision gives, with their rounding. From 2^27 upwards a turn is lost in
// the rounding and the loop would not end: such a rotation, an infinity and NaN are returned as they stand.
float ReduceTurns(float rotation);

}  // namespace tovmx
