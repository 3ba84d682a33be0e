// SPDX-License-Identifier: MIT
// Sizes as people write them: bytes, or a number with K, M or G behind it, 1024 to the step.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace cli {

// "64M", "64m" and "67108864" are the same. Nothing for a text that is no size or beyond 64 bits.
[[nodiscard]] std::optional<std::uint64_t> ParseByteCount(const std::string& text);

// Sizes that are taken.
struct ByteRange {
  std::uint64_t least = 0;
  std::uint64_t most = UINT64_MAX;
  bool orNone = false;  // takes 0 as well
};

// Reads a size of the range. Returns an empty text on success, otherwise what is wrong; `bytes` is then as it
// was.
[[nodiscard]] std::string ReadByteCount(const std::string& text, const ByteRange& range,
                                        std::uint64_t& bytes);

}  // namespace cli
