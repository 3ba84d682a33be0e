// SPDX-License-Identifier: MIT
// How texts from outside (file names, process names, lines of JSON) are printed for people.
#pragma once

#include "jobs/number_text.h"

#include <string>
#include <string_view>

namespace cli {

// The text with an escape, such as \x1b or \u202e, for each character that steers a terminal, turns the
// direction of reading or cannot be seen, that the local codeset does not hold, and for each byte that is no
// text. Joiners stay, which letters and emoji need.
[[nodiscard]] std::wstring Printable(std::wstring_view text);

// The same of a local text, so that a name can neither break a line nor steer a terminal, and of a UTF-8 one,
// which becomes local.
[[nodiscard]] std::string Printable(const std::string& local);
[[nodiscard]] std::string PrintableUtf8(const std::string& utf8);

// Whether Printable shows the character by an escape in every codeset.
[[nodiscard]] bool IsEscaped(wchar_t c);

using jobs::Shortened;

}  // namespace cli
