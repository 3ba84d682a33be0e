// SPDX-License-Identifier: MIT
// Json::Diagnose: a CarefulWalk that keeps only the names and indices of the open containers, so that an
// error has a pointer as well as a place. It prints nothing and builds nothing.
#include "careful_walk.h"
#include "tovkit/json.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tovkit {

namespace {

struct IgnoreValue : rapidjson::BaseReaderHandler<rapidjson::UTF8<>, IgnoreValue> {};

struct KeepName : rapidjson::BaseReaderHandler<rapidjson::UTF8<>, KeepName> {
  explicit KeepName(std::string& target) : name(target) {}
  bool String(const char* text, rapidjson::SizeType length, bool /*copy*/) {
    name.assign(text, length);
    return true;
  }
  std::string& name;
};

// For each open container, which of its values is being read.
class WayDown {
 public:
  IgnoreValue Values() const { return {}; }
  KeepName Names() { return KeepName(open_.back().name); }
  void Open(bool isObject) { open_.push_back({isObject}); }
  void Close(bool /*isObject*/, rapidjson::SizeType /*count*/) { open_.pop_back(); }
  void Between() { open_.back().inside = false; }
  void BeginItem(bool isObject) {
    ++open_.back().count;
    open_.back().inside = !isObject;
  }
  void EndName() { open_.back().inside = true; }

  // "an object", "an array", or nothing outside of both.
  const char* Innermost() const {
    if (open_.empty()) return nullptr;
    return open_.back().isObject ? "an object" : "an array";
  }

  // RFC 6901.
  std::string Pointer() const {
    std::string pointer;
    for (const Container& container : open_) {
      if (!container.inside) break;  // the innermost one, between two of its values
      pointer += '/';
      if (!container.isObject) pointer += std::to_string(container.count - 1);
      for (const char c : container.name) pointer += c == '~' ? "~0" : c == '/' ? "~1" : std::string(1, c);
    }
    return pointer;
  }

 private:
  struct Container {
    bool isObject;
    bool inside = false;      // a member whose name is known, or an element, is being read
    std::uint64_t count = 0;  // of those begun
    std::string name = {};    // of the member
  };

