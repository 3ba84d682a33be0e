// SPDX-License-Identifier: MIT
// The compact text of a JSON value as people and shells want it.
#pragma once

#include <string_view>

namespace cli {

// Prints the text over several lines and indents each level by `spaces` more, up to 100 levels: without that
// bound the output of a deep document would grow with the square of its depth. Precondition: a compact JSON
// text.
void PrintIndented(std::string_view json, int spaces);

// Prints what a string holds, without quotes and escapes. Precondition: the compact JSON text of a string.
void PrintUnquoted(std::string_view json);

}  // namespace cli
