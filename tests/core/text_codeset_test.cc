// SPDX-License-Identifier: MIT
// Every character of every codeset that Debian's locales have, beside iconv used directly.
#include <tovmx/text_codec.h>

#include <gtest/gtest.h>

#include <iconv.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "in_locale.h"

namespace {

std::vector<std::string> Codesets() {
  std::vector<std::string> names;
  std::istringstream list(TOVKIT_TEST_CODESETS);
  for (std::string name; std::getline(list, name, ',');) names.push_back(name);
  return names;
}

// One direction of iconv, a whole text at a time from the initial state.
class Iconv {
 public:
  Iconv(const char* to, const char* from) : handle_(iconv_open(to, from)) {
    HOLDS(reinterpret_cast<std::intptr_t>(handle_) != -1);
  }
  ~Iconv() { iconv_close(handle_); }
  Iconv(const Iconv&) = delete;
  Iconv& operator=(const Iconv&) = delete;

  // False when something does not convert, or is dropped without a word.
  template <typename In, typename Out>
  bool Convert(const std::basic_string<In>& text, std::basic_string<Out>& result) {
    Out room[64];
    char* from = reinterpret_cast<char*>(const_cast<In*>(text.data()));
    char* to = reinterpret_cast<char*>(room);
    std::size_t left = text.size() * sizeof(In);
    std::size_t space = sizeof room;
    iconv(handle_, nullptr, nullptr, nullptr, nullptr);
    const bool converts =
        iconv(handle_, &from, &left, &to, &space) == 0 && iconv(handle_, nullptr, nullptr, &to, &space) == 0;
    result.assign(room, static_cast<std::size_t>(reinterpret_cast<Out*>(to) - room));
    return converts && !result.empty();
  }

 private:
  iconv_t handle_;
};

std::wstring Decode(const std::string& bytes) {
  const CoreWideString wide = CoreTextCodec::LocalDecode(bytes.data(), static_cast<int>(bytes.size()));
  return {wide.c_str(), static_cast<std::size_t>(wide.GetLength())};
}

std::string Encode(const std::wstring& text) {
  const CoreString bytes = CoreTextCodec::LocalEncode(text.data(), static_cast<int>(text.size()));
  return {bytes.c_str(), static_cast<std::size_t>(bytes.GetLength())};
}

template <typename Text>
void ExpectSame(const char* what, std::uint32_t of, const Text& ours, const Text& theirs) {
  if (ours == theirs) return;
  std::fprintf(stderr, "%s of %X:", what, static_cast<unsigned>(of));
  for (const auto c : ours)
    std::fprintf(stderr, " %X", static_cast<unsigned>(c) & (sizeof c == 1 ? 0xFF : ~0U));
  std::fprintf(stderr, " instead of");
  for (const auto c : theirs)
    std::fprintf(stderr, " %X", static_cast<unsigned>(c) & (sizeof c == 1 ? 0xFF : ~0U));
  std::fprintf(stderr, "\n");
  std::exit(1);
}

// What is one thing here and another in the codeset: ASCII always stands for itself, and escapes for bytes.
bool IsOurs(std::uint32_t c) { return c < 0x80 || (c >= 0xDC80 && c <= 0xDCFF); }

void EveryCharacterIsIconvs(const std::string& codeset) {
  HOLDS(codeset == CoreTextCodec::LocalCodeset());
  Iconv encoder(codeset.c_str(), "WCHAR_T");
  Iconv decoder("WCHAR_T", codeset.c_str());
  std::string bytes;
  std::wstring back;
  std::wstring all;
  std::string allBytes;
  std::size_t known = 0;
  for (std::uint32_t c = 0; c <= 0x10FFFF; ++c) {
    const std::wstring character(1, static_cast<wchar_t>(c));
    if (IsOurs(c)) {
      ExpectSame("bytes", c, Encode(character), std::string(1, static_cast<char>(c & 0xFF)));
      continue;
    }
    const bool encodes = encoder.Convert(character, bytes);
    // Beyond the planes in use nothing but GB 18030 has characters; of what is unknown there a part will do.
    if (!encodes && c > 0x30000 && c % 61 != 0) continue;
    ExpectSame("bytes", c, Encode(character), encodes ? bytes : std::string("?"));
    if (!encodes) continue;
    ++known;
    // A character may be written with the bytes of another.
    const bool isAscii = bytes.size() == 1 && static_cast<unsigned char>(bytes[0]) < 0x80;
    if (isAscii || !decoder.Convert(bytes, back) || back != character) continue;
    ExpectSame("character", c, Decode(bytes), character);
    all += character;
    allBytes += bytes;
    if (all.size() < 1000 && c < 0x10FF00) continue;
    ExpectSame("bytes of a text up to the character", c, Encode(all), allBytes);
    all.clear();
    allBytes.clear();
  }
  HOLDS(known >= 40);
}

// Bytes that are no single character: two of them, or one with a mark.
void EveryPairOfBytesIsIconvs(const std::string& codeset) {
  Iconv encoder(codeset.c_str(), "WCHAR_T");
  Iconv decoder("WCHAR_T", codeset.c_str());
  std::string again;
  std::wstring wide;
  for (unsigned pair = 0x8000; pair < 0x10000; ++pair) {
    const std::string bytes = {static_cast<char>(pair >> 8), static_cast<char>(pair)};
    if (!decoder.Convert(bytes, wide) || !encoder.Convert(wide, again) || again != bytes) continue;
    // Of a byte below 0x80 that stands alone the codeset may think otherwise.
    if ((pair & 0x80) == 0 && decoder.Convert(bytes.substr(0, 1), wide)) continue;
    HOLDS(decoder.Convert(bytes, wide));
    ExpectSame("characters", pair, Decode(bytes), wide);
    ExpectSame("bytes", pair, Encode(wide), bytes);
  }
}

class Codeset : public testing::TestWithParam<std::string> {};

TEST_P(Codeset, EveryCharacterIsIconvs) {
  const std::string& name = GetParam();
  EXPECT_IN(("any." + name).c_str(), [&name] { EveryCharacterIsIconvs(name); });
}

TEST_P(Codeset, EveryPairOfBytesIsIconvs) {
  const std::string& name = GetParam();
  EXPECT_IN(("any." + name).c_str(), [&name] { EveryPairOfBytesIsIconvs(name); });
}

INSTANTIATE_TEST_SUITE_P(Debian, Codeset, testing::ValuesIn(Codesets()), [](const auto& codeset) {
  std::string name;
  for (const char c : codeset.param) name += c == '-' ? '_' : c;
  return name;
});

TEST(Codesets, OfDebiansLocalesAreAllTested) {
  std::ifstream supported("/usr/share/i18n/SUPPORTED");
  ASSERT_TRUE(supported) << "the package locales is not installed";
  const std::vector<std::string> names = Codesets();
  const std::set<std::string> tested(names.begin(), names.end());
  std::string locale;
  for (std::string codeset; supported >> locale >> codeset;) {
    EXPECT_TRUE(codeset == "UTF-8" || tested.count(codeset) == 1) << codeset << " of " << locale;
  }
}

}  // namespace
