// SPDX-License-Identifier: MIT
// Numbers as people and SVG paths write them: decimal, finite, within what a float holds.
#pragma once

#include <optional>
#include <string>
#include <system_error>

namespace jobs {

// Reads the number at `from`, which moves behind it: "5", "-.5", "1e3"; no sign but '-', no "nan" or "inf",
// no hexadecimal digits. One that is too small for a double is 0. invalid_argument where no number is and
// result_out_of_range for one beyond a float; `from` and `value` stay as they were then.
[[nodiscard]] std::errc TakeNumber(const char*& from, const char* end, double& value);

// A text that is one such number and nothing else.
[[nodiscard]] std::optional<float> ParseNumber(const std::string& text);

// The text, with "..." for the middle of every very long row of digits.
[[nodiscard]] std::string Shortened(const std::string& text);

}  // namespace jobs
