// SPDX-License-Identifier: MIT
// The documents of share/tovkit that the server hands out.
#pragma once

#include <string>
#include <string_view>

namespace service {

struct Document {
  std::string_view path;
  std::string_view mediaType;
  std::string_view text;
};

// Null when there is none of the path.
const Document* FindDocument(const std::string& path);

}  // namespace service
