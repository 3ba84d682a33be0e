#include "careful_parser.h"

#include "exponent_scan.h"

#include <string>

namespace tovkit {

namespace {

constexpr unsigned kOneValue = rapidjson::kParseDefaultFlags | rapidjson::kParseStopWhenDoneFlag;

// Gives a string to a document as the name of a member.
struct KeyHandler : rapidjson::BaseReaderHandler<rapidjson::UTF8<>, KeyHandler> {
  explicit KeyHandler(Document& target) : document(target) {}
  bool String(const char* text, rapidjson::SizeType length, bool copy) {
    return document.Key(text, length, copy);
  }
  Document& document;
};

}  // namespace

rapidjson::ParseErrorCode CarefulParser::Parse(Document& document) {
  ParseRoot(document);
  return error_;
}

bool CarefulParser::Fail(rapidjson::ParseErrorCode code) {
  error_ = code;
  return false;
}

bool CarefulParser::Consume(char expected) {
  if (input_.Peek() != expected) return false;
  input_.Take();
  return true;
}

bool CarefulParser::ParseRoot(Document& document) {
  SkipSpace();
  if (input_.Peek() == '\0') return Fail(rapidjson::kParseErrorDocumentEmpty);
  if (!ParseValue(document)) return false;
  while (!open_.empty()) {
    if (!ParseNext(document)) return false;
  }
  SkipSpace();
  return input_.Peek() == '\0' || Fail(rapidjson::kParseErrorDocumentRootNotSingular);
}

// Parses a scalar, or opens a container.
bool CarefulParser::ParseValue(Document& document) {
  const bool isObject = input_.Peek() == '{';
  if (!isObject && input_.Peek() != '[') return ParseScalar(document);
  input_.Take();
  if (isObject) {
    document.StartObject();
  } else {
    document.StartArray();
  }
  open_.push_back({isObject, 0});
  return true;
}

// Parses what follows in the innermost container: its end, or a comma unless it is new, and a value.
bool CarefulParser::ParseNext(Document& document) {
  Container& container = open_.back();
  SkipSpace();
  if (Consume(container.isObject ? '}' : ']')) {
    Close(document);
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
  return (!container.isObject || ParseKey(document)) && ParseValue(document);
}

void CarefulParser::Close(Document& document) {
  const Container closed = open_.back();
  open_.pop_back();
  if (closed.isObject) {
    document.EndObject(closed.count);
  } else {
    document.EndArray(closed.count);
  }
}

bool CarefulParser::ParseKey(Document& document) {
  if (input_.Peek() != '"') return Fail(rapidjson::kParseErrorObjectMissName);
  KeyHandler handler(document);
  if (!ReadScalar(handler)) return false;
  SkipSpace();
  if (!Consume(':')) return Fail(rapidjson::kParseErrorObjectMissColon);
  SkipSpace();
  return true;
}

bool CarefulParser::ParseScalar(Document& document) {
  if (input_.Peek() == '\0') return Fail(rapidjson::kParseErrorValueInvalid);
  const std::string_view rest(bytes_.src_, static_cast<std::size_t>(bytes_.end_ - bytes_.src_));
  const std::string_view number = rest.substr(0, rest.find_first_not_of("+-.0123456789Ee"));
  const std::size_t exponent = FindNegativeExponent(number);
  if (exponent != number.npos) return ParseDisarmed(document, number, exponent);
  return ReadScalar(document);
}

// Parses `number`, which stands at the input, with an exponent that gives the same result and does not wrap.
bool CarefulParser::ParseDisarmed(Document& document, std::string_view number, std::size_t exponent) {
  const std::size_t digits = CountDigits(number.substr(exponent));
  const std::size_t zeros = number.substr(exponent, digits).find_first_not_of('0');
  if (zeros == number.npos || digits - zeros < 10) return ReadScalar(document);
  // Any number that RapidJSON can hold is 0.0 long before this exponent.
  const std::string disarmed = std::string(number.substr(0, exponent)) + "999999999";
  rapidjson::MemoryStream bytes(disarmed.data(), disarmed.size());
  rapidjson::EncodedInputStream<rapidjson::UTF8<>, rapidjson::MemoryStream> input(bytes);
  const auto result = reader_.Parse<kOneValue>(input, document);
  if (result.IsError()) return Fail(result.Code());
  bytes_.src_ += bytes.Tell() == disarmed.size() ? exponent + digits : bytes.Tell();
  return true;
}

template <typename Handler>
bool CarefulParser::ReadScalar(Handler& handler) {
  const auto result = reader_.Parse<kOneValue>(input_, handler);
  return !result.IsError() || Fail(result.Code());
}

}  // namespace tovkit
