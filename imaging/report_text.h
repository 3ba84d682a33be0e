// SPDX-License-Identifier: MIT
// Texts of others in a report, which has to be valid UTF-8.
#pragma once

#include <tovmx/string.h>

#include <string>

namespace tovkit {

inline constexpr int kMaxReportText = 1000;  // characters
inline constexpr int kMaxReportRuns = 1 << 18;

// UTF-8 of the first `most` characters; what is no character is U+FFFD.
std::string ReportText(const wchar_t* characters, int count, int most);
std::string ReportText(const char* utf8, int most);

}  // namespace tovkit
