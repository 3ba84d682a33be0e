// SPDX-License-Identifier: MIT
#include "query.h"

#include "jobs/json_text.h"

#include <algorithm>

namespace service {

namespace {

int DigitOf(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// False for a broken escape and for what no parameter holds.
bool Decode(std::string_view text, std::string& decoded) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    char c = text[i] == '+' ? ' ' : text[i];
    if (c == '%') {
      if (text.size() - i < 3) return false;
      const int high = DigitOf(text[i + 1]), low = DigitOf(text[i + 2]);
      if (high < 0 || low < 0) return false;
      c = static_cast<char>(high * 16 + low);
      i += 2;
    }
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) return false;
    decoded += c;
  }
  return jobs::IsUtf8(decoded);
}

}  // namespace

std::optional<QueryPairs> ParseQuery(std::string_view query) {
  QueryPairs pairs;
  for (std::size_t from = 0; from < query.size();) {
    const std::size_t to = std::min(query.find('&', from), query.size());
    const std::string_view pair = query.substr(from, to - from);
    from = to + 1;
    if (pair.empty()) continue;
    const std::size_t equals = std::min(pair.find('='), pair.size());
    auto& [name, value] = pairs.emplace_back();
    if (!Decode(pair.substr(0, equals), name)) return std::nullopt;
    if (!Decode(pair.substr(std::min(equals + 1, pair.size())), value)) return std::nullopt;
  }
  return pairs;
}

}  // namespace service
