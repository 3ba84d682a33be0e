// SPDX-License-Identifier: MIT
// Two parsers, one after the other: the fast one, which knows every valid text and no error, and for whatever
// it refuses the careful one, which knows the code and the place of each error. So errors cost valid texts
// nothing, and a text in error is read at most twice.
#include "text_parser.h"

#include "careful_parser.h"
#include "fast_reader.h"

namespace tovkit {

ParseResult ParseText(const char* text, std::size_t length, Document& document) {
  if (ReadFast(text, length, document)) return {rapidjson::kParseErrorNone, 0, true};
  document.GetAllocator().Clear();
  return ParseCarefully(text, length, document);
}

}  // namespace tovkit
