// SPDX-License-Identifier: MIT
// What is done with a value and all below it, at any depth: a deep copy, and its text.
#pragma once

#include "document.h"

#include <tovmx/string.h>

namespace tovkit {

// A copy of `source`, strings included, whose storage comes from `pool`. Throws std::bad_alloc.
[[nodiscard]] Value CopyTree(const Value& source, DocumentPool& pool);

// The compact JSON text of `root`. It ends before the first double that is NaN or infinite. Throws
// std::bad_alloc, and std::length_error for a text of INT_MAX bytes and more.
[[nodiscard]] CoreString WriteTree(const Value& root);

}  // namespace tovkit
