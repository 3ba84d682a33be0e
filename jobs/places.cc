// SPDX-License-Identifier: MIT
// Strings are filled in the parsed tree, not in the text: whatever the data hold, a string stays one string.
#include "places.h"

#include "error.h"
#include "members.h"

#include <cstdint>
#include <utility>
#include <vector>

namespace jobs {

namespace {

using tovkit::JsonValue;
using tovkit::SharedPtr;

std::string ValueOf(const std::string& name, const JsonValue& data) {
  const std::string place = "{{" + name + "}}";
  const SharedPtr<const JsonValue> value = data.GetMember(name.c_str());
  if (!value) throw Error(ErrorKind::kInput, place, "the data have no such value");
  switch (value->GetType()) {
    case tovkit::JsonNull:
      return "";
    case tovkit::JsonString:
      return TextOf(*value, place);
    case tovkit::JsonArray:
    case tovkit::JsonObject:
      throw Error(ErrorKind::kInput, place, "the value is no text, number or boolean");
    default:
      return value->ToString().c_str();
  }
}

bool HasPlace(const char* text) { return std::string_view(text).find("{{") != std::string_view::npos; }

}  // namespace

std::string FillText(const std::string& text, const JsonValue& data) {
  std::string filled;
  std::size_t from = 0;
  for (;;) {
    const std::size_t open = text.find("{{", from);
    const std::size_t close = open == std::string::npos ? open : text.find_first_of("{}", open + 2);
    if (close == std::string::npos) break;
    // Of more than two braces, the innermost two count.
    const bool isPlace = close > open + 2 && text.compare(close, 2, "}}") == 0;
    if (!isPlace) {
      filled.append(text, from, open + 1 - from);
      from = open + 1;
      continue;
    }
    filled.append(text, from, open - from);
    filled += ValueOf(text.substr(open + 2, close - open - 2), data);
    from = close + 2;
  }
  return filled.append(text, from);
}

void FillPlaces(const SharedPtr<JsonValue>& value, const JsonValue& data) {
  std::vector<SharedPtr<JsonValue>> open = {value};
  while (!open.empty()) {
    const SharedPtr<JsonValue> at = open.back();
    open.pop_back();
    const bool isArray = at->GetType() == tovkit::JsonArray;
    const CoreStringList<CoreString> names = at->GetMemberNames();
    const std::uint32_t count = at->Size();
    for (std::uint32_t i = 0; i < count; ++i) {
      const int index = static_cast<int>(i);
      const CoreString name = isArray ? CoreString() : names.GetAt(index);
      const SharedPtr<JsonValue> item = isArray ? at->GetAt(index) : at->GetMember(name.c_str());
      if (!item) continue;  // a member without a name has no handle
      if (item->GetType() == tovkit::JsonArray || item->GetType() == tovkit::JsonObject) {
        open.push_back(item);
      } else if (item->GetType() == tovkit::JsonString && HasPlace(item->AsString(nullptr))) {
        const std::string text = FillText(item->AsString(nullptr), data);
        if (isArray) {
          at->SetAtString(i, text.c_str());
        } else {
          at->SetMemberString(name.c_str(), text.c_str());
        }
      }
    }
  }
}

}  // namespace jobs
