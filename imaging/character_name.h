// SPDX-License-Identifier: MIT
// CharacterName: what Unicode calls a code point.
#pragma once

#include <string>

namespace tovkit {

// "LATIN SMALL LETTER A", "PRIVATE USE CHARACTER", "UNASSIGNED CHARACTER".
std::string CharacterName(char32_t character);

// "U+0041".
std::string CharacterNotation(char32_t character);

}  // namespace tovkit
