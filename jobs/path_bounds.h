// SPDX-License-Identifier: MIT
// The box of what a path draws.
#pragma once

#include "bounds.h"

#include <tovmx/path.h>

namespace jobs {

// The smallest box around the path's segments, as CoreWalkPath meets them, and its first record: curves count
// as far as they reach, not as their control points. Precondition: the path has records, all finite.
Bounds BoundsOf(const CorePath& path);

}  // namespace jobs
