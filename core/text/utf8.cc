// SPDX-License-Identifier: MIT
// Converts as much as the vector code takes at a time, and the rest, and every sequence that is not well-
// formed, by the scalar loops here. Bytes that do not decode become U+DC80 to U+DCFF; escapes that
// would spell a character of UTF-8 are written in a longer form, so that every text has one way back.
#include "text/utf8.h"

#include "simd_level.h"
#include "text/utf8_kernels.h"

#include <emmintrin.h>

#include <algorithm>
#include <array>

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

constexpr bool IsTail(std::uint32_t byte) { return (byte & 0xC0) == 0x80; }

// Reads the well-formed sequence of two to four bytes at `text` and returns its length, or 0 when there is
// none.
unsigned ReadSequence(const unsigned char* text, std::size_t length, std::uint32_t& c) {
  const std::uint32_t lead = text[0];
  if (lead < 0xC2 || lead > 0xF4 || length < 2) return 0;
  const std::uint32_t second = text[1];
  if (!IsTail(second)) return 0;
  if (lead < 0xE0) {
    c = (lead & 0x1F) << 6 | (second & 0x3F);
    return 2;
  }
  if (length < 3) return 0;
  const std::uint32_t third = text[2];
  if (!IsTail(third)) return 0;
  if (lead < 0xF0) {
    c = (lead & 0x0F) << 12 | (second & 0x3F) << 6 | (third & 0x3F);
    return c >= 0x800 && !IsSurrogate(c) ? 3 : 0;
  }
  if (length < 4) return 0;
  const std::uint32_t fourth = text[3];
  if (!IsTail(fourth)) return 0;
  c = (lead & 0x07) << 18 | (second & 0x3F) << 12 | (third & 0x3F) << 6 | (fourth & 0x3F);
  return c >= 0x10000 && c <= 0x10FFFF ? 4 : 0;
}

// ---- Escapes that spell a character
//
// Bytes that another codeset escapes may stand side by side such that, written raw, they would read as a
// character of UTF-8. Such escapes are written with the three-byte form that the pattern of UTF-8 has for
// each of them, ED B2 80 to ED B3 BF, and a row of forms that spells a character is read as those escapes. In
// any other row the forms are read byte by byte, as what they are: no UTF-8.

constexpr std::size_t kFormSize = 3;

// The bytes of the escapes at the front, as many as a character takes; zeros behind them.
using EscapedBytes = std::array<unsigned char, 4>;

EscapedBytes EscapesAt(const wchar_t* text, std::size_t length) {
  EscapedBytes bytes = {};
  for (std::size_t i = 0; i < bytes.size() && i < length && IsEscapedByte(ValueOf(text[i])); ++i) {
    bytes[i] = static_cast<unsigned char>(text[i] & 0xFF);
  }
  return bytes;
}

// Of escapes in their three-byte forms.
EscapedBytes EscapesAt(const unsigned char* text, std::size_t length) {
  EscapedBytes bytes = {};
  for (std::size_t i = 0; i < bytes.size() && length >= kFormSize; ++i) {
    if (text[0] != 0xED || (text[1] & 0xFE) != 0xB2 || !IsTail(text[2])) break;
    bytes[i] = static_cast<unsigned char>(text[1] << 6 | (text[2] & 0x3F));
    text += kFormSize;
    length -= kFormSize;
  }
  return bytes;
}

// How many of them spell a character.
std::size_t SpellingIn(const EscapedBytes& bytes) {
  std::uint32_t c = 0;
  return ReadSequence(bytes.data(), bytes.size(), c);
}

std::size_t SpellingAt(const wchar_t* text, std::size_t length) {
  // Two escapes at least, of which the first is of a byte that begins a character.
  if (!IsEscapedByte(ValueOf(*text)) || length < 2 || !IsEscapedByte(ValueOf(text[1]))) return 0;
  const std::uint32_t lead = ValueOf(*text) & 0xFF;
  return lead < 0xC2 || lead > 0xF4 ? 0 : SpellingIn(EscapesAt(text, length));
}

// The number of bytes that the character takes.
constexpr unsigned SizeOf(std::uint32_t c) {
  if (c < 0x80 || c > 0x10FFFF || IsEscapedByte(c)) return 1;
  if (c < 0x800) return 2;
  if (IsSurrogate(c)) return 1;
  return c < 0x10000 ? 3 : 4;
}

constexpr char TailOf(std::uint32_t c, int shift) { return static_cast<char>(0x80 | (c >> shift & 0x3F)); }

void WriteThreeBytes(std::uint32_t c, char* out) {
  out[0] = static_cast<char>(0xE0 | c >> 12);
  out[1] = TailOf(c, 6);
  out[2] = TailOf(c, 0);
}

