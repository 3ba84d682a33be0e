// SPDX-License-Identifier: MIT
// Two decimal numbers with an x between them.
#include "page_size.h"

#include <charconv>
#include <cmath>
#include <system_error>

namespace jobs {

namespace {

// A positive decimal number at `from`, which moves behind it; nothing when there is none.
std::optional<float> ParseSide(const char*& from, const char* end) {
  float side = 0;
  const auto [next, error] = std::from_chars(from, end, side);
  if (error != std::errc() || !std::isfinite(side) || side <= 0) return std::nullopt;
  from = next;
  return side;
}

}  // namespace

std::optional<CoreSizeF> ParsePageSize(const std::string& text) {
  const char* at = text.data();
  const char* const end = at + text.size();
  const auto width = ParseSide(at, end);
  if (!width || at == end || (*at != 'x' && *at != 'X')) return std::nullopt;
  const auto height = ParseSide(++at, end);
  if (!height || at != end) return std::nullopt;
  return CoreSizeF{*width, *height};
}

}  // namespace jobs
