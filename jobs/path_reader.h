// SPDX-License-Identifier: MIT
// Reading a vector path: SVG path text, or a <path> of an SVG file.
#pragma once

#include "input.h"
#include "observer.h"

#include <tovmx/path.h>

#include <string>

namespace jobs {

// The path of an input of at most 16 MiB. An SVG file is told from path text by its content; in it the <path>
// with this id is taken, the first one for an empty id. The path is in its own coordinates, and the observer
// is warned when a transform would have changed them. Throws Error with line and column.
[[nodiscard]] CorePath ReadPath(const Input& input, const std::string& id, Observer& observer);

}  // namespace jobs
