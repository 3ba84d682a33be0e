// SPDX-License-Identifier: MIT
// A parsed text and its elements, kept alive together.
#pragma once

#include <tovkit/json.h>

#include <cstring>
#include <string>

class Parsed {
 public:
  explicit Parsed(const std::string& text)
      : root_(tovkit::Json::Parse(text.data(), static_cast<unsigned>(text.size()), nullptr)) {}

  tovkit::SharedPtr<const tovkit::JsonValue> root() const { return root_; }
  tovkit::SharedPtr<const tovkit::JsonValue> operator[](int index) const { return root()->GetAt(index); }

 private:
  tovkit::SharedPtr<tovkit::JsonValue> root_;
};

inline std::string TextOf(const tovkit::SharedPtr<tovkit::JsonValue>& value) {
  return value ? value->ToString().c_str() : "(empty handle)";
}
