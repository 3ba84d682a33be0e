// SPDX-License-Identifier: MIT
// ReadFast: the parser for texts without an error.
//
// It makes the document that RapidJSON's own parser makes, value for value and byte for byte of the pool, in
// a fraction of the time. It has no codes and no places of errors: those are ParseCarefully's business.
//
// Thread-safety: no state.
#pragma once

#include "document.h"

#include <cstddef>

namespace tovkit {

// Reads `length` bytes at `text`, or up to the first NUL byte among them, into `document`. False when they
// are not one valid array or object: the document's value is then as before, but its pool may hold remains.
[[nodiscard]] bool ReadFast(const char* text, std::size_t length, Document& document);

}  // namespace tovkit
