// SPDX-License-Identifier: MIT
// The one rule by which the eight types of the operation families read and make values.
#pragma once

#include "document.h"

#include <type_traits>

namespace tovkit {

// Reads `value` into `out` when T accepts it; else false, and `out` untouched. The stored number's flags
// decide; nothing is parsed.
template <typename T>
[[nodiscard]] bool ReadValue(const Value& value, T& out) {
  if constexpr (std::is_same_v<T, const char*>) {
    if (!value.IsString()) return false;
    out = value.GetString();
  } else if constexpr (std::is_same_v<T, bool>) {
    if (!value.IsBool()) return false;
    out = value.IsTrue();
  } else if constexpr (std::is_floating_point_v<T>) {
    // Compatibility: an integer beyond 32 signed bits is refused though it would fit.
    if (!value.IsInt() && !(std::is_same_v<T, float> ? value.IsFloat() : value.IsDouble())) return false;
    out = static_cast<T>(value.GetDouble());
  } else {
    // Compatibility: an unsigned read accepts negative integers and returns their two's complement.
    using Signed = std::make_signed_t<T>;
    if (value.Is<Signed>()) {
      out = static_cast<T>(value.Get<Signed>());
    } else if (std::is_unsigned_v<T> && value.Is<T>()) {
      out = value.Get<T>();
    } else {
      return false;
    }
  }
  return true;
}

// The value that stores `content`; a string is copied into `pool`.
template <typename T>
[[nodiscard]] Value MakeValue(T content, DocumentPool& pool) {
  if constexpr (std::is_same_v<T, const char*>) {
    return Value(content, pool);
  } else if constexpr (std::is_same_v<T, float>) {
    return Value(static_cast<double>(content));
  } else {
    return Value(content);
  }
}

}  // namespace tovkit
