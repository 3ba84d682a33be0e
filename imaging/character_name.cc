// SPDX-License-Identifier: MIT
// Names are those of libunistring, which leaves private and unassigned code points without one.
#include "character_name.h"

#include <uniname.h>

#include <cstdio>

namespace tovkit {

std::string CharacterName(char32_t character) {
  char name[UNINAME_MAX];
  if (unicode_character_name(character, name) != nullptr) return name;
  const bool isPrivate = (character >= 0xE000 && character <= 0xF8FF) || character >= 0xF0000;
  return isPrivate ? "PRIVATE USE CHARACTER" : "UNASSIGNED CHARACTER";
}

std::string CharacterNotation(char32_t character) {
  char text[16];
  std::snprintf(text, sizeof text, "U+%04X", static_cast<unsigned>(character));
  return text;
}

}  // namespace tovkit
