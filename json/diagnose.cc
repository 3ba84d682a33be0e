// SPDX-License-Identifier: MIT
// Json::Diagnose: a walk over a text that keeps nothing but the way down to where it is.
//
// Strings, words and numbers are read by RapidJSON itself, so that they stop where the parser stops; what
// stands between them is looked for in the order of RapidJSON's recursive parser. Open containers are on the
// heap, so that no depth overflows the stack.
#include "document.h"
#include "tovkit/json.h"

#include <rapidjson/encodedstream.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace tovkit {

namespace {

using rapidjson::ParseErrorCode;
using Reader = rapidjson::GenericReader<rapidjson::UTF8<>, rapidjson::UTF8<>, HeapAllocator>;

constexpr unsigned kOneValue = rapidjson::kParseDefaultFlags | rapidjson::kParseStopWhenDoneFlag;

struct IgnoreValue : rapidjson::BaseReaderHandler<rapidjson::UTF8<>, IgnoreValue> {};

struct KeepName : rapidjson::BaseReaderHandler<rapidjson::UTF8<>, KeepName> {
  explicit KeepName(std::string& target) : name(target) {}
  bool String(const char* text, rapidjson::SizeType length, bool /*copy*/) {
    name.assign(text, length);
    return true;
  }
  std::string& name;
};

class TextWalk {
 public:
  TextWalk(const char* text, std::size_t length)
      : bytes_(text, length), input_(bytes_), reader_(&HeapAllocator::Shared()) {}

  // False at the first error.
  bool Walk() {
    SkipSpace();
    rootOffset_ = input_.Tell();
    rootIsContainer_ = input_.Peek() == '{' || input_.Peek() == '[';
    if (input_.Peek() == '\0') return Fail(rapidjson::kParseErrorDocumentEmpty);
    if (!WalkValue()) return false;
    while (!open_.empty()) {
      if (!WalkNext()) return false;
    }
    SkipSpace();
    return input_.Peek() == '\0' || Fail(rapidjson::kParseErrorDocumentRootNotSingular);
  }

  ParseErrorCode code() const { return code_; }
  std::size_t offset() const { return offset_; }
  std::size_t rootOffset() const { return rootOffset_; }
  bool rootIsContainer() const { return rootIsContainer_; }

  // RFC 6901.
  std::string Pointer() const {
    std::string pointer;
    for (const Container& container : open_) {
      if (!container.inside) break;  // the innermost one, between two of its values
      pointer += '/';
      if (!container.isObject) pointer += std::to_string(container.count - 1);
      for (const char c : container.name) pointer += c == '~' ? "~0" : c == '/' ? "~1" : std::string(1, c);
    }
    return pointer;
  }

 private:
  struct Container {
    bool isObject;
    bool inside = false;      // a member whose name is known, or an element, is being read
    std::uint64_t count = 0;  // of those begun
    std::string name = {};    // of the member
  };

  bool Fail(ParseErrorCode code) { return Fail(code, input_.Tell()); }
  bool Fail(ParseErrorCode code, std::size_t offset) {
    code_ = code;
    offset_ = offset;
    return false;
  }

  void SkipSpace() { rapidjson::SkipWhitespace(input_); }

  bool Consume(char expected) {
    if (input_.Peek() != expected) return false;
    input_.Take();
    return true;
  }

  // Reads a scalar, or opens a container.
  bool WalkValue() {
    if (input_.Peek() == '{' || input_.Peek() == '[') {
      open_.push_back({input_.Take() == '{'});
      return true;
    }
    if (input_.Peek() == '\0') return Fail(rapidjson::kParseErrorValueInvalid);
    IgnoreValue ignore;
    return ReadScalar(ignore);
  }

  // Reads what follows in the innermost container: its end, or a comma unless it is new, and a value.
  bool WalkNext() {
    Container& container = open_.back();
    container.inside = false;
    SkipSpace();
    if (Consume(container.isObject ? '}' : ']')) {
      open_.pop_back();
      return true;
    }
    if (container.count != 0) {
      if (!Consume(',')) {
        return Fail(container.isObject ? rapidjson::kParseErrorObjectMissCommaOrCurlyBracket
                                       : rapidjson::kParseErrorArrayMissCommaOrSquareBracket);
      }
      SkipSpace();
    }
    ++container.count;
    if (container.isObject) return WalkName(container) && WalkValue();
    container.inside = true;
    return WalkValue();
  }

