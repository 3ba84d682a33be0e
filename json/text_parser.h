// SPDX-License-Identifier: MIT
// ParseText: JSON text into a document, or the code and the place of its first error.
#pragma once

#include "document.h"

#include <cstddef>

namespace tovkit {

// What became of a text.
struct ParseResult {
  rapidjson::ParseErrorCode code = rapidjson::kParseErrorNone;
  std::size_t offset = 0;  // the byte at which the parser stopped, 0 without an error
  bool readFast = false;   // whether ReadFast did it all

  bool IsRead() const { return code == rapidjson::kParseErrorNone; }
};

// Parses at most `length` bytes at `text`, up to the first NUL byte among them, into `document`. Its pool is
// emptied on the way, so the document must be new. After an error its value is null. Throws std::bad_alloc.
[[nodiscard]] ParseResult ParseText(const char* text, std::size_t length, Document& document);

}  // namespace tovkit
