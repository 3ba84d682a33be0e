// SPDX-License-Identifier: MIT
// ParseCarefully: the parser that knows every error.
#pragma once

#include "document.h"
#include "text_parser.h"

#include <cstddef>

namespace tovkit {

// Parses the text into `document`, whose value is as before after an error. Accepts what RapidJSON's
// recursive parser accepts, with the same values, and stops where that one stops, with the same code. It is
// slow: ParseText asks it only for what ReadFast does not read.
[[nodiscard]] ParseResult ParseCarefully(const char* text, std::size_t length, Document& document);

}  // namespace tovkit