  bool WalkName(Container& container) {
    if (input_.Peek() != '"') return Fail(rapidjson::kParseErrorObjectMissName);
    KeepName keep(container.name);
    if (!ReadScalar(keep)) return false;
    container.inside = true;
    SkipSpace();
    if (!Consume(':')) return Fail(rapidjson::kParseErrorObjectMissColon);
    SkipSpace();
    return true;
  }

  template <typename Handler>
  bool ReadScalar(Handler& handler) {
    const auto result = reader_.Parse<kOneValue>(input_, handler);
    return !result.IsError() || Fail(result.Code(), result.Offset());
  }

  rapidjson::MemoryStream bytes_;
  rapidjson::EncodedInputStream<rapidjson::UTF8<>, rapidjson::MemoryStream> input_;
  Reader reader_;
  std::vector<Container> open_;
  std::size_t rootOffset_ = 0;
  bool rootIsContainer_ = false;
  ParseErrorCode code_ = rapidjson::kParseErrorNone;
  std::size_t offset_ = 0;
};

const char* MessageOf(std::int32_t code) {
  switch (code) {
    case rapidjson::kParseErrorDocumentEmpty:
      return "nothing but white space, where JSON is expected";
    case rapidjson::kParseErrorDocumentRootNotSingular:
      return "the text goes on behind the end of its value";
    case rapidjson::kParseErrorValueInvalid:
      return "a value is expected";
    case rapidjson::kParseErrorObjectMissName:
      return "a member's name, in quotation marks, is expected";
    case rapidjson::kParseErrorObjectMissColon:
      return "a colon is expected behind a member's name";
    case rapidjson::kParseErrorObjectMissCommaOrCurlyBracket:
      return "a comma or } is expected";
    case rapidjson::kParseErrorArrayMissCommaOrSquareBracket:
      return "a comma or ] is expected";
    case rapidjson::kParseErrorStringUnicodeEscapeInvalidHex:
      return "\\u is not followed by four hexadecimal digits";
    case rapidjson::kParseErrorStringUnicodeSurrogateInvalid:
      return "half of a surrogate pair";
    case rapidjson::kParseErrorStringEscapeInvalid:
      return "an unknown escape, or a control character in a string";
    case rapidjson::kParseErrorStringMissQuotationMark:
      return "the string has no closing quotation mark";
    case rapidjson::kParseErrorNumberTooBig:
      return "the number is too big";
    case rapidjson::kParseErrorNumberMissFraction:
      return "a digit is expected behind the decimal point";
    case rapidjson::kParseErrorNumberMissExponent:
      return "a digit is expected in the exponent";
    case kJsonRootIsScalar:
      return "neither an array nor an object";
    case kJsonTooLong:
      return "longer than 4 GiB";
    default:
      return "no JSON";
  }
}

// Line and columns of the offset.
void Locate(const char* text, JsonDiagnosis& diagnosis) {
  const char* const at = text + diagnosis.offset;
  const char* start = text;
  if (diagnosis.offset >= 3 && std::memcmp(text, "\xEF\xBB\xBF", 3) == 0) start += 3;
  diagnosis.line = 1;
  while (const void* const feed = std::memchr(start, '\n', static_cast<std::size_t>(at - start))) {
    start = static_cast<const char*>(feed) + 1;
    ++diagnosis.line;
  }
  const auto startsCodePoint = [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; };
  diagnosis.column = static_cast<std::size_t>(at - start) + 1;
  diagnosis.codePointColumn = static_cast<std::size_t>(std::count_if(start, at, startsCodePoint)) + 1;
}

}  // namespace

JsonDiagnosis Json::Diagnose(const char* text, std::size_t length) {
  JsonDiagnosis diagnosis;
  if (text == nullptr || length == 0 || *text == '\0') return diagnosis;
  if (length > std::numeric_limits<std::uint32_t>::max()) {
    diagnosis.code = kJsonTooLong;
    diagnosis.offset = std::numeric_limits<std::uint32_t>::max();
    diagnosis.message = MessageOf(diagnosis.code);
    return diagnosis;
  }
  TextWalk walk(text, length);
  const bool isJson = walk.Walk();
  if (isJson && walk.rootIsContainer()) return diagnosis;
  diagnosis.code = isJson ? static_cast<std::int32_t>(kJsonRootIsScalar) : walk.code();
  diagnosis.offset = isJson ? walk.rootOffset() : walk.offset();
  const std::string pointer = walk.Pointer();
  diagnosis.pointer =
      CoreString(pointer.data(),
                 static_cast<int>(std::min<std::size_t>(pointer.size(), std::numeric_limits<int>::max())));
  diagnosis.message = MessageOf(diagnosis.code);
  Locate(text, diagnosis);
  return diagnosis;
}

}  // namespace tovkit
