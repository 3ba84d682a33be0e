// SPDX-License-Identifier: MIT
// JSON as jobs read it.
#pragma once

#include "input.h"

#include <tovkit/json.h>

namespace jobs {

// Reads and parses one input. Throws Error with the place and the reason when it is not JSON.
tovkit::SharedPtr<tovkit::JsonValue> ReadJson(const Input& input);

}  // namespace jobs
