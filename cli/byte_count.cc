// SPDX-License-Identifier: MIT
// A whole number times a power of 1,024. A product beyond 64 bits is refused rather than wrapped.
#include "byte_count.h"

#include <charconv>
#include <limits>

namespace cli {

std::optional<std::uint64_t> ParseByteCount(const std::string& text) {
  const char* const end = text.data() + text.size();
  std::uint64_t count = 0;
  const auto [behind, error] = std::from_chars(text.data(), end, count);
  if (error != std::errc()) return std::nullopt;
  if (behind == end) return count;
  const std::string::size_type step = std::string("KMGkmg").find(*behind);
  if (step == std::string::npos || behind + 1 != end) return std::nullopt;
  const auto shift = 10 * (step % 3 + 1);
  if (count > std::numeric_limits<std::uint64_t>::max() >> shift) return std::nullopt;
  return count << shift;
}

std::string ReplaceByteCount(std::string& text, std::uint64_t least, std::uint64_t most) {
  const auto count = ParseByteCount(text);
  if (!count) return "'" + text + "' is no size such as 4096, 64K, 64M or 1G";
  if (*count < least || *count > most) {
    return "'" + text + "' is not from " + std::to_string(least) + " to " + std::to_string(most) + " bytes";
  }
  text = std::to_string(*count);
  return "";
}

}  // namespace cli
