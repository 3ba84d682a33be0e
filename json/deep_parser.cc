#include "deep_parser.h"

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

rapidjson::ParseErrorCode DeepParser::Parse(Document& document) {
  ParseRoot(document);
  return error_;
}

bool DeepParser::Fail(rapidjson::ParseErrorCode code) {
  error_ = code;
  return false;
}

bool DeepParser::Consume(char expected) {
  if (input_.Peek() != expected) return false;
  input_.Take();
  return true;
}

bool DeepParser::ParseRoot(Document& document) {
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
bool DeepParser::ParseValue(Document& document) {
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
bool DeepParser::ParseNext(Document& document) {
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

void DeepParser::Close(Document& document) {
  const Container closed = open_.back();
  open_.pop_back();
  if (closed.isObject) {
    document.EndObject(closed.count);
  } else {
    document.EndArray(closed.count);
  }
}

bool DeepParser::ParseKey(Document& document) {
  if (input_.Peek() != '"') return Fail(rapidjson::kParseErrorObjectMissName);
  KeyHandler handler(document);
  if (!ReadScalar(handler)) return false;
  SkipSpace();
  if (!Consume(':')) return Fail(rapidjson::kParseErrorObjectMissColon);
  SkipSpace();
  return true;
}

bool DeepParser::ParseScalar(Document& document) {
  if (input_.Peek() == '\0') return Fail(rapidjson::kParseErrorValueInvalid);
  return ReadScalar(document);
}

template <typename Handler>
bool DeepParser::ReadScalar(Handler& handler) {
  const auto result = reader_.Parse<kOneValue>(input_, handler);
  return !result.IsError() || Fail(result.Code());
}

}  // namespace tovkit
