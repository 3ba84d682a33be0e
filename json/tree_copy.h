// CopyTree: a deep copy of a value, strings included, at any depth.
#pragma once

#include "document.h"

namespace tovkit {

// A copy of `source` whose storage comes from `pool`.
Value CopyTree(const Value& source, DocumentPool& pool);

}  // namespace tovkit
