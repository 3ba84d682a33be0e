// SPDX-License-Identifier: MIT
// Lengths of time as a person writes them: 500ms, 2s, 1.5m, 1h, or a bare number.
#pragma once

#include <string>

namespace cli {

// What a bare number counts in, in milliseconds.
constexpr int kMilliseconds = 1;
constexpr int kSeconds = 1000;

// Reads a length of time, rounded up to whole milliseconds, into `milliseconds`. Empty on success, otherwise
// what is wrong with the text, which may mean anything but a length from 0 to INT_MAX milliseconds (24 days);
// `milliseconds` is then as it was.
std::string ReadDuration(const std::string& text, int bareUnit, int& milliseconds);

}  // namespace cli
