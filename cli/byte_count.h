// SPDX-License-Identifier: MIT
// Sizes as people write them: bytes, or a number with K, M or G behind it, 1024 to the step.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace cli {

// "64M", "64m" and "67108864" are the same. Nothing for a text that is no size or beyond 64 bits.
[[nodiscard]] std::optional<std::uint64_t> ParseByteCount(const std::string& text);

// Replaces the text by its number of bytes, for a parser that knows only numbers. Returns an empty text. When
// the text is no size, or not from `least` to `most`, returns what is wrong and leaves it as it was.
[[nodiscard]] std::string ReplaceByteCount(std::string& text, std::uint64_t least, std::uint64_t most);

}  // namespace cli
