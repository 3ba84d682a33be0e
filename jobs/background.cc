// SPDX-License-Identifier: MIT
// ParseColor reads any word as a number, so words such as "red" are refused before it sees them.
#include "background.h"

#include <tovkit/imaging.h>
#include <tovmx/color_space.h>

namespace jobs {

namespace {

// Whether each run of digits is a number from 0 to 255.
bool HoldsBytes(const std::string& text) {
  int number = 0;
  for (const char c : text) {
    number = c == ' ' ? 0 : 10 * number + (c - '0');
    if (number > 255) return false;
  }
  return true;
}

bool IsColorText(const std::string& text) {
  const bool isHex = text[0] == '#';
  return text.find_first_not_of(isHex ? "0123456789abcdefABCDEF" : "0123456789 ", isHex ? 1 : 0) ==
             std::string::npos &&
         (isHex || HoldsBytes(text));
}

}  // namespace

std::optional<std::uint32_t> ParseBackground(const std::string& text) {
  if (text == "none") return 0;
  // As web pages have it: each digit stands for two. A description's colors know no such form.
  if (text.size() == 4 && text[0] == '#') {
    return ParseBackground({'#', text[1], text[1], text[2], text[2], text[3], text[3]});
  }
  std::uint32_t color = 0;
  std::uint32_t kind = 0;
  if (!IsColorText(text) || !tovkit::ParseColor(text.c_str(), color, kind)) return std::nullopt;
  return CoreColorToArgb(color, kind);
}

}  // namespace jobs
