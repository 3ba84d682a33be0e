// SPDX-License-Identifier: MIT
// Both notations are turned into the same steps; only the rule for indices differs.
#include "json_path.h"

#include "error.h"

#include <charconv>
#include <cstdint>

namespace cli {

namespace {

void AddPointerSteps(const std::string& text, JsonPath& path) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '/') {
      path.steps.emplace_back();
      continue;
    }
    if (text[i] != '~') {
      path.steps.back() += text[i];
      continue;
    }
    const char code = i + 1 < text.size() ? text[++i] : '\0';
    if (code != '0' && code != '1') {
      throw UsageError("'" + text +
                       "' is no JSON pointer: behind '~' there is a 0, for '~', or a 1, for '/'");
    }
    path.steps.back() += code == '0' ? '~' : '/';
  }
}

void AddDottedSteps(const std::string& text, JsonPath& path) {
  path.steps.emplace_back();
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '.') {
      path.steps.emplace_back();
      continue;
    }
    if (text[i] == '\\' && i + 1 < text.size()) ++i;
    path.steps.back() += text[i];
  }
}

// The member with an empty name. JsonValue's own search takes no empty name.
tovkit::SharedPtr<tovkit::JsonValue> MemberWithoutName(tovkit::JsonValue& object) {
  CoreString name;
  tovkit::SharedPtr<tovkit::JsonValue> member;
  if (object.GetType() != tovkit::JsonObject || object.Size() == 0) return {};
  for (bool more = object.FirstMember(name, member);; more = object.NextMember(name, member)) {
    if (name.GetLength() == 0) return member;
    if (!more) return {};
  }
}

}  // namespace

JsonPath ParseJsonPath(const std::string& text) {
  JsonPath path;
  if (text.empty()) return path;
  path.pointer = text[0] == '/';
  path.pointer ? AddPointerSteps(text, path) : AddDottedSteps(text, path);
  return path;
}

tovkit::SharedPtr<tovkit::JsonValue> Follow(tovkit::JsonValue& value, const JsonPath& path,
                                            const std::string& step) {
  if (value.GetType() != tovkit::JsonArray) {
    return path.pointer && step.empty() ? MemberWithoutName(value) : value.GetMember(step.c_str());
  }
  std::int32_t index = 0;
  const char* const end = step.data() + step.size();
  const auto [behind, error] = std::from_chars(step.data(), end, index);
  bool number = error == std::errc() && behind == end;
  // RFC 6901, section 4: digits alone, and no zero before others.
  if (path.pointer && (step[0] == '-' || (step.size() > 1 && step[0] == '0'))) number = false;
  return value.GetAt(number ? index : -1);
}

}  // namespace cli
