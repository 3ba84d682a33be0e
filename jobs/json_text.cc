// SPDX-License-Identifier: MIT
// A string without special characters is copied; any other goes through wide text, which turns bytes that are
// no UTF-8 into code points of their own.
#include "json_text.h"

#include <tovkit/util.h>

#include <algorithm>
#include <cstdio>

namespace jobs {

namespace {

bool IsPlain(char c) { return c >= ' ' && c <= '~' && c != '"' && c != '\\'; }

void AppendCharacter(std::string& json, wchar_t c) {
  if (c < ' ' || c == 0x7f || (c >= 0xd800 && c <= 0xdfff)) {
    char escape[8];
    std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(c));
    json += escape;
    return;
  }
  if (c == '"' || c == '\\') json += '\\';
  if (c < 0x80) {
    json += static_cast<char>(c);
  } else {
    json += tovkit::WideToUtf8(&c, 1);
  }
}

}  // namespace

void AppendJsonString(std::string& json, std::string_view text) {
  json += '"';
  if (std::all_of(text.begin(), text.end(), IsPlain)) {
    json += text;
  } else {
    for (const wchar_t c : tovkit::Utf8ToWide(text.data(), static_cast<int>(text.size()))) {
      AppendCharacter(json, c);
    }
  }
  json += '"';
}

std::string FromJsonString(std::string_view value) {
  // U+DC80 to U+DCFF are ED B2 80 to ED B3 BF.
  const auto isByte = [](std::string_view c) {
    return c.size() == 3 && (c[1] == '\xB2' || c[1] == '\xB3') && (c[2] & '\xC0') == '\x80';
  };
  std::string text;
  for (std::size_t at = 0; at < value.size(); ++at) {
    if (value[at] != '\xED' || !isByte(value.substr(at, 3))) {
      text += value[at];
      continue;
    }
    text += static_cast<char>((value[at + 1] == '\xB2' ? 0x80 : 0xC0) | (value[at + 2] & 0x3F));
    at += 2;
  }
  return text;
}

bool IsUtf8(const std::string& text) {
  if (std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; })) {
    return true;
  }
  const std::wstring wide = tovkit::Utf8ToWide(text.data(), static_cast<int>(text.size()));
  return std::none_of(wide.begin(), wide.end(), [](wchar_t c) { return c >= 0xD800 && c <= 0xDFFF; });
}

std::string ValidUtf8(const std::string& local) {
  std::wstring text = tovkit::LocalToWide(local.c_str(), -1);
  std::replace_if(
      text.begin(), text.end(), [](wchar_t c) { return c >= 0xD800 && c <= 0xDFFF; }, L'\xFFFD');
  return tovkit::WideToUtf8(text.c_str(), static_cast<int>(text.size()));
}

}  // namespace jobs
