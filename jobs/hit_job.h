// SPDX-License-Identifier: MIT
// HitJob: which points touch a path, and a picture of what does.
//
//   HitJob job{Input::File("tick.svgpath")};
//   job.points = {{5, 5}};
//   Observer silent;
//   const bool hit = Run(job, silent)[0];
#pragma once

#include "input.h"
#include "observer.h"
#include "output.h"

#include <tovmx/codec.h>
#include <tovmx/geometry.h>

#include <optional>
#include <string>
#include <vector>

namespace jobs {

struct HitJob {
  struct Map {
    Output output;
    CoreImageFormat format;
    int size = 512;  // pixels of the longer side
  };

  Input path;           // SVG path text, or an SVG file
  std::string id = {};  // of the <path> in an SVG file; the first one for an empty id
  float tolerance = 1;  // how far from the outline counts as hit, in the path's units
  bool fill = false;    // points inside hit as well
  std::vector<CorePointF> points = {};
  std::optional<Map> map = std::nullopt;
};

// Whether each of the points hits. Throws Error; an output file then stays as it was.
std::vector<bool> Run(const HitJob& job, Observer& observer);

}  // namespace jobs
