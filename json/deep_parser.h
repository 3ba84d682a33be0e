// DeepParser: the parser for texts that are nested too deeply for RapidJSON's own, which recurses.
//
// This one keeps the open containers on the heap; strings, literals and numbers are still read by RapidJSON.
// Results and error codes are those of the recursive parser. It is slower, so ParseText turns to it only when
// it must.
//
// Thread-safety: none.
#pragma once

#include "document.h"

#include <rapidjson/encodedstream.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include <vector>

namespace tovkit {

using Reader = rapidjson::GenericReader<rapidjson::UTF8<>, rapidjson::UTF8<>, HeapAllocator>;

class DeepParser {
 public:
  // `text` must live as long as the parser.
  DeepParser(const char* text, std::size_t length)
      : bytes_(text, length), input_(bytes_), reader_(&HeapAllocator::Shared()) {}

  // Sends the events of the text to `document`. Gives the code of the first error.
  rapidjson::ParseErrorCode Parse(Document& document);

  rapidjson::ParseErrorCode Error() const { return error_; }

 private:
  struct Container {
    bool isObject;
    rapidjson::SizeType count;
  };

  bool Fail(rapidjson::ParseErrorCode code);
  void SkipSpace() { rapidjson::SkipWhitespace(input_); }
  bool Consume(char expected);

  bool ParseRoot(Document& document);
  bool ParseValue(Document& document);
  bool ParseNext(Document& document);
  bool ParseKey(Document& document);
  bool ParseScalar(Document& document);
  void Close(Document& document);

  template <typename Handler>
  bool ReadScalar(Handler& handler);

  rapidjson::MemoryStream bytes_;
  rapidjson::EncodedInputStream<rapidjson::UTF8<>, rapidjson::MemoryStream> input_;
  Reader reader_;
  std::vector<Container> open_;
  rapidjson::ParseErrorCode error_ = rapidjson::kParseErrorNone;
};

}  // namespace tovkit
