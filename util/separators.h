// SPDX-License-Identifier: MIT
// The characters that separate the components of a path: both, on every platform.
#pragma once

namespace tovkit {

// The separator that paths are built with.
constexpr char kSeparator = '/';

constexpr bool IsSeparator(char c) { return c == '\\' || c == '/'; }

}  // namespace tovkit
