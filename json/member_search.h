// SPDX-License-Identifier: MIT
// FindMember: the first member of an object that has a given name.
#pragma once

#include "document.h"

namespace tovkit {

// The value of the first member of `object` named `key`, a text that is not empty; null when there is none.
[[nodiscard]] Value* FindMember(Value& object, const char* key);

}  // namespace tovkit
