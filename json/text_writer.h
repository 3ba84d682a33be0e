// WriteTree: a value as compact JSON text.
#pragma once

#include "document.h"

#include <tovmx/string.h>

namespace tovkit {

// The text of `root` and all below it. The text ends where a double is met that is NaN or infinite.
CoreString WriteTree(const Value& root);

}  // namespace tovkit
