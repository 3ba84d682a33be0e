// SPDX-License-Identifier: MIT
// The way to one value of a JSON document, as people write it.
#pragma once

#include <tovkit/json.h>

#include <string>
#include <vector>

namespace cli {

// The names and indices that lead to a value, from the outside in.
struct JsonPath {
  std::vector<std::string> steps;
  bool pointer = false;  // indices are written as RFC 6901 has them, without zeros before them
};

// A text that begins with '/' is a JSON pointer (RFC 6901): "/Lines/0/a~1b". Any other text has dots between
// its steps, "Lines.0.Font". A backslash makes the next character a plain one: "a\.b" is one step, and "\/a"
// is the name "/a". The empty text is the document. Throws UsageError for a '~' of a pointer that is neither
// ~0 nor ~1.
[[nodiscard]] JsonPath ParseJsonPath(const std::string& text);

// What one step of the path leads to; null when there is nothing.
tovkit::SharedPtr<tovkit::JsonValue> Follow(tovkit::JsonValue& value, const JsonPath& path,
                                            const std::string& step);

}  // namespace cli
