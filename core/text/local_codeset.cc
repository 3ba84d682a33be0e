// SPDX-License-Identifier: MIT
// Any bytes must come back from wide text as they were. iconv alone does not promise that, so what was
// decoded is encoded again and compared. Three ways are tried, each of which reads less into the bytes than
// the one before:
//
//     everything at once   fast; enough for nearly every text
//     code by code         what does not encode back is taken byte by byte
//     every byte by itself U+DC80 to U+DCFF for what is not ASCII; cannot fail
#include "text/local_codeset.h"

#include "text/utf8.h"

#include <iconv.h>
#include <langinfo.h>
#include <locale.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <numeric>

namespace tovmx {

namespace {

constexpr const char* kUtf8 = "UTF-8";
constexpr const char* kWide = "WCHAR_T";
constexpr std::size_t kLongestUnit = 8;  // bytes of one character in any codeset of the C library
constexpr std::size_t kChunk = 512;

// One direction of iconv. Each call starts in the initial shift state.
class Converter {
 public:
  Converter(const char* to, const char* from) : handle_(iconv_open(to, from)) {}
  ~Converter() {
    if (valid()) iconv_close(handle_);
  }
  Converter(const Converter&) = delete;
  Converter& operator=(const Converter&) = delete;

  bool valid() const { return reinterpret_cast<std::intptr_t>(handle_) != -1; }

  // Appends what converts at the front of `text` to `out` and returns how many input characters that took.
  // `error` is 0 when all of them did, EINVAL for an incomplete character at the end, EILSEQ otherwise.
  template <typename In, typename Out>
  std::size_t Convert(const In* text, std::size_t length, std::basic_string<Out>& out, int& error) {
    iconv(handle_, nullptr, nullptr, nullptr, nullptr);
    char* from = reinterpret_cast<char*>(const_cast<In*>(text));
    std::size_t left = length * sizeof(In);
    error = 0;
    while (left != 0) {
      if (Step(&from, &left, out) || errno == E2BIG) continue;
      error = errno;
      break;
    }
    while (!Step(nullptr, nullptr, out) && errno == E2BIG) {
    }
    return length - left / sizeof(In);
  }

 private:
  // Null input lets go of what the converter holds back and returns to the initial shift state.
  template <typename Out>
  bool Step(char** from, std::size_t* left, std::basic_string<Out>& out) {
    Out chunk[kChunk];
    char* to = reinterpret_cast<char*>(chunk);
    std::size_t room = sizeof(chunk);
    const bool done = iconv(handle_, from, left, &to, &room) != static_cast<std::size_t>(-1);
    const int error = errno;
    out.append(chunk, (sizeof(chunk) - room) / sizeof(Out));
    errno = error;
    return done;
  }

