// SPDX-License-Identifier: MIT
// The entry points of json.h that are no operation of a value: parsing, writing, the names of the kinds.
//
// The one line of a failed parse is printed here and nowhere else.
#include "rapidjson_wrapper.h"
#include "text_parser.h"

#include <cstdio>
#include <iterator>
#include <memory>
#include <utility>

namespace tovkit {

SharedPtr<JsonValue> Json::Parse(const char* text, unsigned int length, const JsonParseOptions* /*options*/) {
  auto document = std::make_unique<Document>(nullptr, kParseStackCapacity, &HeapAllocator::Shared());
  if (text == nullptr || length == 0 || *text == '\0') {
    document->SetObject();
  } else if (const ParseResult result = ParseText(text, length, *document); !result.IsRead()) {
    std::printf("Parse json error. code=%d\n", static_cast<int>(result.code));
    return SharedPtr<JsonValue>();
  } else if (!document->IsArray() && !document->IsObject()) {
    std::printf("Only allow array and object\n");
    return SharedPtr<JsonValue>();
  }
  return SharedPtr<JsonValue>(new RapidjsonWrapper(std::move(document)));
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the call holds a reference of its own
CoreString Json::Write(SharedPtr<const JsonValue> value, const JsonWriteOptions* /*options*/) {
  return value->ToString();
}

const char* JsonTypeName(JsonType type) {
  // Compatibility: nine names, indexed by eleven kinds, with which they do not line up.
  static constexpr const char* kNames[11] = {"null",    "int",   "uint",   "float", "double", "string",
                                             "boolean", "array", "object", nullptr, nullptr};
  const auto index = static_cast<std::uint32_t>(type);
  return index < std::size(kNames) ? kNames[index] : "unknown";
}

}  // namespace tovkit
