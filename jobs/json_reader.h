// SPDX-License-Identifier: MIT
// JSON as jobs read it.
#pragma once

#include "input.h"

#include <tovkit/json.h>

#include <string>

namespace jobs {

inline constexpr const char* kNulInside = "text stands behind a NUL character, which is no JSON";

// Reads and parses one input. Throws Error with the place and the reason when it is not JSON. `source` may be
// null; else it gets the text.
[[nodiscard]] tovkit::SharedPtr<tovkit::JsonValue> ReadJson(const Input& input,
                                                            std::string* source = nullptr);

}  // namespace jobs
