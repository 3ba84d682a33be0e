// SPDX-License-Identifier: MIT
// Names come from outside, and a terminal obeys control characters: they are replaced, never escaped, so that
// the width stays.
#include "text_output.h"

#include <tovkit/util.h>

#include <algorithm>

namespace cli {

// U+0080 to U+009F count too: terminals take them, one byte each in 8-bit codesets, for the start of an
// escape sequence.
bool IsControl(wchar_t c) { return c < 0x20 || (c >= 0x7f && c < 0xa0); }

std::string Printable(const std::string& local) {
  std::wstring text = tovkit::LocalToWide(local.c_str(), -1);
  std::replace_if(text.begin(), text.end(), IsControl, L'?');
  return tovkit::WideToLocal(text.c_str(), -1);
}

std::string Shortened(const std::string& text) {
  constexpr std::size_t kMostDigits = 100;  // 64 bits have 20; names of files may have a few more
  constexpr std::size_t kKept = 10;         // at either end
  std::string shortened;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t digits = std::min(text.find_first_not_of("0123456789", at), text.size()) - at;
    if (digits <= kMostDigits) {
      shortened += text.substr(at, digits + 1);  // with what ends them
    } else {
      shortened += text.substr(at, kKept) + "..." + text.substr(at + digits - kKept, kKept + 1);
    }
    at += digits + 1;
  }
  return shortened;
}

}  // namespace cli
