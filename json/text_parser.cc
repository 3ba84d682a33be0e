#include "text_parser.h"

#include "deep_parser.h"

namespace tovkit {

namespace {

using Input = rapidjson::EncodedInputStream<rapidjson::UTF8<>, rapidjson::MemoryStream>;

// Passes the events on to a document and refuses containers below the limit.
class ShallowHandler : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, ShallowHandler> {
 public:
  explicit ShallowHandler(Document& document) : document_(document) {}

  bool Null() { return document_.Null(); }
  bool Bool(bool b) { return document_.Bool(b); }
  bool Int(int i) { return document_.Int(i); }
  bool Uint(unsigned u) { return document_.Uint(u); }
  bool Int64(std::int64_t i) { return document_.Int64(i); }
  bool Uint64(std::uint64_t u) { return document_.Uint64(u); }
  bool Double(double d) { return document_.Double(d); }
  bool String(const char* text, rapidjson::SizeType length, bool copy) {
    return document_.String(text, length, copy);
  }
  bool Key(const char* text, rapidjson::SizeType length, bool copy) {
    return document_.Key(text, length, copy);
  }
  bool StartObject() { return ++depth_ <= kRecursionLimit && document_.StartObject(); }
  bool EndObject(rapidjson::SizeType count) {
    --depth_;
    return document_.EndObject(count);
  }
  bool StartArray() { return ++depth_ <= kRecursionLimit && document_.StartArray(); }
  bool EndArray(rapidjson::SizeType count) {
    --depth_;
    return document_.EndArray(count);
  }

 private:
  Document& document_;
  unsigned depth_ = 0;
};

// RapidJSON's own parser. kParseErrorTermination when the text is nested too deeply for it.
rapidjson::ParseErrorCode ParseShallow(const char* text, std::size_t length, Document& document) {
  rapidjson::MemoryStream bytes(text, length);
  Input input(bytes);
  Reader reader(&HeapAllocator::Shared());
  auto parse = [&](Document& events) {
    ShallowHandler handler(events);
    return !reader.Parse<rapidjson::kParseDefaultFlags>(input, handler).IsError();
  };
  document.Populate(parse);
  return reader.GetParseErrorCode();
}

rapidjson::ParseErrorCode ParseDeep(const char* text, std::size_t length, Document& document) {
  DeepParser parser(text, length);
  auto parse = [&](Document& events) { return parser.Parse(events) == rapidjson::kParseErrorNone; };
  document.Populate(parse);
  return parser.Error();
}

}  // namespace

rapidjson::ParseErrorCode ParseText(const char* text, std::size_t length, Document& document) {
  const rapidjson::ParseErrorCode code = ParseShallow(text, length, document);
  if (code != rapidjson::kParseErrorTermination) return code;
  return ParseDeep(text, length, document);
}

}  // namespace tovkit
