// SPDX-License-Identifier: MIT
// CarefulWalk: a JSON text by the steps of RapidJSON's recursive parser, so that the first error met is the
// same.
//
// Where that parser calls itself, this one has a stack of open containers on the heap, so that no depth
// overflows the stack. Strings, words and numbers are read by RapidJSON itself. RapidJSON's iterative mode
// would overflow nothing either, but reports other codes for some texts. What becomes of the text is the
// target's business: CarefulParser builds a document of it, Json::Diagnose keeps the way down to the error.
//
// Thread-safety: none.
#pragma once

#include "document.h"
#include "text_parser.h"

#include <rapidjson/encodedstream.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include <cstddef>
#include <vector>

namespace tovkit {

// A Target has:
//   Values()                    the handler (rapidjson/reader.h) that takes scalars
//   Names()                     the handler that takes the names of members
//   Open(isObject)              a container begins
//   Close(isObject, count)      the innermost one ends
//   Between()                   the walk is between two values of the innermost container
//   BeginItem(isObject)         a value follows in an array, or a name in an object
//   EndName()                   the name was read
template <typename Target>
class CarefulWalk {
 public:
  // Both must live as long as the walk.
  CarefulWalk(const char* text, std::size_t length, Target& target)
      : bytes_(text, length), input_(bytes_), reader_(&HeapAllocator::Shared()), target_(target) {}

  // False at the first error, which Result() tells.
  [[nodiscard]] bool Walk() {
    SkipSpace();
    rootOffset_ = input_.Tell();
    rootIsContainer_ = input_.Peek() == '{' || input_.Peek() == '[';
    if (input_.Peek() == '\0') return FailHere(rapidjson::kParseErrorDocumentEmpty);
    if (!WalkValue()) return false;
    while (!open_.empty()) {
      if (!WalkNext()) return false;
    }
    SkipSpace();
    return input_.Peek() == '\0' || FailHere(rapidjson::kParseErrorDocumentRootNotSingular);
  }

  const ParseResult& Result() const { return result_; }
  std::size_t RootOffset() const { return rootOffset_; }
  bool RootIsContainer() const { return rootIsContainer_; }

 private:
  using Reader = rapidjson::GenericReader<rapidjson::UTF8<>, rapidjson::UTF8<>, HeapAllocator>;
  static constexpr unsigned kOneValue = rapidjson::kParseDefaultFlags | rapidjson::kParseStopWhenDoneFlag;

  struct Container {
    bool isObject;
    rapidjson::SizeType count;  // of the values begun
  };

  bool Fail(rapidjson::ParseErrorCode code, std::size_t offset) {
    result_.code = code;
    result_.offset = offset;
    return false;
  }
  bool FailHere(rapidjson::ParseErrorCode code) { return Fail(code, input_.Tell()); }

  void SkipSpace() { rapidjson::SkipWhitespace(input_); }

  [[nodiscard]] bool Consume(char expected) {
    if (input_.Peek() != expected) return false;
    input_.Take();
    return true;
  }

  // Reads a scalar, or opens a container.
  [[nodiscard]] bool WalkValue() {
    const bool isObject = input_.Peek() == '{';
    if (isObject || input_.Peek() == '[') {
      input_.Take();
      target_.Open(isObject);
      open_.push_back({isObject, 0});
      return true;
    }
    if (input_.Peek() == '\0') return FailHere(rapidjson::kParseErrorValueInvalid);
    auto&& values = target_.Values();
    return ReadScalar(values);
  }

  // Reads what follows in the innermost container: its end, or a comma unless it is new, and a value.
  [[nodiscard]] bool WalkNext() {
    Container& container = open_.back();
    target_.Between();
    SkipSpace();
    if (Consume(container.isObject ? '}' : ']')) {
      const Container closed = container;
      open_.pop_back();
      target_.Close(closed.isObject, closed.count);
      return true;
    }
    if (container.count != 0) {
      if (!Consume(',')) {
        return FailHere(container.isObject ? rapidjson::kParseErrorObjectMissCommaOrCurlyBracket
                                           : rapidjson::kParseErrorArrayMissCommaOrSquareBracket);
      }
      SkipSpace();
    }
    ++container.count;
    target_.BeginItem(container.isObject);
    return (!container.isObject || WalkName()) && WalkValue();
  }

  [[nodiscard]] bool WalkName() {
    if (input_.Peek() != '"') return FailHere(rapidjson::kParseErrorObjectMissName);
    auto&& names = target_.Names();
    if (!ReadScalar(names)) return false;
    target_.EndName();
    SkipSpace();
    if (!Consume(':')) return FailHere(rapidjson::kParseErrorObjectMissColon);
    SkipSpace();
    return true;
  }

  template <typename Handler>
  [[nodiscard]] bool ReadScalar(Handler& handler) {
    const auto result = reader_.template Parse<kOneValue>(input_, handler);
    return !result.IsError() || Fail(result.Code(), result.Offset());
  }

  rapidjson::MemoryStream bytes_;
  rapidjson::EncodedInputStream<rapidjson::UTF8<>, rapidjson::MemoryStream> input_;
  Reader reader_;
  Target& target_;
  std::vector<Container> open_;
  std::size_t rootOffset_ = 0;
  bool rootIsContainer_ = false;
  ParseResult result_;
};

}  // namespace tovkit
