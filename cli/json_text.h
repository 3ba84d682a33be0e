// SPDX-License-Identifier: MIT
// The compact text of a JSON value as people and shells want it.
#pragma once

#include <string_view>

namespace cli {

// Prints the text over several lines, each level `spaces` further in; beyond 100 levels no further, since a
// deep document would become as much larger as it is deep. Precondition: a compact JSON text.
void PrintIndented(std::string_view json, int spaces);

// Prints what a string holds, without quotes and escapes. Precondition: the compact JSON text of a string.
void PrintUnquoted(std::string_view json);

}  // namespace cli
