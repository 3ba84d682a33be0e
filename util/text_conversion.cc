// SPDX-License-Identifier: MIT
// Six conversions over the core's two codecs. Between two narrow encodings the way leads through wide text.
#include "tovkit/util.h"

#include <tovmx/text_codec.h>

namespace tovkit {

namespace {

using Decode = CoreWideString(const char*, int);
using Encode = CoreString(const wchar_t*, int);

// One step: the codec's text up to its first NUL. What a null text and a negative length mean is the codec's
// (core/text/text_codec.cc).
template <typename Char, typename Codec, typename Source>
std::basic_string<Char> Convert(Codec* codec, const Source* text, int len) {
  return codec(text, len).c_str();
}

// Two steps, through wide text.
std::string Convert(Decode* decode, Encode* encode, const char* text, int len) {
  const CoreWideString wide = decode(text, len);
  if (wide.GetData() == nullptr || wide.GetLength() < 1) return {};
  return encode(wide.GetData(), -1).c_str();
}

}  // namespace

std::wstring LocalToWide(const char* text, int len) {
  return Convert<wchar_t>(CoreTextCodec::LocalDecode, text, len);
}

std::wstring Utf8ToWide(const char* text, int len) {
  return Convert<wchar_t>(CoreTextCodec::Utf8Decode, text, len);
}

std::string WideToLocal(const wchar_t* text, int len) {
  return Convert<char>(CoreTextCodec::LocalEncode, text, len);
}

std::string WideToUtf8(const wchar_t* text, int len) {
  return Convert<char>(CoreTextCodec::Utf8Encode, text, len);
}

std::string LocalToUtf8(const char* text, int len) {
  return Convert(CoreTextCodec::LocalDecode, CoreTextCodec::Utf8Encode, text, len);
}

std::string Utf8ToLocal(const char* text, int len) {
  return Convert(CoreTextCodec::Utf8Decode, CoreTextCodec::LocalEncode, text, len);
}

}  // namespace tovkit
