// SPDX-License-Identifier: MIT
// A whole number times a power of 1,024. A product beyond 64 bits is refused rather than wrapped.
#include "byte_count.h"

#include <charconv>
#include <limits>
#include <string_view>

namespace cli {

namespace {

// As a person would write it: "64M".
std::string Shown(std::uint64_t bytes) {
  constexpr std::string_view kUnits = "KMG";
  std::size_t steps = 0;
  for (; bytes != 0 && bytes % 1024 == 0 && steps < kUnits.size(); bytes /= 1024) ++steps;
  return std::to_string(bytes) + std::string(steps == 0 ? "" : kUnits.substr(steps - 1, 1));
}

}  // namespace

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

std::string ReadByteCount(const std::string& text, const ByteRange& range, std::uint64_t& bytes) {
  const auto count = ParseByteCount(text);
  if (!count) return "'" + text + "' is no size such as 4096, 64K, 64M or 1G";
  const bool isNone = range.orNone && *count == 0;
  if (!isNone && (*count < range.least || *count > range.most)) {
    const bool hasEnd = range.most != UINT64_MAX;
    return "'" + text + "' is not from " + Shown(range.least) +
           (hasEnd ? " to " + Shown(range.most) + " bytes" : " bytes on") +
           (range.orNone ? ", and not 0" : "");
  }
  bytes = *count;
  return "";
}

}  // namespace cli
