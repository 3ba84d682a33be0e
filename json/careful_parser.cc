// SPDX-License-Identifier: MIT
// A CarefulWalk has the events that RapidJSON's document takes, so the document is the target of the walk.
#include "careful_parser.h"

#include "careful_walk.h"

namespace tovkit {

namespace {

// Adds a string to a document as the name of a member.
struct KeyHandler : rapidjson::BaseReaderHandler<rapidjson::UTF8<>, KeyHandler> {
  explicit KeyHandler(Document& target) : document(target) {}
  bool String(const char* text, rapidjson::SizeType length, bool copy) {
    return document.Key(text, length, copy);
  }
  Document& document;
};

struct Builder {
  Document& document;

  Document& Values() { return document; }
  KeyHandler Names() { return KeyHandler(document); }
  void Open(bool isObject) { isObject ? document.StartObject() : document.StartArray(); }
  void Close(bool isObject, rapidjson::SizeType count) {
    isObject ? document.EndObject(count) : document.EndArray(count);
  }
  void Between() {}
  void BeginItem(bool /*isObject*/) {}
  void EndName() {}
};

}  // namespace

ParseResult ParseCarefully(const char* text, std::size_t length, Document& document) {
  ParseResult result;
  auto parse = [&](Document& events) {
    Builder builder{events};
    CarefulWalk<Builder> walk(text, length, builder);
    const bool isRead = walk.Walk();
    result = walk.Result();
    return isRead;
  };
  document.Populate(parse);
  return result;
}

}  // namespace tovkit