// Writes the character and returns the number of bytes.
unsigned WriteCharacter(std::uint32_t c, char* out) {
  if (c < 0x80 || IsEscapedByte(c)) {
    out[0] = static_cast<char>(c & 0xFF);
    return 1;
  }
  if (c < 0x800) {
    out[0] = static_cast<char>(0xC0 | c >> 6);
    out[1] = TailOf(c, 0);
    return 2;
  }
  if (c > 0x10FFFF || IsSurrogate(c)) {
    out[0] = kReplacement;
    return 1;
  }
  if (c < 0x10000) {
    WriteThreeBytes(c, out);
    return 3;
  }
  out[0] = static_cast<char>(0xF0 | c >> 18);
  out[1] = TailOf(c, 12);
  out[2] = TailOf(c, 6);
  out[3] = TailOf(c, 0);
  return 4;
}

// Bytes that stand in no character and begin none.
constexpr bool IsLone(std::uint32_t byte) { return (byte >= 0x80 && byte < 0xC2) || byte > 0xF4; }

// Escapes the lone bytes at the front, behind what is no character either, and returns how many.
std::size_t EscapeLone(const unsigned char* bytes, std::size_t length, wchar_t* out) {
  std::size_t done = 0;
  const __m128i zero = _mm_setzero_si128();
  const __m128i escape = _mm_set1_epi32(static_cast<int>(kEscapeBase));
  for (; length - done >= kBlock; done += kBlock) {
    const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + done));
    // As numbers with a sign, 0x80 to 0xC1 are the least, and 0xF5 to 0xFF those right below zero.
    const __m128i low = _mm_cmpgt_epi8(_mm_set1_epi8(static_cast<char>(0xC2)), block);
    const __m128i high = _mm_and_si128(_mm_cmpgt_epi8(block, _mm_set1_epi8(static_cast<char>(0xF4))),
                                       _mm_cmpgt_epi8(zero, block));
    if (_mm_movemask_epi8(_mm_or_si128(low, high)) != 0xFFFF) break;
    const __m128i first = _mm_unpacklo_epi8(block, zero);
    const __m128i second = _mm_unpackhi_epi8(block, zero);
    auto* to = reinterpret_cast<__m128i*>(out + done);
    _mm_storeu_si128(to, _mm_or_si128(_mm_unpacklo_epi16(first, zero), escape));
    _mm_storeu_si128(to + 1, _mm_or_si128(_mm_unpackhi_epi16(first, zero), escape));
    _mm_storeu_si128(to + 2, _mm_or_si128(_mm_unpacklo_epi16(second, zero), escape));
    _mm_storeu_si128(to + 3, _mm_or_si128(_mm_unpackhi_epi16(second, zero), escape));
  }
  for (; done < length && IsLone(bytes[done]); ++done) out[done] = EscapeByte(bytes[done]);
  return done;
}

// The scalar loops. They go on until `enough` of the input is taken.
Utf8Progress DecodeScalar(const char* text, std::size_t length, std::size_t enough, wchar_t* const start) {
  const auto* bytes = reinterpret_cast<const unsigned char*>(text);
  wchar_t* out = start;
  std::size_t i = 0;
  while (i < enough) {
    if (bytes[i] < 0x80) {
      const std::size_t ascii = WidenAscii(text + i, length - i, out);
      i += ascii;
      out += ascii;
      for (; i < length && bytes[i] < 0x80; ++i) *out++ = static_cast<wchar_t>(bytes[i]);
      continue;
    }
    std::uint32_t c = 0;
    const unsigned size = ReadSequence(bytes + i, length - i, c);
    if (size != 0) {
      *out++ = static_cast<wchar_t>(c);
      i += size;
      continue;
    }
    if (bytes[i] != 0xED) {
      *out++ = EscapeByte(bytes[i++]);
      const std::size_t lone = EscapeLone(bytes + i, length - i, out);
      i += lone;
      out += lone;
      continue;
    }
    const EscapedBytes escaped = EscapesAt(bytes + i, length - i);
    const std::size_t spelling = SpellingIn(escaped);
    if (spelling == 0) {
      *out++ = EscapeByte(bytes[i++]);
      continue;
    }
    out = std::transform(escaped.begin(), escaped.begin() + spelling, out, EscapeByte);
    i += spelling * kFormSize;
  }
  return {i, static_cast<std::size_t>(out - start)};
}

Utf8Progress EncodeScalar(const wchar_t* text, std::size_t length, std::size_t enough, char* const start) {
  const auto at = [text](std::size_t place) { return ValueOf(text[place]); };
  char* out = start;
  std::size_t i = 0;
  while (i < enough) {
    if (at(i) < 0x80) {
      const std::size_t ascii = NarrowAscii(text + i, length - i, out);
      i += ascii;
      out += ascii;
      for (; i < length && at(i) < 0x80; ++i) *out++ = static_cast<char>(text[i]);
      continue;
    }
    const std::size_t spelling = SpellingAt(text + i, length - i);
    for (const std::size_t end = i + spelling; i < end; ++i, out += kFormSize) WriteThreeBytes(at(i), out);
    if (spelling == 0) out += WriteCharacter(at(i++), out);
  }
  return {i, static_cast<std::size_t>(out - start)};
}

