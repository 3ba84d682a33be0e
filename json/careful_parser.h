// SPDX-License-Identifier: MIT
// ParseCarefully: the parser that knows every error.
#pragma once

#include "document.h"
#include "text_parser.h"

#include <cstddef>

namespace tovkit {

// Parses the text into `document`, whose value is as before after an error. Accepts the texts that
// RapidJSON's recursive parser accepts, with the same values; stops at the same places, with the same codes.
// It is slow, so ParseText uses it only for what ReadFast refuses.
[[nodiscard]] ParseResult ParseCarefully(const char* text, std::size_t length, Document& document);

}  // namespace tovkit
