// SPDX-License-Identifier: MIT
// RapidJSON's recursive parser unrolled: the same steps in the same order, so that the first error met is the
// same, with a stack of open containers in the place of the calls. RapidJSON has an iterative mode of its
// own, but that one reports other codes for some texts.
#include "careful_parser.h"

namespace tovkit {

namespace {

constexpr unsigned kOneValue = rapidjson::kParseDefaultFlags | rapidjson::kParseStopWhenDoneFlag;

// Adds a string to a document as the name of a member.
struct KeyHandler : rapidjson::BaseReaderHandler<rapidjson::UTF8<>, KeyHandler> {
  explicit KeyHandler(Document& target) : document(target) {}
  bool String(const char* text, rapidjson::SizeType length, bool copy) {
    return document.Key(text, length, copy);
  }
  Document& document;
};

}  // namespace

ParseResult CarefulParser::Parse(Document& document) {
  auto parse = [this](Document& events) { return ParseRoot(events); };
  document.Populate(parse);
  return result_;
}

bool CarefulParser::Fail(rapidjson::ParseErrorCode code, std::size_t offset) {
  result_.code = code;
  result_.offset = offset;
  return false;
}

bool CarefulParser::Consume(char expected) {
  if (input_.Peek() != expected) return false;
  input_.Take();
  return true;
}

bool CarefulParser::ParseRoot(Document& document) {
  SkipSpace();
  if (input_.Peek() == '\0') return FailHere(rapidjson::kParseErrorDocumentEmpty);
  if (!ParseValue(document)) return false;
  while (!open_.empty()) {
    if (!ParseNext(document)) return false;
  }
  SkipSpace();
  return input_.Peek() == '\0' || FailHere(rapidjson::kParseErrorDocumentRootNotSingular);
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
      return FailHere(container.isObject ? rapidjson::kParseErrorObjectMissCommaOrCurlyBracket
                                         : rapidjson::kParseErrorArrayMissCommaOrSquareBracket);
    }
    SkipSpace();
  }
  ++container.count;
  return (!container.isObject || ParseName(document)) && ParseValue(document);
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

bool CarefulParser::ParseName(Document& document) {
  if (input_.Peek() != '"') return FailHere(rapidjson::kParseErrorObjectMissName);
  KeyHandler handler(document);
  if (!ReadScalar(handler)) return false;
  SkipSpace();
  if (!Consume(':')) return FailHere(rapidjson::kParseErrorObjectMissColon);
  SkipSpace();
  return true;
}

bool CarefulParser::ParseScalar(Document& document) {
  if (input_.Peek() == '\0') return FailHere(rapidjson::kParseErrorValueInvalid);
  return ReadScalar(document);
}

template <typename Handler>
bool CarefulParser::ReadScalar(Handler& handler) {
  const auto result = reader_.Parse<kOneValue>(input_, handler);
  return !result.IsError() || Fail(result.Code(), result.Offset());
}

}  // namespace tovkit
