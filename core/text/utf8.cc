#include "text/utf8.h"

#include <emmintrin.h>

#include <cstring>

namespace tovmx {

namespace {

constexpr std::size_t kBlock = 16;

// Copies the ASCII characters at the front, whole blocks of them, and returns how many.
std::size_t WidenAscii(const char* text, std::size_t length, wchar_t* out) {
  const __m128i zero = _mm_setzero_si128();
  std::size_t done = 0;
  for (; length - done >= kBlock; done += kBlock) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text + done));
    if (_mm_movemask_epi8(bytes) != 0) break;
    const __m128i low = _mm_unpacklo_epi8(bytes, zero);
    const __m128i high = _mm_unpackhi_epi8(bytes, zero);
    auto* to = reinterpret_cast<__m128i*>(out + done);
    _mm_storeu_si128(to, _mm_unpacklo_epi16(low, zero));
    _mm_storeu_si128(to + 1, _mm_unpackhi_epi16(low, zero));
    _mm_storeu_si128(to + 2, _mm_unpacklo_epi16(high, zero));
    _mm_storeu_si128(to + 3, _mm_unpackhi_epi16(high, zero));
  }
  return done;
}

// The same the other way: whole blocks of characters below 0x80.
std::size_t NarrowAscii(const wchar_t* text, std::size_t length, char* out) {
  const __m128i notAscii = _mm_set1_epi32(~0x7F);
  std::size_t done = 0;
  for (; length - done >= kBlock; done += kBlock) {
    const auto* from = reinterpret_cast<const __m128i*>(text + done);
    const __m128i a = _mm_loadu_si128(from);
    const __m128i b = _mm_loadu_si128(from + 1);
    const __m128i c = _mm_loadu_si128(from + 2);
    const __m128i d = _mm_loadu_si128(from + 3);
    const __m128i any = _mm_and_si128(_mm_or_si128(_mm_or_si128(a, b), _mm_or_si128(c, d)), notAscii);
    if (_mm_movemask_epi8(_mm_cmpeq_epi32(any, _mm_setzero_si128())) != 0xFFFF) break;
    const __m128i bytes = _mm_packus_epi16(_mm_packs_epi32(a, b), _mm_packs_epi32(c, d));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + done), bytes);
  }
  return done;
}

constexpr bool IsTail(unsigned char byte) { return (byte & 0xC0) == 0x80; }

// Reads the well-formed sequence of two to four bytes at `text` and returns its length, or 0 when there is
// none.
unsigned ReadSequence(const unsigned char* text, std::size_t length, std::uint32_t& c) {
  const std::uint32_t lead = text[0];
  if (lead < 0xC2 || lead > 0xF4 || length < 2 || !IsTail(text[1])) return 0;
  if (lead < 0xE0) {
    c = (lead & 0x1F) << 6 | (text[1] & 0x3FU);
    return 2;
  }
  if (length < 3 || !IsTail(text[2])) return 0;
  if (lead < 0xF0) {
    c = (lead & 0x0F) << 12 | (text[1] & 0x3FU) << 6 | (text[2] & 0x3FU);
    return c >= 0x800 && !IsSurrogate(c) ? 3 : 0;
  }
  if (length < 4 || !IsTail(text[3])) return 0;
  c = (lead & 0x07) << 18 | (text[1] & 0x3FU) << 12 | (text[2] & 0x3FU) << 6 | (text[3] & 0x3FU);
  return c >= 0x10000 && c <= 0x10FFFF ? 4 : 0;
}

// The number of bytes that the character takes.
constexpr unsigned SizeOf(std::uint32_t c) {
  if (c < 0x80 || c > 0x10FFFF || IsEscapedByte(c)) return 1;
  if (c < 0x800) return 2;
  if (IsSurrogate(c)) return 1;
  return c < 0x10000 ? 3 : 4;
}

unsigned WriteCharacter(std::uint32_t c, char* out) {
  const auto tail = [c](int shift) { return static_cast<char>(0x80 | (c >> shift & 0x3F)); };
  const unsigned size = SizeOf(c);
  switch (size) {
    case 1:
      if (c < 0x80 || IsEscapedByte(c)) {
        out[0] = static_cast<char>(c & 0xFF);
      } else {
        out[0] = kReplacement;
      }
      break;
    case 2:
      out[0] = static_cast<char>(0xC0 | c >> 6);
      out[1] = tail(0);
      break;
    case 3:
      out[0] = static_cast<char>(0xE0 | c >> 12);
      out[1] = tail(6);
      out[2] = tail(0);
      break;
    default:
      out[0] = static_cast<char>(0xF0 | c >> 18);
      out[1] = tail(12);
      out[2] = tail(6);
      out[3] = tail(0);
      break;
  }
  return size;
}

}  // namespace

std::size_t DecodeUtf8(const char* text, std::size_t length, wchar_t* out) {
  const auto* bytes = reinterpret_cast<const unsigned char*>(text);
  wchar_t* const start = out;
  std::size_t i = 0;
  while (i < length) {
    if (bytes[i] < 0x80) {
      const std::size_t ascii = WidenAscii(text + i, length - i, out);
      i += ascii;
      out += ascii;
      for (; i < length && bytes[i] < 0x80; ++i) *out++ = static_cast<wchar_t>(bytes[i]);
      continue;
    }
    std::uint32_t c = 0;
    const unsigned taken = ReadSequence(bytes + i, length - i, c);
    *out++ = taken != 0 ? static_cast<wchar_t>(c) : EscapeByte(bytes[i]);
    i += taken != 0 ? taken : 1;
  }
  return static_cast<std::size_t>(out - start);
}

std::size_t EncodeUtf8(const wchar_t* text, std::size_t length, char* out) {
  char* const start = out;
  std::size_t i = 0;
  while (i < length) {
    if (static_cast<std::uint32_t>(text[i]) < 0x80) {
      const std::size_t ascii = NarrowAscii(text + i, length - i, out);
      i += ascii;
      out += ascii;
      for (; i < length && static_cast<std::uint32_t>(text[i]) < 0x80; ++i) {
        *out++ = static_cast<char>(text[i]);
      }
      continue;
    }
    out += WriteCharacter(static_cast<std::uint32_t>(text[i]), out);
    ++i;
  }
  return static_cast<std::size_t>(out - start);
}

std::size_t Utf8Size(const wchar_t* text, std::size_t length) {
  std::size_t size = 0;
  for (std::size_t i = 0; i < length; ++i) size += SizeOf(static_cast<std::uint32_t>(text[i]));
  return size;
}

}  // namespace tovmx
