// SPDX-License-Identifier: MIT
// Views of the given text, cut at the last dot or the last separator; only GetFileName returns a copy.
#include "tovkit/util.h"

#include "separators.h"

#include <climits>
#include <cstring>
#include <stdexcept>
#include <string_view>

namespace tovkit {

namespace {

constexpr auto kNone = std::string_view::npos;

std::string_view View(const char* path, int len) {
  if (path == nullptr) return "";
  return {path, len < 0 ? std::strlen(path) : static_cast<std::size_t>(len)};
}

std::size_t LastSeparator(std::string_view text) {
  std::size_t i = text.size();
  while (i > 0) {
    if (IsSeparator(text[--i])) return i;
  }
  return kNone;
}

CoreString TextOf(std::string_view text) {
  if (text.size() >= INT_MAX) throw std::length_error("GetFileName");
  return {text.data(), static_cast<int>(text.size())};
}

}  // namespace

const char* GetFileExtension(const char* path, int len) {
  const std::string_view text = View(path, len);
  const std::size_t dot = text.rfind('.');
  return dot == kNone ? "" : text.data() + dot;
}

const char* GetFileNamePart(const char* path, int len) {
  const std::string_view text = View(path, len);
  const std::size_t separator = LastSeparator(text);
  // Compatibility: a bare name returns "", which means "no directory given".
  return separator == kNone ? "" : text.data() + separator + 1;
}

CoreString GetFileName(const char* path, int len) {
  const std::string_view text = View(path, len);
  if (text.empty()) return {path, -1};  // Compatibility: a length of 0 returns the whole text

  const std::size_t separator = LastSeparator(text);
  const std::size_t first = separator == kNone ? 0 : separator + 1;
  const std::string_view component = text.substr(first);
  const std::size_t dot = component.rfind('.');
  if (dot != kNone) return TextOf(component.substr(0, dot));
  // Compatibility: without an extension, the component counts only when no directory but the root is named.
  if (separator != kNone && separator > 0) return {};
  return TextOf(component);
}

}  // namespace tovkit
