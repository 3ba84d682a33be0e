// SPDX-License-Identifier: MIT
// JSON that the command prints is a document that the library writes; nothing is glued together from texts.
#include "json_output.h"

#include "text_output.h"

#include <tovkit/util.h>

#include <cstdint>
#include <cstdio>
#include <string>

namespace cli {

namespace {

using tovkit::JsonValue;
using tovkit::SharedPtr;

void PrintString(const char* utf8) {
  std::putchar('"');
  // What a terminal must not get is an escape of JSON. Beyond U+FFFF there is none of it.
  for (const wchar_t c : tovkit::Utf8ToWide(utf8, -1)) {
    if (IsEscaped(c) && c <= 0xffff) {
      std::printf("\\u%04x", static_cast<unsigned>(c));
    } else {
      if (c == '"' || c == '\\') std::putchar('\\');
      std::fputs(tovkit::WideToUtf8(&c, 1).c_str(), stdout);
    }
  }
  std::putchar('"');
}

void PrintOnOneLine(JsonValue& value);

void PrintArray(JsonValue& array) {
  std::putchar('[');
  for (std::uint32_t i = 0; i < array.Size(); ++i) {
    if (i != 0) std::fputs(", ", stdout);
    PrintOnOneLine(*array.GetAt(static_cast<std::int32_t>(i)));
  }
  std::putchar(']');
}

void PrintObject(JsonValue& object) {
  std::putchar('{');
  CoreString name;
  SharedPtr<JsonValue> member;
  bool more = object.Size() != 0 && object.FirstMember(name, member);
  for (; member; more = object.NextMember(name, member)) {
    PrintString(name.c_str());
    std::fputs(": ", stdout);
    PrintOnOneLine(*member);
    if (!more) break;
    std::fputs(", ", stdout);
  }
  std::putchar('}');
}

void PrintOnOneLine(JsonValue& value) {
  switch (value.GetType()) {
    case tovkit::JsonString:
      return PrintString(value.AsString(nullptr));
    case tovkit::JsonArray:
      return PrintArray(value);
    case tovkit::JsonObject:
      return PrintObject(value);
    default:
      std::fputs(value.ToString().c_str(), stdout);
  }
}

}  // namespace

SharedPtr<JsonValue> NewJsonArray() { return tovkit::Json::Parse("[]", 2, nullptr); }

void PrintJsonLines(const SharedPtr<JsonValue>& array) {
  const char* before = "[\n  ";
  for (std::uint32_t i = 0; i < array->Size(); ++i) {
    std::fputs(before, stdout);
    PrintOnOneLine(*array->GetAt(static_cast<std::int32_t>(i)));
    before = ",\n  ";
  }
  std::puts(array->Size() == 0 ? "[]" : "\n]");
}

void PrintJsonMembers(const SharedPtr<JsonValue>& object) {
  CoreString name;
  SharedPtr<JsonValue> member;
  const char* before = "{\n  ";
  bool more = object->Size() != 0 && object->FirstMember(name, member);
  for (; member; more = object->NextMember(name, member)) {
    std::fputs(before, stdout);
    PrintString(name.c_str());
    std::fputs(": ", stdout);
    PrintOnOneLine(*member);
    before = ",\n  ";
    if (!more) break;
  }
  std::puts(object->Size() == 0 ? "{}" : "\n}");
}

}  // namespace cli
