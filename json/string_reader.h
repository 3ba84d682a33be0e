// SPDX-License-Identifier: MIT
// StringReader: the strings of a text, into values.
//
// A string without an escape is copied as it stands, sixteen bytes at a time. Up to 13 bytes become part of
// the value; longer ones go to the pool. Bytes from 80 hexadecimal up are not looked at.
//
// Thread-safety: none.
#pragma once

#include "byte_scan.h"
#include "value_layout.h"

#include <bit>
#include <cassert>
#include <cstddef>
#include <vector>

namespace tovkit {

class StringReader {
 public:
  // The text ends at `end`; `pool` takes the long strings.
  StringReader(const char* end, DocumentPool& pool) : end_(end), pool_(pool) {}

  // Reads a string into `place`; `text` is behind its opening quotation mark. Returns the place behind the
  // closing one, null when the string is not valid.
  [[nodiscard]] const char* Read(const char* text, Value* place) {
    assert(text <= end_);
    if (end_ - text >= kBlock) [[likely]] {
      const __m128i block = LoadBytes(text);
      const auto length = static_cast<unsigned>(std::countr_zero(SpecialBytes(block) | 1U << kBlock));
      if (length <= kShortStringMost && text[length] == '"') {
        StoreShortString(place, block, length);
        return text + length + 1;
      }
    }
    return ReadRest(text, place);
  }

 private:
  const char* FindSpecial(const char* text) const;
  [[nodiscard]] const char* ReadRest(const char* text, Value* place);
  [[nodiscard]] const char* ReadEscaped(const char* text, const char* escape, Value* place);
  [[nodiscard]] const char* AppendEscape(const char* text);
  [[nodiscard]] const char* AppendUnicodeEscape(const char* text);
  [[nodiscard]] bool ReadHex(const char* text, unsigned& code) const;
  void Append(unsigned code);
  void Store(const char* text, std::size_t length, Value* place);

  const char* const end_;
  DocumentPool& pool_;
  std::vector<char> unescaped_;
};

}  // namespace tovkit
