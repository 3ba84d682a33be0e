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

}  // namespace cli
