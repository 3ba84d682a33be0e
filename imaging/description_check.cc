// SPDX-License-Identifier: MIT
// Every member of a description is compared with one table, which knows its kind and what is drawn in its
// place. A device reads leniently and in silence, so this is a second reading of the same members. It changes
// nothing that is drawn.
#include "description_check.h"

#include "nearest_word.h"
#include "report_text.h"
#include "tovkit/imaging.h"

#include <tovmx/color_space.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <utility>

namespace tovkit {

namespace {

enum class ValueKind { kText, kNumber, kInteger, kFlag, kObject, kAny };

struct KeyRule {
  const char* name;
  ValueKind kind;
  const char* otherwise;  // what is drawn when the value is not usable
};

using KeyRules = std::vector<KeyRule>;

const KeyRules& LineKeys() {
  static const KeyRules keys = {{"Content", ValueKind::kText, "nothing is drawn"},
                                {"DeltaX", ValueKind::kNumber, "0 is used"},
                                {"DeltaY", ValueKind::kNumber, "0 is used"},
                                {"Font", ValueKind::kObject, "the default font is used"},
                                {"$schema", ValueKind::kAny, ""}};  // which editors look for
  return keys;
}

const KeyRules& FontKeys() {
  static const KeyRules keys = {{"FontSize", ValueKind::kInteger, "26 is used"},
                                {"FontName", ValueKind::kText, "SimSun is used"},
                                {"Bold", ValueKind::kFlag, "false is used"},
                                {"Italic", ValueKind::kFlag, "false is used"},
                                {"Color", ValueKind::kText, "#000000 is used"}};
  return keys;
}

constexpr int kMaxQuoted = 60;
constexpr double kFarthest = 2147483647;

std::string Quoted(const char* text) {
  const std::string all = ReportText(text, kMaxQuoted + 1);
  const std::string cut = ReportText(text, kMaxQuoted);
  return "\"" + cut + (cut.size() < all.size() ? "...\"" : "\"");
}

// A name as one text, which a NUL does not end.
std::string Whole(const CoreString& name) {
  std::string whole;
  for (int i = 0; i < name.GetLength(); ++i) {
    const char c = name.c_str()[i];
    whole += c == '\0' ? "\\u0000" : std::string(1, c);
  }
  return whole;
}

// Whether a text ends at a NUL within it. Only the written text tells.
bool IsCutShort(const JsonValue& text) {
  const CoreString written = text.ToString();
  for (const char* at = written.c_str(); *at != '\0'; ++at) {
    if (*at != '\\') continue;
    if (std::strncmp(at, "\\u0000", 6) == 0) return true;
    ++at;
  }
  return false;
}

std::string PointerTo(const std::string& parent, const char* key) {
  std::string pointer = parent + "/";
  for (const char c : ReportText(key, INT_MAX)) {
    pointer += c == '~' ? "~0" : c == '/' ? "~1" : std::string(1, c);
  }
  return pointer;
}

const char* Expected(ValueKind kind) {
  switch (kind) {
    case ValueKind::kText:
      return "a string";
    case ValueKind::kNumber:
      return "a number";
    case ValueKind::kInteger:
      return "an integer";
    case ValueKind::kFlag:
      return "true or false";
    default:
      return "an object";
  }
}

const char* Found(JsonType type) {
  switch (type) {
    case JsonNull:
      return "null";
    case JsonDouble:
      return "a number with a fraction or an exponent";
    case JsonString:
      return "a string";
    case JsonBoolean:
      return "true or false";
    case JsonArray:
      return "an array";
    case JsonObject:
      return "an object";
    default:
      return "an integer";
  }
}

bool IsInteger(JsonType type) {
  return type == JsonInt || type == JsonUint || type == JsonInt64 || type == JsonUint64;
}

bool Fits(const JsonValue& value, ValueKind kind) {
  std::int32_t integer = 0;
  float number = 0;
  switch (kind) {
    case ValueKind::kText:
      return value.GetType() == JsonString;
    case ValueKind::kNumber:
      return value.GetFloat(number);
    case ValueKind::kInteger:
      return value.GetInt(integer);
    case ValueKind::kFlag:
      return value.GetType() == JsonBoolean;
    case ValueKind::kObject:
      return value.GetType() == JsonObject;
    default:
      return true;
  }
}

// A number of the right kind that is too big to be read.
bool IsTooBig(JsonType type, ValueKind kind) {
  if (kind == ValueKind::kInteger) return IsInteger(type);
  return kind == ValueKind::kNumber && (IsInteger(type) || type == JsonDouble);
}

class Checker {
 public:
  explicit Checker(std::size_t limit) : limit_(limit) {}

  void CheckLine(const JsonValue& line, const CoreWideString& text) {
    if (line.GetType() != JsonObject) {
      Warn("wrong-type", "", std::string(Found(line.GetType())) + ", where a line is an object");
      return;
    }
    CheckKeys(line, "", LineKeys(), FontKeys());
    CheckNuls(line);
    CheckContent(line, text);
    const SharedPtr<const JsonValue> font = line.GetMember("Font");
    if (!font || font->GetType() != JsonObject) return;
    CheckKeys(*font, "/Font", FontKeys(), LineKeys());
    CheckSize(*font);
    CheckColor(*font);
  }

