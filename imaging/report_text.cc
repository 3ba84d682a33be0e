// SPDX-License-Identifier: MIT
// A report is JSON, which must be UTF-8. Surrogates and other numbers that are no characters become U+FFFD,
// and the length is bounded before anything is copied.
#include "report_text.h"

#include <tovmx/text_codec.h>

#include <algorithm>

namespace tovkit {

namespace {

wchar_t CleanCharacter(wchar_t character) {
  const auto c = static_cast<char32_t>(character);
  return c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF) ? wchar_t{0xFFFD} : character;
}

bool IsAscii(wchar_t character) { return static_cast<char32_t>(character) < 0x80; }

}  // namespace

std::string ReportText(const wchar_t* characters, int count, int most) {
  count = std::max(0, std::min(count, most));
  if (std::all_of(characters, characters + count, IsAscii)) return {characters, characters + count};
  std::wstring text(characters, static_cast<std::size_t>(count));
  std::transform(text.begin(), text.end(), text.begin(), CleanCharacter);
  const CoreString utf8 = CoreTextCodec::Utf8Encode(text.c_str(), static_cast<int>(text.size()));
  return {utf8.c_str(), static_cast<std::size_t>(utf8.GetLength())};
}

std::string ReportText(const char* utf8, int most) {
  const char* end = utf8;
  while (*end > 0 && end - utf8 < most) ++end;
  if (*end == '\0' || end - utf8 == most) return {utf8, end};
  const CoreWideString text = CoreTextCodec::Utf8Decode(utf8, -1);
  return ReportText(text.c_str(), text.GetLength(), most);
}

}  // namespace tovkit