  std::vector<Container> open_;
};

const char* MessageOf(std::int32_t code) {
  switch (code) {
    case rapidjson::kParseErrorDocumentEmpty:
      return "nothing but white space, where JSON is expected";
    case rapidjson::kParseErrorDocumentRootNotSingular:
      return "the text goes on behind the end of its value";
    case rapidjson::kParseErrorValueInvalid:
      return "a value is expected";
    case rapidjson::kParseErrorObjectMissName:
      return "a member's name, in quotation marks, is expected";
    case rapidjson::kParseErrorObjectMissColon:
      return "a colon is expected behind a member's name";
    case rapidjson::kParseErrorObjectMissCommaOrCurlyBracket:
      return "a comma or } is expected";
    case rapidjson::kParseErrorArrayMissCommaOrSquareBracket:
      return "a comma or ] is expected";
    case rapidjson::kParseErrorStringUnicodeEscapeInvalidHex:
      return "\\u is not followed by four hexadecimal digits";
    case rapidjson::kParseErrorStringUnicodeSurrogateInvalid:
      return "half of a surrogate pair";
    case rapidjson::kParseErrorStringEscapeInvalid:
      return "an unknown escape, or a control character in a string";
    case rapidjson::kParseErrorNumberTooBig:
      return "the number is too big";
    case rapidjson::kParseErrorNumberMissFraction:
      return "a digit is expected behind the decimal point";
    case rapidjson::kParseErrorNumberMissExponent:
      return "a digit is expected in the exponent";
    case kJsonRootIsScalar:
      return "neither an array nor an object";
    case kJsonTooLong:
      return "longer than 4 GiB";
    default:
      return "no JSON";
  }
}

// The encoding that the text seems to have, when it cannot be UTF-8; else null. (UTF-16 and UTF-32 with the
// high byte first and no mark begin with a NUL, which is an accepted text.)
const char* ForeignEncoding(std::string_view text) {
  const auto begins = [text](std::string_view bytes) { return text.substr(0, bytes.size()) == bytes; };
  constexpr std::string_view kNuls("\0\0", 2);
  if (begins("\xFF\xFE")) return text.substr(2, 2) == kNuls ? "UTF-32" : "UTF-16";
  if (begins("\xFE\xFF")) return "UTF-16";
  if (text.size() < 2 || text[1] != '\0') return nullptr;
  return text.substr(2, 2) == kNuls ? "UTF-32" : "UTF-16";
}

// Whether the rest is an escape, or the two of a surrogate pair, that the end of the text cuts off.
bool IsCutEscape(std::string_view rest) {
  constexpr std::size_t kEscape = 6;
  if (rest.size() > kEscape && rest[kEscape] == '\\') {
    return rest.substr(0, 2) == "\\u" && rest.size() < 2 * kEscape && IsCutEscape(rest.substr(kEscape));
  }
  if (rest == "\\") return true;
  return rest.size() <= kEscape && rest.substr(0, 2) == "\\u" &&
         rest.find_first_not_of("0123456789abcdefABCDEF", 2) == std::string_view::npos;
}

// What the text ends inside of, though it is expected to go on; null when it does not end there.
const char* WhatIsCut(std::string_view text, const JsonDiagnosis& diagnosis, const WayDown& way) {
  const std::size_t offset = diagnosis.offset;
  switch (diagnosis.code) {
    case rapidjson::kParseErrorStringMissQuotationMark:
      return "a string";
    case rapidjson::kParseErrorStringEscapeInvalid:
    case rapidjson::kParseErrorStringUnicodeEscapeInvalidHex:
    case rapidjson::kParseErrorStringUnicodeSurrogateInvalid:
      return IsCutEscape(text.substr(offset)) ? "a string" : nullptr;
    default:
      break;
  }
  if (offset < text.size() || diagnosis.code == rapidjson::kParseErrorDocumentEmpty) return nullptr;
  const bool isScalar = diagnosis.code == rapidjson::kParseErrorValueInvalid;
  const char last = text.back();
  if (isScalar && last >= 'a' && last <= 'z') return "a word";
  if ((isScalar && last == '-') || diagnosis.code == rapidjson::kParseErrorNumberMissFraction ||
      diagnosis.code == rapidjson::kParseErrorNumberMissExponent) {
    return "a number";
  }
  return way.Innermost();
}

std::string Describe(std::string_view text, const JsonDiagnosis& diagnosis, const WayDown& way) {
  if (const char* const encoding = ForeignEncoding(text)) {
    return std::string("this looks like ") + encoding + ", and JSON is UTF-8";
  }
  const std::size_t end = std::min(text.find('\0'), text.size());
  const char* const cut = WhatIsCut(text.substr(0, end), diagnosis, way);
  std::string message = MessageOf(diagnosis.code);
  if (cut == nullptr) return message;
  const std::string ends =
      std::string(end == text.size() ? "the text ends inside " : "a NUL character ends the text inside ") +
      cut;
  const bool isPlain = std::strcmp(cut, "a string") == 0 || std::strcmp(cut, "a word") == 0;
  return isPlain ? ends : ends + ": " + message;
}

// Line and columns of the offset.
void Locate(const char* text, JsonDiagnosis& diagnosis) {
  const char* const at = text + diagnosis.offset;
  const char* start = text;
  if (diagnosis.offset >= 3 && std::memcmp(text, "\xEF\xBB\xBF", 3) == 0) start += 3;
  diagnosis.line = 1;
  while (const void* const feed = std::memchr(start, '\n', static_cast<std::size_t>(at - start))) {
    start = static_cast<const char*>(feed) + 1;
    ++diagnosis.line;
  }
  const auto startsCodePoint = [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; };
  diagnosis.column = static_cast<std::size_t>(at - start) + 1;
  diagnosis.codePointColumn = static_cast<std::size_t>(std::count_if(start, at, startsCodePoint)) + 1;
}

}  // namespace

JsonDiagnosis Json::Diagnose(const char* text, std::size_t length) {
  JsonDiagnosis diagnosis;
  if (text == nullptr || length == 0 || *text == '\0') return diagnosis;
  if (length > std::numeric_limits<std::uint32_t>::max()) {
    diagnosis.code = kJsonTooLong;
    diagnosis.offset = std::numeric_limits<std::uint32_t>::max();
    diagnosis.message = MessageOf(diagnosis.code);
    return diagnosis;
  }
  WayDown way;
  CarefulWalk<WayDown> walk(text, length, way);
  const bool isJson = walk.Walk();
  if (isJson && walk.RootIsContainer()) return diagnosis;
  diagnosis.code = isJson ? static_cast<std::int32_t>(kJsonRootIsScalar) : walk.Result().code;
  diagnosis.offset = isJson ? walk.RootOffset() : walk.Result().offset;
  const std::string pointer = way.Pointer();
  diagnosis.pointer =
      CoreString(pointer.data(),
                 static_cast<int>(std::min<std::size_t>(pointer.size(), std::numeric_limits<int>::max())));
  diagnosis.message = CoreString(Describe({text, length}, diagnosis, way).c_str());
  Locate(text, diagnosis);
  return diagnosis;
}

}  // namespace tovkit
