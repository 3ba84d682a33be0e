// SPDX-License-Identifier: MIT
// UTF-8 as the core reads and writes it: strict (RFC 3629), and lossless for bytes that are no UTF-8.
//
// A byte that begins no well-formed sequence becomes U+DC80 to U+DCFF, one character a byte, and is written
// back as that byte. Overlong forms, encoded surrogates and values above U+10FFFF are no UTF-8.
//
// Escapes side by side whose bytes would read as a character (no UTF-8 decodes to them, another codeset may)
// are written as encoded surrogates, three bytes each, and only such rows of encoded surrogates decode to
// escapes of their bytes. So bytes of any codeset survive the way through UTF-8.
//
// Thread-safety: pure functions.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tovmx {

inline constexpr std::uint32_t kEscapeBase = 0xDC00;  // an escaped byte b is the character kEscapeBase + b
inline constexpr char kReplacement = '?';             // what a character becomes that cannot be written

constexpr std::uint32_t ValueOf(wchar_t c) { return static_cast<std::uint32_t>(c); }
constexpr wchar_t EscapeByte(unsigned char byte) { return static_cast<wchar_t>(kEscapeBase + byte); }
constexpr bool IsEscapedByte(std::uint32_t c) { return c - (kEscapeBase + 0x80) < 0x80; }
constexpr bool IsSurrogate(std::uint32_t c) { return (c & 0xFFFFF800U) == 0xD800; }

// Writes at most `length` characters to `out` and returns how many.
std::size_t DecodeUtf8(const char* text, std::size_t length, wchar_t* out);

// Writes the UTF-8 form to `out`, which has room for four bytes a character or for Utf8Size(...) bytes, and
// returns the number of bytes.
std::size_t EncodeUtf8(const wchar_t* text, std::size_t length, char* out);

// How many bytes EncodeUtf8 writes.
std::size_t Utf8Size(const wchar_t* text, std::size_t length);

}  // namespace tovmx
