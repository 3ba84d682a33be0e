#include "rapidjson_wrapper.h"
#include "text_parser.h"

#include <cstdio>
#include <memory>
#include <utility>

namespace tovkit {

SharedPtr<JsonValue> Json::Parse(const char* text, unsigned int length, const JsonParseOptions* /*options*/) {
  auto document = std::make_unique<Document>(nullptr, kParseStackCapacity, &HeapAllocator::Shared());
  if (text == nullptr || length == 0 || *text == '\0') {
    document->SetObject();
  } else if (const rapidjson::ParseErrorCode code = ParseText(text, length, *document)) {
    std::printf("Parse json error. code=%d\n", static_cast<int>(code));
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

}  // namespace tovkit
