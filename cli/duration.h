// SPDX-License-Identifier: MIT
// Lengths of time as a person writes them: 500ms, 2s, 1.5m, 1h, or a bare number.
#pragma once

#include <string>

namespace cli {

// Units for bare numbers, in milliseconds.
constexpr int kMilliseconds = 1;
constexpr int kSeconds = 1000;

// Reads a length of time from 0 to INT_MAX milliseconds (24 days), rounded up to whole milliseconds. Returns
// an empty text on success, otherwise what is wrong; `milliseconds` is then as it was.
[[nodiscard]] std::string ReadDuration(const std::string& text, int bareUnit, int& milliseconds);

}  // namespace cli
