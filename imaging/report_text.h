// SPDX-License-Identifier: MIT
// Foreign texts in a report, which must be valid UTF-8.
#pragma once

#include <tovmx/string.h>

#include <string>

namespace tovkit {

inline constexpr int kMaxReportText = 1000;  // characters
inline constexpr int kMaxReportRuns = 1 << 18;

// The first `most` characters as UTF-8, with U+FFFD for those that are no characters.
[[nodiscard]] std::string ReportText(const wchar_t* characters, int count, int most);
[[nodiscard]] std::string ReportText(const char* utf8, int most);

}  // namespace tovkit
