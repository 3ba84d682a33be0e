// SPDX-License-Identifier: MIT
// The parser keeps no places, so a place is looked for in the text when somebody asks. Only the containers on
// the way are scanned. Arrays stay indexed, since a page asks for its lines in turn; of objects a few do.
#include "json_source.h"

#include "excerpt.h"
#include "json_reader.h"
#include "json_scan.h"
#include "json_text.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <utility>

namespace jobs {

namespace {

using tovkit::JsonValue;
using tovkit::SharedPtr;

constexpr std::size_t kKeptObjects = 8;

// The next reference token of a pointer, which moves behind it.
std::string TakeToken(std::string_view& pointer) {
  pointer.remove_prefix(1);
  const std::size_t length = std::min(pointer.find('/'), pointer.size());
  std::string token;
  for (std::size_t i = 0; i < length; ++i) {
    const bool isEscape = pointer[i] == '~' && i + 1 < length;
    token += isEscape ? (pointer[++i] == '1' ? '/' : '~') : pointer[i];
  }
  pointer.remove_prefix(length);
  return token;
}

std::size_t CodePoints(std::string_view text) {
  return static_cast<std::size_t>(std::count_if(
      text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

}  // namespace

JsonSource::JsonSource(const Input& input) : name_(input.name()), root_(ReadJson(input, &read_)) {
  Begin(read_);
}

JsonSource::JsonSource(std::string name, std::string_view text, std::string pointer,
                       SharedPtr<JsonValue> value)
    : name_(std::move(name)), base_(std::move(pointer)), root_(std::move(value)) {
  Begin(text);
  const tovkit::JsonType type = root_->GetType();
  if (type != tovkit::JsonArray && type != tovkit::JsonObject) {
    throw ErrorAt("", "neither an array nor an object");
  }
}

void JsonSource::Begin(std::string_view text) {
  text_ = text;
  if (text.substr(0, 3) == "\xEF\xBB\xBF") start_ = 3;
  lastOffset_ = start_;
}

std::string JsonSource::printableName() const { return ValidUtf8(name_); }

const std::vector<std::size_t>& JsonSource::ElementsAt(std::size_t array) {
  const auto [known, isNew] = arrays_.try_emplace(array);
  if (!isNew) return known->second;
  for (std::size_t at = SkipJsonSpace(text_, array + 1); at < text_.size() && text_[at] != ']';) {
    known->second.push_back(at);
    at = SkipJsonSpace(text_, SkipJsonValue(text_, at));
    if (at < text_.size() && text_[at] == ',') at = SkipJsonSpace(text_, at + 1);
  }
  return known->second;
}

const JsonSource::Members& JsonSource::MembersAt(std::size_t object) {
  if (objects_.size() >= kKeptObjects && objects_.count(object) == 0) objects_.clear();
  const auto [known, isNew] = objects_.try_emplace(object);
  if (!isNew) return known->second;
  for (std::size_t at = SkipJsonSpace(text_, object + 1); at < text_.size() && text_[at] != '}';) {
    const std::size_t name = at;
    at = SkipJsonString(text_, at);
    std::string key = ReadJsonString(std::string_view(text_).substr(name, at - name));
    at = SkipJsonSpace(text_, SkipJsonSpace(text_, at) + 1);  // behind the colon
    known->second.names.push_back(name);
    known->second.values.try_emplace(std::move(key), at);
    at = SkipJsonSpace(text_, SkipJsonValue(text_, at));
    if (at < text_.size() && text_[at] == ',') at = SkipJsonSpace(text_, at + 1);
  }
  return known->second;
}

std::size_t JsonSource::OffsetOf(std::string_view pointer) {
  const std::string whole = base_ + std::string(pointer);
  std::string_view rest = whole;
  std::size_t at = SkipJsonSpace(text_, start_);
  while (!rest.empty() && at < text_.size()) {
    const std::string token = TakeToken(rest);
    if (text_[at] == '[') {
      std::size_t index = SIZE_MAX;
      std::from_chars(token.data(), token.data() + token.size(), index);
      const std::vector<std::size_t>& elements = ElementsAt(at);
      if (index >= elements.size()) break;
      at = elements[index];
    } else if (text_[at] == '{') {
      const Members& members = MembersAt(at);
      const auto member = members.values.find(token);
      if (member == members.values.end()) break;
      at = member->second;
    } else {
      break;
    }
  }
  return at;
}

std::size_t JsonSource::OffsetOfName(std::string_view object, std::size_t member) {
  const std::size_t at = OffsetOf(object);
  if (at == text_.size() || text_[at] != '{') return at;
  const std::vector<std::size_t>& names = MembersAt(at).names;
  return member < names.size() ? names[member] : at;
}

// Counts from the last place, so that the places of a long text are found in one pass.
TextPosition JsonSource::PositionOf(std::size_t offset) {
  const std::string_view text = text_;
  const auto [from, to] = std::minmax(lastOffset_, offset);
  const std::string_view between = text.substr(from, to - from);
  const auto feeds = static_cast<std::size_t>(std::count(between.begin(), between.end(), '\n'));
  const bool isForward = offset >= lastOffset_;
  if (feeds == 0) {
    const std::size_t columns = CodePoints(between);
    last_.column = isForward ? last_.column + columns : last_.column - columns;
  } else {
    last_.line = isForward ? last_.line + feeds : last_.line - feeds;
    const std::size_t feed = text.substr(0, offset).rfind('\n');
    const std::size_t start = feed == std::string_view::npos ? start_ : feed + 1;
    last_.column = CodePoints(text.substr(start, offset - start)) + 1;
  }
  lastOffset_ = offset;
  return last_;
}

Error JsonSource::ErrorAt(std::string_view pointer, const std::string& text) {
  return ErrorAtOffset(OffsetOf(pointer), pointer, text);
}

Error JsonSource::ErrorAtOffset(std::size_t offset, std::string_view pointer, const std::string& text) {
  if (!hasText()) return Error(ErrorKind::kInput, name_, text).At({0, 0, std::string(pointer)});
  const TextPosition position = PositionOf(offset);
  return Error(ErrorKind::kInput,
               name_ + ":" + std::to_string(position.line) + ":" + std::to_string(position.column), text,
               ExcerptAt(text_, offset))
      .At({position.line, position.column, std::string(pointer)});
}

}  // namespace jobs
