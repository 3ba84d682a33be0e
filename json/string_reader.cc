// SPDX-License-Identifier: MIT
// Most strings are short and plain, and the header's few lines read them. Here are the others: a string that
// is longer than a value holds, one at the end of the text, and one with escapes. What escapes mean is
// collected in a buffer, because the pool is asked once for the whole string.
#include "string_reader.h"

#include <array>

namespace tovkit {

namespace {

// The byte that an escape of one letter means, by the letter behind the backslash.
constexpr std::array<char, 256> kEscapes = [] {
  std::array<char, 256> table = {};
  constexpr struct {
    char letter;
    char byte;
  } kRows[] = {{'"', '"'},  {'\\', '\\'}, {'/', '/'},  {'b', '\b'},
               {'f', '\f'}, {'n', '\n'},  {'r', '\r'}, {'t', '\t'}};
  for (const auto& row : kRows) table[static_cast<unsigned char>(row.letter)] = row.byte;
  return table;
}();

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  const char letter = static_cast<char>(c | 0x20);
  return letter >= 'a' && letter <= 'f' ? letter - 'a' + 10 : -1;
}

}  // namespace

// The first byte from `text` on that ends a plain run, or the end of the text.
const char* StringReader::FindSpecial(const char* text) const {
  for (; end_ - text >= kBlock; text += kBlock) {
    const unsigned special = SpecialBytes(LoadBytes(text));
    if (special != 0) return text + std::countr_zero(special);
  }
  while (text != end_ && !IsSpecialByte(*text)) ++text;
  return text;
}

const char* StringReader::ReadRest(const char* text, Value* place) {
  const char* const special = FindSpecial(text);
  if (special == end_) return nullptr;
  if (*special == '\\') return ReadEscaped(text, special, place);
  if (*special != '"') return nullptr;
  Store(text, static_cast<std::size_t>(special - text), place);
  return special + 1;
}

const char* StringReader::ReadEscaped(const char* text, const char* escape, Value* place) {
  unescaped_.assign(text, escape);
  for (;;) {
    const char* const plain = AppendEscape(escape + 1);
    if (plain == nullptr) return nullptr;
    escape = FindSpecial(plain);
    unescaped_.insert(unescaped_.end(), plain, escape);
    if (escape == end_ || *escape != '\\') break;
  }
  if (escape == end_ || *escape != '"') return nullptr;
  Store(unescaped_.data(), unescaped_.size(), place);
  return escape + 1;
}

// Appends the meaning of an escape; `text` is behind its backslash. Returns the place behind it.
const char* StringReader::AppendEscape(const char* text) {
  if (text == end_) return nullptr;
  if (*text == 'u') return AppendUnicodeEscape(text + 1);
  const char byte = kEscapes[static_cast<unsigned char>(*text)];
  if (byte == '\0') return nullptr;
  unescaped_.push_back(byte);
  return text + 1;
}

const char* StringReader::AppendUnicodeEscape(const char* text) {
  unsigned code = 0;
  if (!ReadHex(text, code)) return nullptr;
  text += 4;
  // Compatibility: only a high half asks for its other half; a low one alone is encoded as it is.
  if (code >= 0xd800 && code <= 0xdbff) {
    unsigned low = 0;
    if (end_ - text < 6 || text[0] != '\\' || text[1] != 'u' || !ReadHex(text + 2, low)) return nullptr;
    if (low < 0xdc00 || low > 0xdfff) return nullptr;
    code = ((code - 0xd800) << 10 | (low - 0xdc00)) + 0x10000;
    text += 6;
  }
  Append(code);
  return text;
}

bool StringReader::ReadHex(const char* text, unsigned& code) const {
  if (end_ - text < 4) return false;
  for (int i = 0; i < 4; ++i) {
    const int digit = HexDigit(text[i]);
    if (digit < 0) return false;
    code = code << 4 | static_cast<unsigned>(digit);
  }
  return true;
}

// Appends a code point as UTF-8.
void StringReader::Append(unsigned code) {
  const auto put = [this](unsigned byte) { unescaped_.push_back(static_cast<char>(byte)); };
  const auto follow = [&](unsigned shift) { put(0x80 | (code >> shift & 0x3f)); };
  if (code < 0x80) return put(code);
  if (code < 0x800) {
    put(0xc0 | code >> 6);
  } else {
    if (code < 0x10000) {
      put(0xe0 | code >> 12);
    } else {
      put(0xf0 | code >> 18);
      follow(12);
    }
    follow(6);
  }
  follow(0);
}

void StringReader::Store(const char* text, std::size_t length, Value* place) {
  if (length <= kShortStringMost) {
    char bytes[kBlock] = {};
    std::memcpy(bytes, text, length);
    return StoreShortString(place, LoadBytes(bytes), static_cast<unsigned>(length));
  }
  auto* const copy = static_cast<char*>(pool_.Malloc(length + 1));
  std::memcpy(copy, text, length);
  copy[length] = '\0';
  StorePointer(place, static_cast<std::uint32_t>(length), 0, copy, kLongStringFlags);
}

}  // namespace tovkit
