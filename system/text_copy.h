// SPDX-License-Identifier: MIT
// A copy of a C text in an array of its own.
#pragma once

#include <cstddef>
#include <cstring>
#include <memory>

namespace tovkit {

[[nodiscard]] inline std::unique_ptr<char[]> CopyText(const char* text) {
  const std::size_t size = std::strlen(text) + 1;
  std::unique_ptr<char[]> copy(new char[size]);
  std::memcpy(copy.get(), text, size);
  return copy;
}

}  // namespace tovkit
