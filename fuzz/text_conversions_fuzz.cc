// SPDX-License-Identifier: MIT
// No byte is lost on the way to wide text and back, in UTF-8 and in the local encoding, and separators are
// replaced everywhere. LC_ALL chooses the local encoding.
#include <tovkit/util.h>
#include <tovmx/text_codec.h>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

void Require(bool holds) {
  if (!holds) std::abort();
}

template <typename Char>
std::basic_string<Char> All(const CoreBasicString<Char>& text) {
  return std::basic_string<Char>(text.c_str(), static_cast<std::size_t>(text.GetLength()));
}

void ComesBack(const std::string& bytes, CoreWideString (*decode)(const char*, int),
               CoreString (*encode)(const wchar_t*, int)) {
  const CoreWideString wide = decode(bytes.data(), static_cast<int>(bytes.size()));
  Require(All(encode(wide.GetData(), wide.GetLength())) == bytes);
}

void ComesBackThroughUtf8(const std::string& bytes) {
  const std::string utf8 = tovkit::LocalToUtf8(bytes.c_str(), -1);
  const std::string untilNul =
      bytes.c_str();  // NOLINT(readability-redundant-string-cstr): a NUL ends the text
  Require(tovkit::Utf8ToLocal(utf8.c_str(), -1) == untilNul);
}

// Each character is written the same alone and among others, but for escapes side by side.
void EncodesCharacterByCharacter(const std::uint8_t* data, std::size_t size) {
  std::wstring text;
  std::string expected;
  for (std::size_t i = 0; i + 4 <= size; i += 4) {
    text += static_cast<wchar_t>(data[i] | data[i + 1] << 8 | data[i + 2] << 16 |
                                 static_cast<std::uint32_t>(data[i + 3]) << 24);
    text += L'-';
    expected += All(CoreTextCodec::Utf8Encode(&text[text.size() - 2], 2));
  }
  Require(All(CoreTextCodec::Utf8Encode(text.data(), static_cast<int>(text.size()))) == expected);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  ComesBack(bytes, CoreTextCodec::Utf8Decode, CoreTextCodec::Utf8Encode);
  ComesBack(bytes, CoreTextCodec::LocalDecode, CoreTextCodec::LocalEncode);
  ComesBackThroughUtf8(bytes);
  EncodesCharacterByCharacter(data, size);

  std::string path = bytes;
  tovkit::NormalizeSeparators(path);
  Require(path.size() == bytes.size() && path.find('\\') == std::string::npos);
  const std::string joined = tovkit::JoinPath(path.c_str(), bytes.c_str(), nullptr);
  Require(joined.size() <= 2 * size + 1);
  return 0;
}
