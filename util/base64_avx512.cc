// SPDX-License-Identifier: MIT
// Base64 with AVX-512 VBMI: 48 bytes or 64 characters at a time. Includes no header with inline code of its
// own: what is compiled here runs on processors with these instructions only.
#include "base64_kernels.h"

#include <immintrin.h>

#include <cstdint>

namespace tovkit {

namespace {

constexpr std::size_t kCharacters = 64;
constexpr std::size_t kBytes = 48;

constexpr std::uint64_t FirstLanes(std::size_t count) {
  return count >= 64 ? ~std::uint64_t{0} : (std::uint64_t{1} << count) - 1;
}

// Bytes b a c b of each of the sixteen groups.
__m512i GroupOrder() {
  return _mm512_add_epi8(
      _mm512_set1_epi32(0x01020001),
      _mm512_mullo_epi32(_mm512_set1_epi32(0x03030303),
                         _mm512_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15)));
}

// 48 bytes become 64 characters: each six-bit field is shifted to the front of its byte, and the alphabet is
// permuted by the fields, of which only the six low bits count.
__m512i Encode(__m512i bytes, __m512i order, __m512i alphabet) {
  const __m512i shifts = _mm512_set1_epi64(0x3036242A1016040A);
  return _mm512_permutexvar_epi8(_mm512_multishift_epi64_epi8(shifts, _mm512_permutexvar_epi8(order, bytes)),
                                 alphabet);
}

void EncodeGroups(const unsigned char* data, std::size_t size, char* out) {
  const __m512i alphabet = _mm512_loadu_si512(Base64Alphabet());
  const __m512i order = GroupOrder();
  for (; size >= kCharacters; size -= kBytes, data += kBytes, out += kCharacters) {
    _mm512_storeu_si512(out, Encode(_mm512_loadu_si512(data), order, alphabet));
  }
  while (size >= 3) {
    const std::size_t taken = size < kBytes ? size / 3 * 3 : kBytes;
    const __m512i bytes = _mm512_maskz_loadu_epi8(FirstLanes(taken), data);
    _mm512_mask_storeu_epi8(out, FirstLanes(taken / 3 * 4), Encode(bytes, order, alphabet));
    size -= taken;
    data += taken;
    out += taken / 3 * 4;
  }
}

__m512i All(__m128i quarter) { return _mm512_broadcast_i32x4(quarter); }

struct Values {
  __m512i values;
  __mmask64 rejected;  // a bit for each character outside the alphabet; the values of these mean nothing
};

// Characters to values. The high nibble selects the range, and with it the low nibbles that are allowed: a
// character is rejected when its two table entries share a bit. "/" shares its range with "+" only and has a
// distance of its own.
Values ToValues(__m512i characters) {
  const __m512i lowBits = All(_mm_setr_epi8(0x15, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x13,
                                            0x1A, 0x1B, 0x1B, 0x1B, 0x1A));
  const __m512i highBits = All(_mm_setr_epi8(0x10, 0x10, 0x01, 0x02, 0x04, 0x08, 0x04, 0x08, 0x10, 0x10, 0x10,
                                             0x10, 0x10, 0x10, 0x10, 0x10));
  const __m512i distances = All(
      _mm_setr_epi8(0, 63 - '/', 62 - '+', 52 - '0', -'A', -'A', 26 - 'a', 26 - 'a', 0, 0, 0, 0, 0, 0, 0, 0));
  const __m512i nibble = _mm512_set1_epi8(0x0F);
  const __m512i high = _mm512_and_si512(_mm512_srli_epi32(characters, 4), nibble);
  const __m512i low = _mm512_and_si512(characters, nibble);
  const __mmask64 rejected =
      _mm512_test_epi8_mask(_mm512_shuffle_epi8(lowBits, low), _mm512_shuffle_epi8(highBits, high));
  const __mmask64 isSlash = _mm512_cmpeq_epi8_mask(characters, _mm512_set1_epi8('/'));
  const __m512i entry = _mm512_mask_sub_epi8(high, isSlash, high, _mm512_set1_epi8(1));
  return {_mm512_add_epi8(characters, _mm512_shuffle_epi8(distances, entry)), rejected};
}

// The three bytes of each of sixteen 32-bit words, the high one first.
__m512i WordOrder() {
  return _mm512_setr_epi32(0x06000102, 0x090A0405, 0x0C0D0E08, 0x16101112, 0x191A1415, 0x1C1D1E18, 0x26202122,
                           0x292A2425, 0x2C2D2E28, 0x36303132, 0x393A3435, 0x3C3D3E38, 0, 0, 0, 0);
}

// 64 values of six bits become 48 bytes at the front.
__m512i Join(__m512i values, __m512i order) {
  const __m512i pairs = _mm512_maddubs_epi16(values, _mm512_set1_epi32(0x01400140));
  const __m512i groups = _mm512_madd_epi16(pairs, _mm512_set1_epi32(0x00011000));
  return _mm512_permutexvar_epi8(order, groups);
}

std::size_t Decode(const char* text, std::size_t size, char* out) {
  char* const start = out;
  const __m512i order = WordOrder();
  // A whole vector is stored, sixteen bytes more than the block decodes to; the rest of the text leaves room
  // for them.
  for (; size >= kCharacters + 24; size -= kCharacters, text += kCharacters, out += kBytes) {
    const Values block = ToValues(_mm512_loadu_si512(text));
    if (block.rejected != 0) break;
    _mm512_storeu_si512(out, Join(block.values, order));
  }
  for (;;) {
    // Zeros behind the text end it.
    const Values block = ToValues(_mm512_maskz_loadu_epi8(FirstLanes(size), text));
    const std::size_t count =
        block.rejected != 0 ? static_cast<std::size_t>(__builtin_ctzll(block.rejected)) : kCharacters;
    const std::size_t decoded = Base64DecodedSize(count);
    const __m512i values = _mm512_maskz_mov_epi8(~block.rejected, block.values);
    _mm512_mask_storeu_epi8(out, FirstLanes(decoded), Join(values, order));
    out += decoded;
    if (count < kCharacters) return static_cast<std::size_t>(out - start);
    text += kCharacters;
    size -= kCharacters;
  }
}

}  // namespace

const Base64Kernels kBase64Avx512 = {EncodeGroups, Decode};

}  // namespace tovkit