  DescriptionCheck Take() { return std::move(check_); }

 private:
  void Warn(const char* kind, std::string pointer, std::string message, std::string nearest = "",
            int member = -1) {
    ++check_.count;
    if (check_.warnings.size() >= limit_) return;
    check_.warnings.push_back({kind, std::move(pointer), std::move(message), std::move(nearest), member});
  }

  void CheckKeys(const JsonValue& object, const std::string& where, const KeyRules& rules,
                 const KeyRules& elsewhere) {
    std::vector<bool> seen(rules.size());
    int member = -1;
    for (const CoreString& name : object.GetMemberNames()) {
      const std::string key = Whole(name);
      ++member;
      const auto rule =
          std::find_if(rules.begin(), rules.end(), [&key](const KeyRule& r) { return r.name == key; });
      if (rule == rules.end()) {
        WarnOfUnknown(key.c_str(), member, where, rules, elsewhere);
        continue;
      }
      const auto index = static_cast<std::size_t>(rule - rules.begin());
      if (seen[index]) {
        Warn("duplicate-key", PointerTo(where, rule->name),
             Quoted(rule->name) + " stands here twice; the first counts", "", member);
      } else {
        CheckType(*object.GetMember(rule->name), where, *rule);
      }
      seen[index] = true;
    }
  }

  // The texts of a warning are made only when it is kept.
  void WarnOfUnknown(const char* key, int member, const std::string& where, const KeyRules& rules,
                     const KeyRules& elsewhere) {
    if (check_.warnings.size() >= limit_) {
      ++check_.count;
      return;
    }
    const bool inFont = !where.empty();
    std::string message = Quoted(key) + (inFont ? " is no key of a font" : " is no key of a line");
    std::string nearest = NearestWord(key, NamesOf(rules));
    const std::string other = NearestWord(key, NamesOf(elsewhere));
    if ((!other.empty() && other == key) || (nearest.empty() && !other.empty())) {
      nearest = other;
      message += inFont ? "; \"" + nearest + "\" stands beside \"Font\""
                        : "; \"" + nearest + "\" belongs into \"Font\"";
    } else if (!nearest.empty()) {
      message += "; did you mean \"" + nearest + "\"?";
    } else {
      std::string all;
      for (const std::string& name : NamesOf(rules)) all += (all.empty() ? "" : ", ") + name;
      message += "; there are " + all;
    }
    Warn("unknown-key", PointerTo(where, key), std::move(message), std::move(nearest), member);
  }

  static std::vector<std::string> NamesOf(const KeyRules& rules) {
    std::vector<std::string> names;
    for (const KeyRule& rule : rules) {
      if (rule.kind != ValueKind::kAny) names.emplace_back(rule.name);
    }
    return names;
  }

  void CheckType(const JsonValue& value, const std::string& where, const KeyRule& rule) {
    if (Fits(value, rule.kind)) {
      if (rule.kind == ValueKind::kNumber) CheckReach(value, where, rule);
      return;
    }
    const std::string pointer = PointerTo(where, rule.name);
    const std::string name = Quoted(rule.name);
    if (IsTooBig(value.GetType(), rule.kind)) {
      Warn("out-of-range", pointer, name + " is too big a number; " + rule.otherwise);
    } else {
      Warn("wrong-type", pointer,
           name + " is " + Found(value.GetType()) + ", where " + Expected(rule.kind) + " is expected; " +
               rule.otherwise + Meant(value, rule.kind));
    }
  }

  // How to write a whole number that is none to the library, as 30.0 and 3e1 are not.
  static std::string Meant(const JsonValue& value, ValueKind kind) {
    double number = 0;
    if (kind != ValueKind::kInteger || !value.GetDouble(number) || number != std::trunc(number)) return "";
    if (std::fabs(number) > kFarthest) return "";
    return "; write " + std::to_string(static_cast<std::int32_t>(number));
  }

  // Numbers of every form have the bounds of integers, which is far beyond any page.
  void CheckReach(const JsonValue& value, const std::string& where, const KeyRule& rule) {
    double number = 0;
    if (!value.GetDouble(number) || (number >= -kFarthest - 1 && number <= kFarthest)) return;
    Warn("out-of-range", PointerTo(where, rule.name),
         Quoted(rule.name) + " is " + (number < 0 ? "below -2147483648" : "above 2147483647") +
             ", far beyond any page");
  }

  // Looked for one by one only where there is any.
  void CheckNuls(const JsonValue& line) {
    if (!IsCutShort(line)) return;
    WarnOfNul(line, "", "Content");
    if (const SharedPtr<const JsonValue> font = line.GetMember("Font")) {
      WarnOfNul(*font, "/Font", "FontName");
      WarnOfNul(*font, "/Font", "Color");
    }
  }

