// SPDX-License-Identifier: MIT
// Strict, because a misspelled member that is ignored in a template means a million wrong drawings.
#include "members.h"

#include "error.h"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <utility>
#include <vector>

namespace jobs {

namespace {

using tovkit::JsonValue;
using tovkit::SharedPtr;

std::string RangeText(const char* what, double least, double most) {
  char text[80];
  std::snprintf(text, sizeof text, "%s from %.9g to %.9g is expected", what, least, most);
  return text;
}

// Whether the compact text of a JSON string holds an escaped NUL. The character behind a backslash is
// skipped, so that an escaped backslash starts no escape.
bool HoldsNul(const char* json) {
  while ((json = std::strchr(json, '\\')) != nullptr) {
    if (std::strncmp(json, "\\u0000", 6) == 0) return true;
    json += 2;
  }
  return false;
}

}  // namespace

std::optional<double> NumberOf(const JsonValue& value) {
  if (value.GetType() < tovkit::JsonInt || value.GetType() > tovkit::JsonDouble) return std::nullopt;
  double number = 0;
  std::int64_t whole = 0;
  std::uint64_t large = 0;
  // GetDouble does not read every integer.
  if (value.GetDouble(number)) return number;
  if (value.GetInt64(whole)) return static_cast<double>(whole);
  if (value.GetUint64(large)) return static_cast<double>(large);
  return std::nullopt;
}

std::string TextOf(const JsonValue& string, const std::string& place) {
  if (HoldsNul(string.ToString().c_str())) {
    throw Error(ErrorKind::kInput, place, "the text holds a NUL character");
  }
  return string.AsString(nullptr);
}

void RefuseDoubleMembers(const SharedPtr<JsonValue>& value, const std::string& place) {
  std::vector<std::pair<SharedPtr<JsonValue>, std::string>> open = {{value, place}};
  while (!open.empty()) {
    const auto [at, where] = std::move(open.back());
    open.pop_back();
    const bool isArray = at->GetType() == tovkit::JsonArray;
    if (!isArray && at->GetType() != tovkit::JsonObject) continue;
    const CoreStringList<CoreString> names = at->GetMemberNames();
    std::set<std::string_view> seen;
    for (std::uint32_t i = 0; i < at->Size(); ++i) {
      const int index = static_cast<int>(i);
      const std::string name = isArray ? std::to_string(i) : names.GetAt(index).c_str();
      std::string inner = where;
      inner.append("/").append(name);
      if (!isArray && !seen.insert(names.GetAt(index).c_str()).second) {
        throw Error(ErrorKind::kInput, inner, "the member stands twice");
      }
      const SharedPtr<JsonValue> item = isArray ? at->GetAt(index) : at->GetMember(name.c_str());
      if (item) open.emplace_back(item, inner);
    }
  }
}

Members::Members(SharedPtr<JsonValue> object, std::string place)
    : object_(std::move(object)), place_(std::move(place)) {
  if (object_->GetType() != tovkit::JsonObject) Refuse("", "an object is expected");
}

void Members::Refuse(const std::string& name, const std::string& text) const {
  throw Error(ErrorKind::kInput, place_ + (place_.empty() || name.empty() ? "" : ": ") + name, text);
}

SharedPtr<JsonValue> Members::Take(const char* name) {
  if (!object_->HasMember(name)) return {};
  taken_.insert(name);
  return object_->GetMember(name);
}

std::optional<std::string> Members::TakeText(const char* name) {
  const SharedPtr<JsonValue> value = Take(name);
  if (!value) return std::nullopt;
  if (value->GetType() != tovkit::JsonString) Refuse(name, "a string is expected");
  return TextOf(*value, place_ + (place_.empty() ? "" : ": ") + name);
}

std::string Members::NeedText(const char* name) {
  const std::optional<std::string> text = TakeText(name);
  if (!text) Refuse(name, "missing");
  return *text;
}

std::optional<double> Members::TakeNumber(const char* name, double least, double most) {
  const SharedPtr<JsonValue> value = Take(name);
  if (!value) return std::nullopt;
  const double number = NumberOf(*value).value_or(NAN);
  if (!(number >= least && number <= most)) Refuse(name, RangeText("a number", least, most));
  return number;
}

std::optional<int> Members::TakeWhole(const char* name, int least, int most) {
  const SharedPtr<JsonValue> value = Take(name);
  if (!value) return std::nullopt;
  const double number = NumberOf(*value).value_or(NAN);
  if (!(number >= least && number <= most) || number != std::floor(number)) {
    Refuse(name, RangeText("a whole number", least, most));
  }
  return static_cast<int>(number);
}

std::optional<bool> Members::TakeFlag(const char* name) {
  const SharedPtr<JsonValue> value = Take(name);
  if (!value) return std::nullopt;
  if (value->GetType() != tovkit::JsonBoolean) Refuse(name, "true or false is expected");
  return value->AsBool(nullptr);
}

SharedPtr<JsonValue> Members::TakeArray(const char* name) {
  SharedPtr<JsonValue> value = Take(name);
  if (value && value->GetType() != tovkit::JsonArray) Refuse(name, "an array is expected");
  return value;
}

void Members::Finish() const {
  if (object_->Size() == taken_.size()) return;
  std::set<std::string> seen;
  for (const CoreString& name : object_->GetMemberNames()) {
    if (taken_.count(name.c_str()) == 0) Refuse(name.c_str(), "unknown member");
    if (!seen.insert(name.c_str()).second) Refuse(name.c_str(), "the member stands twice");
  }
}

}  // namespace jobs
