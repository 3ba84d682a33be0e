// A path as straight lines, for drawing it.
#pragma once

#include <tovmx/path.h>

#include <functional>

namespace cli {

struct OutlinePoint {
  double x;
  double y;
};

struct OutlineLine {
  OutlinePoint from;
  OutlinePoint to;
};

// Calls `line` for each of the path's lines, with curves and arcs broken up. `scale` is the number of pixels
// in a unit; a curve gets as many lines as it needs to look smooth, 8 to 256. Arcs follow SVG 1.1,
// implementation notes F.6.
void TraceOutline(const CorePath& path, double scale, const std::function<void(const OutlineLine&)>& line);

}  // namespace cli
