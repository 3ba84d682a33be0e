// What separates the components of a path, on every platform.
#pragma once

namespace tovkit {

constexpr bool IsSeparator(char c) { return c == '\\' || c == '/'; }

}  // namespace tovkit
