// SPDX-License-Identifier: MIT
// The text has been parsed before, so nothing is checked here but the end of the text.
#include "json_scan.h"

#include <tovkit/json.h>

#include <algorithm>

namespace jobs {

std::size_t SkipJsonSpace(std::string_view text, std::size_t at) {
  return std::min(text.find_first_not_of(" \t\r\n", at), text.size());
}

std::size_t SkipJsonString(std::string_view text, std::size_t at) {
  for (++at; at < text.size() && text[at] != '"'; ++at) {
    if (text[at] == '\\') ++at;
  }
  return std::min(at + 1, text.size());
}

std::size_t SkipJsonValue(std::string_view text, std::size_t at) {
  std::size_t depth = 0;
  do {
    at = std::min(text.find_first_of("\"{}[],: \t\r\n", at), text.size());
    if (at == text.size()) break;
    const char c = text[at];
    if (c == '"') {
      at = SkipJsonString(text, at);
      continue;
    }
    if (c == '{' || c == '[') ++depth;
    if (depth == 0) break;  // the end of a number or a word
    if (c == '}' || c == ']') --depth;
    ++at;
  } while (depth > 0);
  return at;
}

std::string ReadJsonString(std::string_view quoted) {
  if (quoted.find('\\') == std::string_view::npos) {
    return std::string(quoted.substr(1, std::max<std::size_t>(quoted.size(), 2) - 2));
  }
  const std::string array = "[" + std::string(quoted) + "]";
  const auto parsed = tovkit::Json::Parse(array.data(), static_cast<unsigned>(array.size()), nullptr);
  return parsed ? parsed->GetAtString(0, "") : "";
}

std::size_t FindNulInside(std::string_view text) {
  const std::size_t nul = text.find('\0');
  return nul == std::string_view::npos || text.find_first_not_of('\0', nul) == std::string_view::npos
             ? std::string_view::npos
             : nul;
}

}  // namespace jobs
