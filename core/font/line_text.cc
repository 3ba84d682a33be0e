// SPDX-License-Identifier: MIT
// What the libraries below cannot take is changed or left out here, before they see it: control characters,
// what is no character, and heaps of marks or directions, whose time grows with the square of their number.
#include "font/line_text.h"

#include <glib.h>

#include <cassert>
#include <cstddef>
#include <cstdint>

namespace tovmx {

namespace {

constexpr std::uint32_t kReplacement = 0xFFFD;

bool IsBreak(std::uint32_t c) { return (c >= 0x09 && c <= 0x0D) || c == 0x85 || c == 0x2028 || c == 0x2029; }

bool IsControl(std::uint32_t c) { return c < 0x20 || (c >= 0x7F && c < 0xA0); }

// Embeddings, overrides and isolates (Unicode Bidirectional Algorithm, 2).
bool IsDirection(std::uint32_t c) { return (c >= 0x202A && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069); }

// No text nests deeper than 125; the time that thousands of them take grows with the square.
constexpr int kMaxDirections = 1024;

// What joins the character before it: combining marks, joiners, variation selectors, tags.
bool IsAttached(std::uint32_t c) {
  if (c < 0x300 && c != 0xAD) return false;
  switch (g_unichar_type(c)) {
    case G_UNICODE_NON_SPACING_MARK:
    case G_UNICODE_SPACING_MARK:
    case G_UNICODE_ENCLOSING_MARK:
    case G_UNICODE_FORMAT:
      return true;
    default:
      return false;
  }
}

// No writing puts more than some thirty in a row; the time that a font's rules take for a heap of them grows
// with the square.
constexpr int kMaxAttached = 128;

bool IsSurrogate(std::uint32_t c) { return c >= 0xD800 && c <= 0xDFFF; }

// Code points that are never characters. The documents' writer refuses a whole page for one of them.
bool IsNonCharacter(std::uint32_t c) { return (c & 0xFFFE) == 0xFFFE || (c >= 0xFDD0 && c <= 0xFDEF); }

bool IsCharacter(std::uint32_t c) { return c <= 0x10FFFF && !IsSurrogate(c) && !IsNonCharacter(c); }

constexpr std::uint32_t kTextForm = 0xFE0E;

// Hands and persons that can have a skin color but are text by default (Unicode Technical Standard 51). The
// shaper takes everything that can have one for an emoji.
bool IsTextThatTakesSkin(std::uint32_t c) {
  switch (c) {
    case 0x261D:
    case 0x26F9:
    case 0x270C:
    case 0x270D:
    case 0x1F3CB:
    case 0x1F3CC:
    case 0x1F574:
    case 0x1F575:
    case 0x1F590:
      return true;
    default:
      return false;
  }
}

// A variation selector, a joiner or a skin color: the character before it has its form from it.
bool DecidesForm(std::uint32_t c) {
  return c == kTextForm || c == 0xFE0F || c == 0x200D || (c >= 0x1F3FB && c <= 0x1F3FF);
}

void AppendUtf8(std::string& text, std::uint32_t c) {
  const auto tail = [](std::uint32_t bits) { return static_cast<char>(0x80 | (bits & 0x3F)); };
  if (c < 0x80) {
    text += static_cast<char>(c);
  } else if (c < 0x800) {
    text += static_cast<char>(0xC0 | c >> 6);
    text += tail(c);
  } else if (c < 0x10000) {
    text += static_cast<char>(0xE0 | c >> 12);
    text += tail(c >> 6);
    text += tail(c);
  } else {
    text += static_cast<char>(0xF0 | c >> 18);
    text += tail(c >> 12);
    text += tail(c >> 6);
    text += tail(c);
  }
}

}  // namespace

std::string DrawableText(const wchar_t* characters, int count, std::vector<int>* sources) {
  assert(count >= 0);
  std::string text;
  text.reserve(static_cast<std::size_t>(count));
  const auto append = [&text, sources](std::uint32_t c, int source) {
    AppendUtf8(text, c);
    if (sources != nullptr) sources->push_back(source);
  };
  int directions = 0;
  int attached = 0;
  for (int i = 0; i < count; ++i) {
    auto c = static_cast<std::uint32_t>(characters[i]);  // NOLINT(bugprone-signed-char-misuse): 32 bits wide
    if (IsBreak(c)) {
      c = ' ';
    } else if (IsControl(c)) {
      continue;
    } else if (IsDirection(c)) {
      if (++directions > kMaxDirections) continue;
    } else if (!IsCharacter(c)) {
      c = kReplacement;
    }
    attached = IsAttached(c) ? attached + 1 : 0;
    if (attached > kMaxAttached) continue;
    append(c, i);
    if (!IsTextThatTakesSkin(c)) continue;
    if (i + 1 == count || !DecidesForm(static_cast<std::uint32_t>(characters[i + 1]))) {
      append(kTextForm, i);
    }
  }
  return text;
}

}  // namespace tovmx
