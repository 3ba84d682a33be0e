// SPDX-License-Identifier: MIT
// A plug-in that uses the library, for late_load_test.
#include <tovkit/json.h>

extern "C" __attribute__((visibility("default"))) int CountOfElements() {
  const char text[] = "[1, {\"a\": [2, 3]}, null]";
  const tovkit::SharedPtr<tovkit::JsonValue> root = tovkit::Json::Parse(text, sizeof text - 1, nullptr);
  return root ? static_cast<int>(root->Size()) : -1;
}
