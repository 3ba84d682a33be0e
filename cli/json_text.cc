// SPDX-License-Identifier: MIT
// Works on the compact text that the library writes, so that no other writer of JSON is needed.
#include "json_text.h"

#include <tovkit/util.h>

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdio>
#include <string>

namespace cli {

namespace {

constexpr int kDeepest = 100;

// Where the string that begins at `at` ends, behind its quote.
std::size_t EndOfString(std::string_view json, std::size_t at) {
  for (++at; json[at] != '"'; ++at) {
    if (json[at] == '\\') ++at;
  }
  return at + 1;
}

void Print(std::string_view text) { std::fwrite(text.data(), 1, text.size(), stdout); }

void PrintLineStart(int depth, int spaces) {
  std::putchar('\n');
  Print(std::string(static_cast<std::size_t>(std::min(depth, kDeepest) * spaces), ' '));
}

}  // namespace

void PrintIndented(std::string_view json, int spaces) {
  int depth = 0;
  for (std::size_t at = 0; at < json.size();) {
    const char c = json[at];
    if (c == '"') {
      const std::size_t end = EndOfString(json, at);
      Print(json.substr(at, end - at));
      at = end;
      continue;
    }
    const bool opens = c == '{' || c == '[';
    const bool closes = c == '}' || c == ']';
    const bool empty = opens && (json[at + 1] == '}' || json[at + 1] == ']');
    if (closes) PrintLineStart(--depth, spaces);
    std::putchar(c);
    if (c == ':') std::putchar(' ');
    if (c == ',') PrintLineStart(depth, spaces);
    if (opens && !empty) PrintLineStart(++depth, spaces);
    if (empty) std::putchar(json[++at]);
    ++at;
  }
}

void PrintUnquoted(std::string_view json) {
  std::string text;
  for (std::size_t at = 1; at + 1 < json.size(); ++at) {
    if (json[at] != '\\') {
      text += json[at];
      continue;
    }
    const char letter = json[++at];
    constexpr std::string_view kLetters = "bfnrt";
    if (const std::size_t which = kLetters.find(letter); which != std::string_view::npos) {
      text += "\b\f\n\r\t"[which];
    } else if (letter == 'u') {
      unsigned code = 0;
      std::from_chars(json.data() + at + 1, json.data() + at + 5, code, 16);
      const auto wide = static_cast<wchar_t>(code);
      text += code < 0x80 ? std::string(1, static_cast<char>(code)) : tovkit::WideToUtf8(&wide, 1);
      at += 4;
    } else {
      text += letter;
    }
  }
  Print(text);
}

}  // namespace cli