  void WarnOfNul(const JsonValue& object, const std::string& where, const char* key) {
    const SharedPtr<const JsonValue> value = object.GetMember(key);
    if (!value || value->GetType() != JsonString || !IsCutShort(*value)) return;
    Warn("text", PointerTo(where, key),
         Quoted(key) + " holds a NUL character; what stands behind it is not used");
  }

  void CheckSize(const JsonValue& font) {
    const SharedPtr<const JsonValue> value = font.GetMember("FontSize");
    std::int32_t size = 0;
    if (!value || !value->GetInt(size)) return;
    if (size < 1) {
      Warn("out-of-range", "/Font/FontSize",
           "\"FontSize\" is " + std::to_string(size) + ", below 1; 26 is used");
    } else if (size > kLargestFontSize) {
      Warn("out-of-range", "/Font/FontSize",
           "\"FontSize\" is " + std::to_string(size) + ", above 75000; nothing is drawn");
    }
  }

  void CheckColor(const JsonValue& font) {
    const char* const text = font.GetMemberString("Color", "");
    if (*text == '\0') return;
    std::uint32_t color = 0;
    std::uint32_t kind = 0;
    if (!ParseColor(text, color, kind)) {
      Warn("color", "/Font/Color",
           Quoted(text) + " is no color such as \"#1F4E79\" or \"31 78 121\"; #000000 is used");
    } else if (!IsExactColor(text)) {
      Warn("color", "/Font/Color",
           Quoted(text) + " is no color such as \"#1F4E79\" or \"31 78 121\"; " + Drawn(color) + " is used");
    } else if (kind == kCoreColorCmyk) {
      Warn("color", "/Font/Color",
           Quoted(text) + " is a CMYK color, which text does not know; " + Drawn(color) + " is used");
    }
  }

  static std::string Drawn(std::uint32_t color) {
    std::string text;
    ColorToText(color, kCoreColorRgb, text);
    return text;
  }

  // Only hexadecimal digits behind "#", or else only numbers from 0 to 255 with spaces between them.
  static bool IsExactColor(const char* text) {
    if (*text == '#') return text[1 + std::strspn(text + 1, "0123456789abcdefABCDEF")] == '\0';
    text += std::strspn(text, " \t\n\v\f\r");
    while (*text != '\0') {
      int value = 0;
      const char* const first = text;
      for (; *text >= '0' && *text <= '9' && value <= 255; ++text) value = value * 10 + (*text - '0');
      if (text == first || value > 255 || (*text != ' ' && *text != '\0')) return false;
      text += std::strspn(text, " ");
    }
    return true;
  }

  void CheckContent(const JsonValue& line, const CoreWideString& text) {
    const SharedPtr<const JsonValue> value = line.GetMember("Content");
    if (!value) {
      Warn("text", "", "\"Content\", the text, is missing; nothing is drawn");
    } else if (value->GetType() == JsonString) {
      if (text.IsEmpty()) Warn("text", "/Content", "\"Content\" is empty; nothing is drawn");
      if (text.GetLength() > kLongestLine) {
        Warn("text", "/Content",
             "\"Content\" has " + std::to_string(text.GetLength()) +
                 " characters, more than the 262144 of a line; nothing is drawn");
      }
      CheckCharacters(text);
    }
  }

  void CheckCharacters(const CoreWideString& text) {
    int breaks = 0;
    int controls = 0;
    int broken = 0;
    int none = 0;
    for (int i = 0; i < text.GetLength(); ++i) {
      const auto c = static_cast<char32_t>(text.GetData()[i]);
      if ((c >= 0x09 && c <= 0x0D) || c == 0x85 || c == 0x2028 || c == 0x2029) {
        ++breaks;
      } else if (c < 0x20 || (c >= 0x7F && c < 0xA0)) {
        ++controls;
      } else if (c >= 0xD800 && c <= 0xDFFF) {
        ++broken;
      } else if ((c >= 0xFDD0 && c <= 0xFDEF) || (c & 0xFFFE) == 0xFFFE) {
        ++none;
      }
    }
    WarnOfCharacters(breaks, "tab or line break, which shows as a space",
                     "tabs or line breaks, which show as spaces");
    WarnOfCharacters(controls, "control character, which is left out",
                     "control characters, which are left out");
    WarnOfCharacters(broken, "byte that is no UTF-8, which shows as U+FFFD",
                     "bytes that are no UTF-8, which show as U+FFFD");
    WarnOfCharacters(none, "code point that is no character, which shows as U+FFFD",
                     "code points that are no characters, which show as U+FFFD");
  }

  void WarnOfCharacters(int count, const char* one, const char* several) {
    if (count == 0) return;
    Warn("text", "/Content",
         "\"Content\" holds " + std::to_string(count) + " " + (count == 1 ? one : several));
  }

  std::size_t limit_;
  DescriptionCheck check_;
};

}  // namespace

DescriptionCheck CheckDescription(const JsonValue& description, const CoreWideString& text,
                                  std::size_t limit) {
  Checker checker(limit);
  checker.CheckLine(description, text);
  return checker.Take();
}

}  // namespace tovkit
