// ParseText: JSON text into a document.
#pragma once

#include "document.h"

namespace tovkit {

// Parses at most `length` bytes at `text`, up to the first NUL byte among them, into `document`. Gives the
// code of the first error, kParseErrorNone when there is none; after an error the document is as before.
rapidjson::ParseErrorCode ParseText(const char* text, std::size_t length, Document& document);

}  // namespace tovkit
