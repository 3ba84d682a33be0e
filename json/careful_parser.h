// SPDX-License-Identifier: MIT
// CarefulParser: the parser that knows every error.
//
// It accepts what RapidJSON's recursive parser accepts, with the same values, and stops where that one stops,
// with the same code. Open containers are kept on the heap, so that no depth overflows the stack; strings,
// words and numbers are read by RapidJSON itself. It is slow: ParseText asks it only for what ReadFast does
// not read.
//
// Thread-safety: none.
#pragma once

#include "document.h"
#include "text_parser.h"

#include <rapidjson/encodedstream.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include <vector>

namespace tovkit {

class CarefulParser {
 public:
  // `text` must live as long as the parser.
  CarefulParser(const char* text, std::size_t length)
      : bytes_(text, length), input_(bytes_), reader_(&HeapAllocator::Shared()) {}

  // Parses the text into `document`, whose value is as before after an error.
  [[nodiscard]] ParseResult Parse(Document& document);

 private:
  using Reader = rapidjson::GenericReader<rapidjson::UTF8<>, rapidjson::UTF8<>, HeapAllocator>;

  struct Container {
    bool isObject;
    rapidjson::SizeType count;
  };

  bool Fail(rapidjson::ParseErrorCode code, std::size_t offset);
  bool FailHere(rapidjson::ParseErrorCode code) { return Fail(code, input_.Tell()); }
  void SkipSpace() { rapidjson::SkipWhitespace(input_); }
  bool Consume(char expected);

  bool ParseRoot(Document& document);
  bool ParseValue(Document& document);
  bool ParseNext(Document& document);
  bool ParseName(Document& document);
  bool ParseScalar(Document& document);
  void Close(Document& document);

  template <typename Handler>
  bool ReadScalar(Handler& handler);

  rapidjson::MemoryStream bytes_;
  rapidjson::EncodedInputStream<rapidjson::UTF8<>, rapidjson::MemoryStream> input_;
  Reader reader_;
  std::vector<Container> open_;
  ParseResult result_;
};

}  // namespace tovkit