  iconv_t handle_;
};

std::string AskCodeset() {
  const locale_t locale = newlocale(LC_CTYPE_MASK, "", nullptr);
  if (locale == nullptr) return kUtf8;
  const std::string name = nl_langinfo_l(CODESET, locale);
  freelocale(locale);
  if (name == "ANSI_X3.4-1968") return kUtf8;  // the C and POSIX locales
  const bool known = Converter(kWide, name.c_str()).valid() && Converter(name.c_str(), kWide).valid();
  return known ? name : kUtf8;
}

Converter& Decoder() {
  thread_local Converter converter(kWide, LocalCodesetName());
  return converter;
}

Converter& Encoder() {
  thread_local Converter converter(LocalCodesetName(), kWide);
  return converter;
}

wchar_t AsciiOrEscape(char byte) {
  const auto value = static_cast<unsigned char>(byte);
  return value < 0x80 ? static_cast<wchar_t>(value) : EscapeByte(value);
}

// The C library drops language tags without a word; they are tried alone, so that the loss is seen.
constexpr bool IsTag(std::uint32_t c) { return c >> 7 == 0xE0000 >> 7; }

// Whether the codeset alone decides what the character becomes.
constexpr bool IsForCodeset(std::uint32_t c) { return c >= 0x80 && !IsSurrogate(c) && !IsTag(c); }

// Whether the codeset reads each byte below 0x80 as the ASCII character. A few put a currency sign in the
// backslash's place.
bool ReadsAscii() {
  static const bool ascii = [] {
    std::string bytes(0x80, '\0');
    std::iota(bytes.begin(), bytes.end(), '\0');
    std::wstring wide;
    int error = 0;
    Decoder().Convert(bytes.data(), bytes.size(), wide, error);
    return std::equal(bytes.begin(), bytes.end(), wide.begin(), wide.end());
  }();
  return ascii;
}

// Everything at once. Encodes back to the same bytes for nearly every text, but for shift sequences and
// characters that have two codes.
std::wstring DecodeInBulk(const char* text, std::size_t length) {
  std::wstring wide;
  wide.reserve(length);
  std::size_t done = 0;
  while (done < length) {
    int error = 0;
    done += Decoder().Convert(text + done, length - done, wide, error);
    if (done < length) wide += AsciiOrEscape(text[done++]);
  }
  return wide;
}

// The characters of the shortest code at `text` that encode back to it, appended to `wide`. Returns the
// length of the code, or 0 when there is none.
std::size_t DecodeUnit(const char* text, std::size_t length, std::wstring& wide) {
  const std::size_t longest = std::min(length, kLongestUnit);
  std::wstring unit;
  for (std::size_t size = 1; size <= longest; ++size) {
    int error = 0;
    unit.clear();
    Decoder().Convert(text, size, unit, error);
    if (error == EINVAL) continue;
    if (error != 0 || EncodeLocal(unit.data(), unit.size()).compare(0, std::string::npos, text, size) != 0) {
      return 0;
    }
    wide += unit;
    return size;
  }
  return 0;
}

// The one character that an ASCII letter makes with the mark behind it, where the codeset writes it so;
// otherwise nothing.
std::wstring DecodeMarked(const char* text, std::size_t length) {
  std::wstring marked;
  if (length < 2 || static_cast<unsigned char>(text[1]) < 0x80) return marked;
  int error = 0;
  Decoder().Convert(text, 2, marked, error);
  const bool isOne = error == 0 && marked.size() == 1;
  if (!isOne || EncodeLocal(marked.data(), 1).compare(0, std::string::npos, text, 2) != 0) marked.clear();
  return marked;
}

std::wstring DecodeByUnits(const char* text, std::size_t length) {
  std::wstring wide;
  std::size_t i = 0;
  while (i < length) {
    const bool ascii = static_cast<unsigned char>(text[i]) < 0x80;
    if (const std::wstring marked = ascii ? DecodeMarked(text + i, length - i) : L""; !marked.empty()) {
      wide += marked;
      i += 2;
      continue;
    }
    const std::size_t taken = ascii ? 0 : DecodeUnit(text + i, length - i, wide);
    if (taken == 0) wide += AsciiOrEscape(text[i]);
    i += std::max<std::size_t>(taken, 1);
  }
  return wide;
}

std::wstring EscapeEveryByte(const char* text, std::size_t length) {
  std::wstring wide(length, L'\0');
  std::transform(text, text + length, wide.begin(), AsciiOrEscape);
  return wide;
}

// What iconv makes of a character that stands alone, kept: text of most languages is ASCII with single
// letters of others in between, for each of which it would be called.
struct KeptCode {
  std::uint32_t character = 0;  // none
  bool taken = false;
  std::uint8_t size = 0;
  char bytes[kLongestUnit] = {};
};

// As Converter::Convert does for one character, in the initial shift state.
std::size_t EncodeAlone(const wchar_t* text, std::string& bytes) {
  thread_local std::array<KeptCode, 256> kept;
  const std::uint32_t c = ValueOf(*text);
  KeptCode& code = kept[c % kept.size()];
  if (code.character != c) {
    const std::size_t before = bytes.size();
    int error = 0;
    const std::size_t taken = Encoder().Convert(text, 1, bytes, error);
    const std::size_t size = bytes.size() - before;
    if (size > kLongestUnit) return taken;
    code = {c, taken == 1, static_cast<std::uint8_t>(size), {}};
    bytes.copy(code.bytes, size, before);
    return taken;
  }
  bytes.append(code.bytes, code.size);
  return code.taken ? 1 : 0;
}

}  // namespace

const char* LocalCodesetName() {
  static const std::string name = AskCodeset();
  return name.c_str();
}

bool LocalIsUtf8() {
  static const bool utf8 = std::string(LocalCodesetName()) == kUtf8;
  return utf8;
}

std::wstring DecodeLocal(const char* text, std::size_t length) {
  const auto encodesBack = [&](const std::wstring& wide) {
    return EncodeLocal(wide.data(), wide.size()).compare(0, std::string::npos, text, length) == 0;
  };
  // Each way reads less into the bytes than the one before; the last cannot lose any.
  if (ReadsAscii()) {
    std::wstring wide = DecodeInBulk(text, length);
    if (encodesBack(wide)) return wide;
  }
  std::wstring wide = DecodeByUnits(text, length);
  if (encodesBack(wide)) return wide;
  return EscapeEveryByte(text, length);
}

std::string EncodeLocal(const wchar_t* text, std::size_t length) {
  std::string bytes;
  bytes.reserve(length);
  std::size_t i = 0;
  const wchar_t* end = text;  // of the run for the codeset, which is looked for once
  while (i < length) {
    const std::uint32_t c = ValueOf(text[i]);
    if (c < 0x80 || IsEscapedByte(c)) {
      bytes += static_cast<char>(c & 0xFF);
      ++i;
      continue;
    }
    const auto isOther = [](wchar_t other) { return !IsForCodeset(ValueOf(other)); };
    if (IsTag(c)) {
      end = text + i + 1;
    } else if (end <= text + i) {
      end = std::find_if(text + i, text + length, isOther);
    }
    const std::size_t before = bytes.size();
    const auto run = static_cast<std::size_t>(end - (text + i));
    std::size_t taken = 0;
    if (run == 1) taken = EncodeAlone(text + i, bytes);
    int error = 0;
    if (run > 1) taken = Encoder().Convert(text + i, run, bytes, error);
    i += taken;
    if (run == 0 || taken < run || bytes.size() == before) {
      bytes += kReplacement;
      i += taken < run || run == 0 ? 1 : 0;
    }
  }
  return bytes;
}

}  // namespace tovmx
