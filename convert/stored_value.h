// SPDX-License-Identifier: MIT
// The one place that knows which kinds of JSON values convert, and how each is read.
#pragma once

#include <tovkit/json.h>

#include <cstdint>

namespace tovkit {

// Returns what `rule` makes of the stored value in its own type (std::int32_t, std::uint32_t, float, double,
// const char* or bool), or `fallback` for the kinds that do not convert and for an empty handle. Integers
// outside both 32-bit ranges are among those.
template <typename Result, typename Rule>
Result ConvertStored(const SharedPtr<const JsonValue>& value, Result fallback, const Rule& rule) {
  if (!value) return fallback;
  switch (value->GetType()) {
    case JsonInt:
      return rule(value->AsInt(nullptr));
    case JsonUint:
      return rule(value->AsUint(nullptr));
    case JsonFloat:
      return rule(value->AsFloat(nullptr));
    case JsonDouble:
      return rule(value->AsDouble(nullptr));
    case JsonString:
      return rule(value->AsString(nullptr));
    case JsonBoolean:
      return rule(value->AsBool(nullptr));
    default:
      return fallback;
  }
}

}  // namespace tovkit
