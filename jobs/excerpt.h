// SPDX-License-Identifier: MIT
// The line of a text around a place, short enough to be shown.
#pragma once

#include "error.h"

#include <cstddef>
#include <string_view>

namespace jobs {

// The line that holds the byte at `offset`, or ends there. A long line is cut to about 60 bytes on either
// side, between code points, with "..." where something is missing. Precondition: offset <= text.size().
Excerpt ExcerptAt(std::string_view text, std::size_t offset);

}  // namespace jobs
