// SPDX-License-Identifier: MIT
// What the conversions from and to JSON arrays share.
#pragma once

#include <tovkit/json.h>

namespace tovkit {

inline SharedPtr<JsonValue> NewArray() { return Json::Parse("[]", 2, nullptr); }

inline bool IsArray(const SharedPtr<const JsonValue>& value) {
  return value && value->GetType() == JsonArray;
}

}  // namespace tovkit
