// SPDX-License-Identifier: MIT
// JSON as it is written by hand, a piece at a time.
#pragma once

#include <string>
#include <string_view>

namespace jobs {

// Appends the string with its quotation marks. A byte that is no UTF-8, as in some file names, becomes an
// escape from \udc80 to \udcff, so that the name can be found again.
void AppendJsonString(std::string& json, std::string_view text);

// What AppendJsonString was given, from the value of the string that it has written.
[[nodiscard]] std::string FromJsonString(std::string_view value);

// Whether the text is UTF-8, without surrogates.
[[nodiscard]] bool IsUtf8(const std::string& text);

// A text in the local codeset as UTF-8, with U+FFFD for bytes that are no text.
[[nodiscard]] std::string ValidUtf8(const std::string& local);

}  // namespace jobs
