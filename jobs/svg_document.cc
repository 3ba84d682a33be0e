// SPDX-License-Identifier: MIT
// Expat walks the file, and only what concerns one <path> is kept. Depth, size and entities are bounded,
// since the file is foreign.
#include "svg_document.h"

#define XML_DTD  // declares the bounds on entities, which the library has
#include <expat.h>

#include <cstring>
#include <memory>
#include <optional>
#include <string_view>
#include <type_traits>

namespace jobs {

namespace {

constexpr std::size_t kDeepest = 256;
// Entities may make a text this many times as long, once it is longer than this many bytes with them.
constexpr float kMostAmplification = 4;
constexpr unsigned long long kAmplificationCounts = 1u << 20;
constexpr std::string_view kSvg = "http://www.w3.org/2000/svg";
constexpr char kBehindNamespace = ' ';

struct FreeParser {
  void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
};

// Follows the tags of a document down to the wanted path.
class PathFinder {
 public:
  explicit PathFinder(const std::string& id)
      : id_(id), parser_(XML_ParserCreateNS(nullptr, kBehindNamespace)) {
    if (parser_ == nullptr) throw std::bad_alloc();
    XML_SetUserData(parser_.get(), this);
    XML_SetElementHandler(
        parser_.get(),
        [](void* self, const char* name, const char** attributes) {
          static_cast<PathFinder*>(self)->Enter(name, attributes);
        },
        [](void* self, const char*) { static_cast<PathFinder*>(self)->Leave(); });
    XML_SetBillionLaughsAttackProtectionMaximumAmplification(parser_.get(), kMostAmplification);
    XML_SetBillionLaughsAttackProtectionActivationThreshold(parser_.get(), kAmplificationCounts);
  }

  SvgPathElement Find(const std::string& text) {
    const bool parsed =
        XML_Parse(parser_.get(), text.data(), static_cast<int>(text.size()), XML_TRUE) == XML_STATUS_OK;
    if (refusal_) throw SvgDocumentError(*refusal_);
    if (!parsed) throw SvgDocumentError(Line(), XML_ErrorString(XML_GetErrorCode(parser_.get())));
    if (found_) return *found_;
    if (otherElement_) throw SvgDocumentError(*otherElement_);
    throw SvgDocumentError(
        Line(), id_.empty() ? "no <path> up to here" : "no <path> with the id '" + id_ + "' up to here");
  }

 private:
  unsigned long Line() const { return XML_GetCurrentLineNumber(parser_.get()); }

  // Ends the parse. Nothing may be thrown through the parser.
  void Refuse(const std::string& what) {
    refusal_.emplace(Line(), what);
    XML_StopParser(parser_.get(), XML_FALSE);
  }

  void Enter(std::string_view name, const char** attributes) {
    if (refusal_) return;
    if (transforms_.size() == kDeepest) return Refuse("elements stand more than 256 deep");
    const char* const transform = Attribute(attributes, "transform");
    transforms_.push_back(transform != nullptr && *transform != '\0' ? Line() : 0);
    if (!found_) Consider(name, attributes);
  }
  void Leave() {
    if (!refusal_) transforms_.pop_back();
  }

  void Consider(std::string_view name, const char** attributes) {
    const char* const id = Attribute(attributes, "id");
    if (!id_.empty() && (id == nullptr || id_ != id)) return;
    if (!IsPath(name)) {
      if (!id_.empty() && !otherElement_) {
        otherElement_.emplace(Line(), "the element with the id '" + id_ + "' is no <path>");
      }
      return;
    }
    const char* const d = Attribute(attributes, "d");
    if (d == nullptr) return Refuse("the <path> has no d");
    found_ = SvgPathElement{d, Line(), {}};
    for (const unsigned long line : transforms_) {
      if (line != 0) found_->transforms.push_back(line);
    }
  }

  // Whether the element is SVG's path, or one in a text that names no namespace.
  static bool IsPath(std::string_view name) {
    const std::size_t behind = name.rfind(kBehindNamespace);
    if (behind == std::string_view::npos) return name == "path";
    return name.substr(0, behind) == kSvg && name.substr(behind + 1) == "path";
  }

  // Names and values in turn, up to a null.
  static const char* Attribute(const char** attributes, const char* name) {
    for (; *attributes != nullptr; attributes += 2) {
      if (std::strcmp(*attributes, name) == 0) return attributes[1];
    }
    return nullptr;
  }

  const std::string& id_;
  std::unique_ptr<std::remove_pointer_t<XML_Parser>, FreeParser> parser_;
  std::vector<unsigned long> transforms_;  // for each open element the line of its transform, 0 without one
  std::optional<SvgPathElement> found_;
  std::optional<SvgDocumentError> refusal_;
  std::optional<SvgDocumentError> otherElement_;  // has the id
};

}  // namespace

bool IsSvgDocument(const std::string& text) {
  std::string_view start = text;
  if (start.substr(0, 2) == "\xFE\xFF" || start.substr(0, 2) == "\xFF\xFE") return true;
  if (start.substr(0, 3) == "\xEF\xBB\xBF") start.remove_prefix(3);
  const std::size_t first = start.find_first_not_of(" \t\r\n");
  return first != std::string_view::npos && start[first] == '<';
}

SvgPathElement FindSvgPath(const std::string& text, const std::string& id) {
  return PathFinder(id).Find(text);
}

}  // namespace jobs
