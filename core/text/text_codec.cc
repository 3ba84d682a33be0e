// SPDX-License-Identifier: MIT
// The exported face of the two codecs. Room is taken before the conversion: for short texts as much as
// could be needed, for long ones exactly, since four times a gigabyte is not to be had.
#include "tovmx/text_codec.h"

#include "text/local_codeset.h"
#include "text/utf8.h"

#include <climits>
#include <cstring>
#include <cwchar>
#include <stdexcept>

namespace {

constexpr std::size_t kLongText = std::size_t{1} << 20;  // characters from which on the exact size is counted
constexpr std::size_t kLongestForm = 4;                  // bytes of one character in UTF-8

// A core string counts its characters in an int.
int CheckedSize(std::size_t size) {
  if (size >= static_cast<std::size_t>(INT_MAX)) throw std::length_error("CoreTextCodec");
  return static_cast<int>(size);
}

std::size_t LengthOf(const char* text, int length) {
  return length < 0 ? std::strlen(text) : static_cast<std::size_t>(length);
}

std::size_t LengthOf(const wchar_t* text, int length) {
  return length < 0 ? std::wcslen(text) : static_cast<std::size_t>(length);
}

}  // namespace

CoreWideString CoreTextCodec::Utf8Decode(const char* text, int length) {
  CoreWideString wide;
  if (text == nullptr) return wide;
  const std::size_t size = LengthOf(text, length);
  if (size == 0) return wide;
  wchar_t* const buffer = wide.GetBuffer(CheckedSize(size));
  wide.ReleaseBuffer(static_cast<int>(tovmx::DecodeUtf8(text, size, buffer)));
  return wide;
}

CoreString CoreTextCodec::Utf8Encode(const wchar_t* text, int length) {
  CoreString bytes;
  if (text == nullptr) return bytes;
  const std::size_t size = LengthOf(text, length);
  if (size == 0) return bytes;
  const std::size_t room = size < kLongText ? size * kLongestForm : tovmx::Utf8Size(text, size);
  char* const buffer = bytes.GetBuffer(CheckedSize(room));
  bytes.ReleaseBuffer(static_cast<int>(tovmx::EncodeUtf8(text, size, buffer)));
  return bytes;
}

CoreWideString CoreTextCodec::LocalDecode(const char* text, int length) {
  if (tovmx::LocalIsUtf8() || text == nullptr) return Utf8Decode(text, length);
  const std::wstring wide = tovmx::DecodeLocal(text, LengthOf(text, length));
  return CoreWideString(wide.data(), CheckedSize(wide.size()));
}

CoreString CoreTextCodec::LocalEncode(const wchar_t* text, int length) {
  if (tovmx::LocalIsUtf8() || text == nullptr) return Utf8Encode(text, length);
  const std::string bytes = tovmx::EncodeLocal(text, LengthOf(text, length));
  return CoreString(bytes.data(), CheckedSize(bytes.size()));
}

const char* CoreTextCodec::LocalCodeset() { return tovmx::LocalCodesetName(); }
