// SPDX-License-Identifier: MIT
// Cuts between code points, so that a message in UTF-8 stays UTF-8.
#include "excerpt.h"

#include <algorithm>
#include <cassert>

namespace jobs {

namespace {

constexpr std::size_t kKept = 60;  // bytes on either side
constexpr std::string_view kCut = "...";

bool StartsCodePoint(std::string_view text, std::size_t at) {
  return at == text.size() || (static_cast<unsigned char>(text[at]) & 0xC0) != 0x80;
}

}  // namespace

Excerpt ExcerptAt(std::string_view text, std::size_t offset) {
  assert(offset <= text.size());
  const std::size_t feed = text.substr(0, offset).rfind('\n');
  std::size_t from = feed == std::string_view::npos ? 0 : feed + 1;
  if (from == 0 && offset >= 3 && text.substr(0, 3) == "\xEF\xBB\xBF") from = 3;
  std::size_t to = std::min(text.find('\n', offset), text.size());
  if (to > offset && text[to - 1] == '\r') --to;
  const bool cutBefore = offset - from > kKept + kCut.size();
  const bool cutBehind = to - offset > kKept + kCut.size();
  // Bytes that are no UTF-8 may have no start at all.
  if (cutBefore) {
    for (from = offset - kKept; from < offset && !StartsCodePoint(text, from);) ++from;
  }
  if (cutBehind) {
    for (to = offset + kKept; to > offset && !StartsCodePoint(text, to);) --to;
  }
  Excerpt excerpt;
  if (cutBefore) excerpt.line = kCut;
  excerpt.at = excerpt.line.size() + offset - from;
  excerpt.line += text.substr(from, to - from);
  if (cutBehind) excerpt.line += kCut;
  return excerpt;
}

}  // namespace jobs