// Null where the scalar loops do everything.
const Utf8Kernels* Kernels() {
  static const Utf8Kernels* const kernels =
      base::ChosenSimdLevel() >= base::SimdLevel::kAvx2 ? &kUtf8Avx2 : nullptr;
  return kernels;
}

// The kernel goes as far as it can; the scalar loop takes what stopped it, or the whole end of the text.
template <typename In, typename Out, typename Kernel, typename Scalar>
std::size_t Convert(const In* text, std::size_t length, Out* out, Kernel Utf8Kernels::*kernel,
                    Scalar scalar) {
  // The scalar loop takes little where the kernel goes far, and more each time that it does not.
  constexpr std::size_t kLeast = 16;
  constexpr std::size_t kMost = 64;
  constexpr std::size_t kFar = 16;
  const Utf8Kernels* const kernels = length >= 16 ? Kernels() : nullptr;
  std::size_t step = kLeast;
  Utf8Progress done = {0, 0};
  const auto advance = [&done](Utf8Progress progress) {
    done.taken += progress.taken;
    done.written += progress.written;
  };
  while (done.taken < length) {
    std::size_t left = length - done.taken;
    if (kernels != nullptr) {
      const Utf8Progress fast = (kernels->*kernel)(text + done.taken, left, out + done.written);
      advance(fast);
      left -= fast.taken;
      step = fast.taken >= kFar ? kLeast : std::min(2 * step, kMost);
    }
    const bool toTheEnd = kernels == nullptr || left <= kFar;
    advance(scalar(text + done.taken, left, toTheEnd ? left : std::min(step, left), out + done.written));
  }
  return done.written;
}

}  // namespace

std::size_t DecodeUtf8(const char* text, std::size_t length, wchar_t* out) {
  return Convert(text, length, out, &Utf8Kernels::decode, DecodeScalar);
}

std::size_t EncodeUtf8(const wchar_t* text, std::size_t length, char* out) {
  return Convert(text, length, out, &Utf8Kernels::encode, EncodeScalar);
}

namespace {

__m128i IsEscape(__m128i characters) {
  return _mm_cmpeq_epi32(_mm_and_si128(characters, _mm_set1_epi32(~0x7F)), _mm_set1_epi32(0xDC80));
}

// Adds the sizes of the characters at the front, in fours, up to an escape that may begin a row which spells
// a character, and returns how many.
std::size_t AddSizes(const wchar_t* text, std::size_t length, std::size_t& size) {
  const auto load = [text](std::size_t at) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(text + at));
  };
  std::size_t done = 0;
  __m128i beyondOne = _mm_setzero_si128();
  // The sums of the four lanes are far from overflowing in so many.
  for (const std::size_t end = std::min(length, std::size_t{1} << 28); end - done >= 5; done += 4) {
    const __m128i c = load(done);
    const __m128i byte = _mm_and_si128(c, _mm_set1_epi32(0xFF));
    const __m128i begins = _mm_and_si128(_mm_cmpgt_epi32(byte, _mm_set1_epi32(0xC1)),
                                         _mm_cmpgt_epi32(_mm_set1_epi32(0xF5), byte));
    const __m128i inRow = _mm_and_si128(IsEscape(c), IsEscape(load(done + 1)));
    if (_mm_movemask_epi8(_mm_and_si128(inRow, begins)) != 0) break;
    // Surrogates, escapes and what is no character take one byte, as do negative numbers.
    const __m128i surrogate =
        _mm_cmpeq_epi32(_mm_and_si128(c, _mm_set1_epi32(~0x7FF)), _mm_set1_epi32(0xD800));
    const __m128i one = _mm_or_si128(surrogate, _mm_cmpgt_epi32(c, _mm_set1_epi32(0x10FFFF)));
    const __m128i from2 = _mm_cmpgt_epi32(c, _mm_set1_epi32(0x7F));
    const __m128i from3 = _mm_cmpgt_epi32(c, _mm_set1_epi32(0x7FF));
    const __m128i from4 = _mm_cmpgt_epi32(c, _mm_set1_epi32(0xFFFF));
    const __m128i more = _mm_add_epi32(_mm_add_epi32(from2, from3), from4);
    beyondOne = _mm_sub_epi32(beyondOne, _mm_andnot_si128(one, more));
  }
  std::uint32_t sums[4];
  _mm_storeu_si128(reinterpret_cast<__m128i*>(sums), beyondOne);
  size += done + sums[0] + sums[1] + sums[2] + sums[3];
  return done;
}

}  // namespace

std::size_t Utf8Size(const wchar_t* text, std::size_t length) {
  std::size_t size = 0;
  for (std::size_t i = 0; i < length;) {
    i += AddSizes(text + i, length - i, size);
    // What stopped it, or the rest.
    for (const std::size_t end = std::min(length, i + 8); i < end;) {
      const std::size_t spelling = SpellingAt(text + i, length - i);
      size += spelling != 0 ? spelling * kFormSize : SizeOf(ValueOf(text[i]));
      i += spelling != 0 ? spelling : 1;
    }
  }
  return size;
}

}  // namespace tovmx
