// SPDX-License-Identifier: MIT
// One pass over the text, without recursion, into a TreeBuilder.
//
// No byte behind the text is read. The last byte that is no white space must close the root. That byte ends
// every run of white space and of digits, so only strings, words and blocks of bytes have to look for the
// end.
#include "fast_reader.h"

#include "byte_scan.h"
#include "number_reader.h"
#include "string_reader.h"
#include "tree_builder.h"

#include <bit>
#include <cstdint>
#include <cstring>

namespace tovkit {

namespace {

bool IsSpace(char c) { return c == ' ' || c == '\n' || c == '\r' || c == '\t'; }

class FastReader {
 public:
  FastReader(const char* end, DocumentPool& pool) : end_(end), tree_(pool), strings_(end, pool) {}

  // Reads the root, whose first byte is at `text`. Null when it is not valid or something follows it.
  [[nodiscard]] Value* Read(const char* text);

 private:
  const char* SkipSpace(const char* text) const {
    return static_cast<unsigned char>(*text) > ' ' ? text : SkipRunOfSpace(text);
  }
  const char* SkipRunOfSpace(const char* text) const;

  // Each of these fills the slot `place` and returns the place behind what it read, null for an error.
  const char* ReadName(const char* text, Value* place);
  const char* ReadScalar(const char* text, Value* place);
  const char* ReadWord(const char* text, const char* word, std::ptrdiff_t length, Value value, Value* place);

  char Closer() const { return tree_.IsInObject() ? '}' : ']'; }

  const char* const end_;
  TreeBuilder tree_;
  StringReader strings_;
};

Value* FastReader::Read(const char* text) {
  Value* top = tree_.First();  // the first free slot
  for (;;) {
    top = tree_.Reserve(top);
    if (tree_.IsInObject()) {
      text = ReadName(text, top++);
      if (text == nullptr) return nullptr;
    }
    if (*text == '{' || *text == '[') {
      tree_.Open(*text == '{', top++);
      text = SkipSpace(text + 1);
      if (*text != Closer()) continue;
    } else {
      text = ReadScalar(text, top++);
      if (text == nullptr) return nullptr;
      text = SkipSpace(text);
    }
    while (*text != ',') {
      if (*text != Closer()) return nullptr;
      top = tree_.Close(top);
      ++text;
      if (!tree_.IsOpen()) return text == end_ ? tree_.First() : nullptr;
      if (text == end_) return nullptr;
      text = SkipSpace(text);
    }
    text = SkipSpace(text + 1);
  }
}

// Lines are indented by spaces, so a run is mostly a line feed and then spaces alone.
const char* FastReader::SkipRunOfSpace(const char* text) const {
  while (IsSpace(*text)) {
    ++text;
    if (static_cast<unsigned char>(*text) > ' ') return text;
    for (; end_ - text >= 2 * kBlock; text += 2 * kBlock) {
      const std::uint32_t ink =
          ~(SpaceBytes(LoadBytes(text)) | SpaceBytes(LoadBytes(text + kBlock)) << kBlock);
      if (ink == 0) continue;
      text += std::countr_zero(ink);
      break;
    }
  }
  return text;
}

// Reads a member's name and colon.
const char* FastReader::ReadName(const char* text, Value* place) {
  if (*text != '"') return nullptr;
  text = strings_.Read(text + 1, place);
  if (text == nullptr) return nullptr;
  text = SkipSpace(text);
  if (*text != ':') return nullptr;
  ++text;
  if (*text == ' ') ++text;  // the most usual form
  return SkipSpace(text);
}

const char* FastReader::ReadScalar(const char* text, Value* place) {
  switch (*text) {
    case '"':
      return strings_.Read(text + 1, place);
    case 't':
      return ReadWord(text, "true", 4, Value(true), place);
    case 'f':
      return ReadWord(text, "false", 5, Value(false), place);
    case 'n':
      return ReadWord(text, "null", 4, Value(), place);
    default:
      return ReadNumber(text, end_, place);
  }
}

const char* FastReader::ReadWord(const char* text, const char* word, std::ptrdiff_t length, Value value,
                                 Value* place) {
  if (end_ - text < length || std::memcmp(text, word, static_cast<std::size_t>(length)) != 0) return nullptr;
  new (place) Value(std::move(value));
  return text + length;
}

}  // namespace

// What it does not know, comments and NaN among it, is left to the careful parser, which refuses it.
bool ReadFast(const char* text, std::size_t length, Document& document) {
  const void* const nul = std::memchr(text, '\0', length);
  const char* end = nul != nullptr ? static_cast<const char*>(nul) : text + length;
  // Compatibility: each byte of the byte-order mark is skipped by itself.
  for (const char byte : {'\xef', '\xbb', '\xbf'}) {
    if (text != end && *text == byte) ++text;
  }
  while (end != text && IsSpace(end[-1])) --end;
  while (text != end && IsSpace(*text)) ++text;
  if (end - text < 2 || (*text != '{' && *text != '[') || (end[-1] != '}' && end[-1] != ']')) return false;
  FastReader reader(end, document.GetAllocator());
  Value* const root = reader.Read(text);
  if (root == nullptr) return false;
  static_cast<Value&>(document) = *root;
  return true;
}

}  // namespace tovkit
