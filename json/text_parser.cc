// SPDX-License-Identifier: MIT
// The fast parser reads every valid text but knows no errors. What it refuses is read again by the careful
// one, which knows the code and the place of each error. So valid texts do not pay for errors, and a text in
// error is read at most twice.
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
