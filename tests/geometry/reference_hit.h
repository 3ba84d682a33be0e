// SPDX-License-Identifier: MIT
// ReferenceHitTestPath: the plain, slow statement of what HitTestPath answers.
//
// It collects every segment in an array, samples every curve with pow() and keeps its lists as lists. Nothing
// is skipped and nothing is shared with the shipped code, so that the two can be compared. The fuzz target
// for hit tests uses it too.
//
// Precision, decided once for both: coordinates, curve parameters and distances are float. Double are the
// weights and sums of a cubic curve, the product that makes t2, the comparisons with 0.0001 and 0.000001, and
// all of the conversion of an arc but the turn reduction of its rotation, which is float; the points it
// appends are float.
#pragma once

#include <tovmx/array.h>
#include <tovmx/path.h>

#include <vector>

namespace reference {

struct Segment {
  int type = 0;  // 1 line, 2 quadratic, 3 cubic
  CoreArray<CorePathPoint> points;
};

struct Counters {
  int right = 0;
  int downSide = 0;
  int left = 0;
  int upSide = 0;
};

// The turn reduction of a rotation by repeated subtraction; a rotation that the subtraction does not change
// is returned as it stands.
float ReduceTurns(float rotation);

// Converts the arc whose five records `arc` holds, appends it to `output`, and returns the number of
// segments.
int ConvertArc(const CorePath& arc, CorePath& output);

void BreakIntoSegments(const CorePath& path, CoreArray<Segment>& segments);

bool ReferenceHitTestPath(const CorePointF& point, float tolerance, const CorePath& path, float reserved,
                          bool testFill, CoreFillMode fillMode);

}  // namespace reference
