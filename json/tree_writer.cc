// SPDX-License-Identifier: MIT
// The text grows in one buffer, and every value writes a comma behind itself. The closing bracket of a
// container overwrites its last comma. So no value needs to know whether it is the first.
//
// There is always room for a number or a short string, so that only long strings ask for more.
#include "byte_scan.h"
#include "double_writer.h"
#include "tree.h"
#include "tree_walk.h"

#include <rapidjson/internal/itoa.h>

#include <bit>
#include <climits>
#include <cmath>
#include <cstring>
#include <stdexcept>

namespace tovkit {

namespace {

using TextBuffer = InlineStack<char, 1024>;

constexpr std::size_t kLongestEscape = 6;        // \u001F
constexpr std::size_t kRoom = kDoubleRoom + 32;  // for a bracket, a number or a short string, and a comma

// Writes the escape of `c`, which has one, and returns its end.
char* WriteEscape(char c, char* top) {
  static constexpr char kHexDigits[] = "0123456789ABCDEF";
  static constexpr char kLetters[] = "uuuuuuuubtnufruu";
  *top++ = '\\';
  if (c == '"' || c == '\\') {
    *top++ = c;
    return top;
  }
  const auto code = static_cast<unsigned char>(c);
  const char letter = code < 0x10 ? kLetters[code] : 'u';
  *top++ = letter;
  if (letter != 'u') return top;
  const char digits[4] = {'0', '0', kHexDigits[code >> 4], kHexDigits[code & 15]};
  std::memcpy(top, digits, sizeof digits);
  return top + sizeof digits;
}

// Writes the rest of a string that ends at `end`, less than a block. When the block before it was plain, the
// rest is written as part of one last block that overlaps it.
char* WriteTail(const char* text, const char* end, bool isPlain, char* top) {
  const std::ptrdiff_t rest = end - text;
  if (isPlain && SpecialBytes(LoadBytes(end - kBlock)) >> (kBlock - rest) == 0) {
    StoreBytes(top + rest - kBlock, LoadBytes(end - kBlock));
    return top + rest;
  }
  for (; text != end; ++text) {
    if (IsSpecialByte(*text)) {
      top = WriteEscape(*text, top);
    } else {
      *top++ = *text;
    }
  }
  return top;
}

// Writes any string with its quotation marks. Whole blocks are copied as they stand, up to what needs an
// escape.
[[gnu::noinline]] char* WriteString(TextBuffer& buffer, char* top, const char* text, std::size_t length) {
  const char* const end = text + length;
  bool isPlain = length >= kBlock;
  top = buffer.Reserve(top, length + kRoom);
  *top++ = '"';
  while (end - text >= kBlock) {
    const __m128i block = LoadBytes(text);
    const int plain = std::countr_zero(SpecialBytes(block) | 1U << kBlock);
    StoreBytes(top, block);
    text += plain;
    top += plain;
    if (plain == kBlock) continue;
    top = WriteEscape(*text++, top);
    top = buffer.Reserve(top, static_cast<std::size_t>(end - text) + kRoom);
    isPlain = false;
  }
  top = buffer.Reserve(top, kBlock * kLongestEscape + kRoom);
  top = WriteTail(text, end, isPlain, top);
  *top++ = '"';
  *top++ = ',';
  return buffer.Reserve(top, kRoom);
}

char* WriteInteger(const Value& number, char* top) {
  if (number.IsUint()) return rapidjson::internal::u32toa(number.GetUint(), top);
  if (number.IsInt64()) return rapidjson::internal::i64toa(number.GetInt64(), top);
  return rapidjson::internal::u64toa(number.GetUint64(), top);
}

// Small, and never passed to a call that is not inlined, so that the top stays in a register.
class TreeWriter {
 public:
  explicit TreeWriter(TextBuffer& buffer) : buffer_(buffer), top_(buffer.Reserve(buffer.First(), kRoom)) {}

  void Open(bool isObject) {
    *top_++ = isObject ? '{' : '[';
    Reserve();
  }
  void Close(const Value& container) {
    if (top_[-1] == ',') --top_;
    *top_++ = container.IsObject() ? '}' : ']';
    *top_++ = ',';
    Reserve();
  }
  void Name(const Value& name) {
    String(name);
    top_[-1] = ':';
  }
  [[nodiscard]] bool Leaf(const Value& value);

  char* Top() const { return top_; }

 private:
  void Reserve() { top_ = buffer_.Reserve(top_, kRoom); }
  void Word(const char* word, std::size_t length) {
    std::memcpy(top_, word, length);
    top_ += length;
    Reserve();
  }
  void String(const Value& string);

  TextBuffer& buffer_;
  char* top_;
};

[[gnu::always_inline]] inline void TreeWriter::String(const Value& string) {
  const unsigned length = ShortLength(string);
  const __m128i block = LoadBytes(&string);
  if (length > kShortStringMost || (SpecialBytes(block) & ((1U << length) - 1)) != 0) [[unlikely]] {
    top_ = WriteString(buffer_, top_, string.GetString(), string.GetStringLength());
    return;
  }
  *top_ = '"';
  StoreBytes(top_ + 1, block);
  std::memcpy(top_ + length + 1, "\",", 2);
  top_ += length + 3;
  Reserve();
}

[[gnu::always_inline]] inline bool TreeWriter::Leaf(const Value& value) {
  if (value.IsString()) {
    String(value);
  } else if (value.IsDouble()) {
    // Compatibility: a double that cannot be written ends the text there, in silence.
    if (!std::isfinite(value.GetDouble())) return false;
    top_ = WriteDouble(value.GetDouble(), top_);
    *top_++ = ',';
    Reserve();
  } else if (value.IsNumber()) {
    top_ = WriteInteger(value, top_);
    *top_++ = ',';
    Reserve();
  } else if (value.IsNull()) {
    Word("null,", 5);
  } else if (value.IsTrue()) {
    Word("true,", 5);
  } else {
    Word("false,", 6);
  }
  return true;
}

}  // namespace

CoreString WriteTree(const Value& root) {
  TextBuffer buffer;
  TreeWriter writer(buffer);
  const bool isWhole = WalkTree(root, writer);
  const auto size = static_cast<std::size_t>(writer.Top() - buffer.First()) - (isWhole ? 1 : 0);
  if (size >= INT_MAX) throw std::length_error("JSON text too long");
  return CoreString(buffer.First(), static_cast<int>(size));
}

}  // namespace tovkit
