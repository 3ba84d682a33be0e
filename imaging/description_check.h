// SPDX-License-Identifier: MIT
// CheckDescription: finds members of a description that are not used as they were most likely meant.
#pragma once

#include <tovkit/json.h>

#include <tovmx/string.h>

#include <cstddef>
#include <string>
#include <vector>

namespace tovkit {

// In points. The em of a larger one is beyond what a device draws.
inline constexpr int kLargestFontSize = 75000;

// In characters. A device refuses a longer one.
inline constexpr int kLongestLine = 262144;

// UTF-8, all of it valid.
struct DescriptionWarning {
  const char* kind;     // "unknown-key", "duplicate-key", "wrong-type", "out-of-range", "color", "text"
  std::string pointer;  // RFC 6901, from the description
  std::string message;
  std::string nearest;  // for an unknown key, the known one that may be meant; else empty
  // For a key, which member of its object it is, from 0; else -1. A pointer cannot tell keys of the same name
  // apart, nor name one whose bytes are no UTF-8.
  int member;
};

struct DescriptionCheck {
  std::size_t count = 0;  // of all warnings
  std::vector<DescriptionWarning> warnings;
};

// Keeps the first `limit` warnings. `text` is the description's "Content", empty when it has none.
[[nodiscard]] DescriptionCheck CheckDescription(const JsonValue& description, const CoreWideString& text,
                                                std::size_t limit);

}  // namespace tovkit
