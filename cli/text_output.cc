// SPDX-License-Identifier: MIT
// Names come from outside, and a terminal obeys control characters. They are escaped rather than replaced, so
// that what hides in a name can be seen: a key with a zero width space looks like the right one.
#include "text_output.h"

#include <tovkit/util.h>
#include <tovmx/text_codec.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>

namespace cli {

namespace {

struct Range {
  char32_t first;
  char32_t last;
};

// In ascending order. U+0080 to U+009F count too: terminals take them, one byte each in 8-bit codesets, for
// the start of an escape sequence.
constexpr Range kEscaped[] = {
    {0x0000, 0x001F},                          // controls
    {0x007F, 0x009F},       {0x00AD, 0x00AD},  // soft hyphen
    {0x061C, 0x061C},                          // marks of direction
    {0x180E, 0x180E},                          // vowel separator
    {0x200B, 0x200B},                          // zero width space
    {0x200E, 0x200F},                          // marks of direction
    {0x2028, 0x202E},                          // line and paragraph separators, embeddings and overrides
    {0x2060, 0x206F},                          // invisible operators, isolates
    {0xD800, 0xDFFF},                          // bytes that are no text, surrogates
    {0xFEFF, 0xFEFF},                          // byte-order mark
    {0xFFF9, 0xFFFB},                          // annotations
    {0x110000, 0xFFFFFFFF},
};

bool LocalHoldsAll() {
  static const bool all = std::strcmp(CoreTextCodec::LocalCodeset(), "UTF-8") == 0;
  return all;
}

// Not to be asked of what IsEscaped.
bool IsInLocal(wchar_t c) {
  return static_cast<char32_t>(c) < 0x80 || LocalHoldsAll() || tovkit::WideToLocal(&c, 1) != "?";
}

std::wstring EscapeOf(wchar_t c) {
  const auto code = static_cast<char32_t>(c);
  constexpr std::wstring_view kShort = L"\t\n\r";
  if (const std::size_t which = kShort.find(c); which != std::wstring_view::npos) {
    return {L'\\', L"tnr"[which]};
  }
  const bool isByte = code >= 0xDC80 && code <= 0xDCFF;
  wchar_t escape[12];
  const wchar_t* const form = isByte || code < 0x80 ? L"\\x%02x" : code > 0xFFFF ? L"\\U%08x" : L"\\u%04x";
  const int length = std::swprintf(escape, std::size(escape), form, isByte ? code - 0xDC00 : code);
  return {escape, static_cast<std::size_t>(std::max(length, 0))};
}

}  // namespace

bool IsEscaped(wchar_t c) {
  const auto code = static_cast<char32_t>(c);
  const Range* const range = std::find_if(std::begin(kEscaped), std::end(kEscaped),
                                          [code](const Range& r) { return code <= r.last; });
  return range != std::end(kEscaped) && code >= range->first;
}

std::wstring Printable(std::wstring_view text) {
  std::wstring printable;
  for (const wchar_t c : text) {
    if (IsEscaped(c) || !IsInLocal(c)) {
      printable += EscapeOf(c);
    } else {
      printable += c;
    }
  }
  return printable;
}

std::string Printable(const std::string& local) {
  const std::wstring text = Printable(tovkit::LocalToWide(local.c_str(), -1));
  return tovkit::WideToLocal(text.c_str(), static_cast<int>(text.size()));
}

std::string PrintableUtf8(const std::string& utf8) {
  const std::wstring text = Printable(tovkit::Utf8ToWide(utf8.c_str(), -1));
  return tovkit::WideToLocal(text.c_str(), static_cast<int>(text.size()));
}

}  // namespace cli
