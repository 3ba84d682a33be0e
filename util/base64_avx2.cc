// SPDX-License-Identifier: MIT
// Base64 with AVX2: 24 bytes or 32 characters at a time. Includes no header with inline code of its own: what
// is compiled here runs on processors with AVX2 only.
#include "base64_kernels.h"

#include <immintrin.h>

#include <cstdint>

namespace tovkit {

namespace {

constexpr std::size_t kCharacters = 32;
constexpr std::size_t kBytes = 24;

__m256i Both(__m128i half) { return _mm256_broadcastsi128_si256(half); }

__m256i Load(const void* from) { return _mm256_loadu_si256(static_cast<const __m256i*>(from)); }

void Store(void* to, __m256i vector) { _mm256_storeu_si256(static_cast<__m256i*>(to), vector); }

// 24 bytes in the middle of the vector become 32 values of six bits.
__m256i Split(__m256i bytes) {
  // Bytes b a c b of each group in one 32-bit word; then two multiplications shift all four fields into
  // place.
  const __m256i order = _mm256_setr_epi8(5, 4, 6, 5, 8, 7, 9, 8, 11, 10, 12, 11, 14, 13, 15, 14,  //
                                         1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10);
  const __m256i words = _mm256_shuffle_epi8(bytes, order);
  const __m256i firstAndThird = _mm256_mulhi_epu16(_mm256_and_si256(words, _mm256_set1_epi32(0x0FC0FC00)),
                                                   _mm256_set1_epi32(0x04000040));
  const __m256i secondAndFourth = _mm256_mullo_epi16(_mm256_and_si256(words, _mm256_set1_epi32(0x003F03F0)),
                                                     _mm256_set1_epi32(0x01000010));
  return _mm256_or_si256(firstAndThird, secondAndFourth);
}

// Values to characters. Each range of the alphabet has one distance: letters A-Z take entry 0, a-z entry 1,
// the ten digits 2 to 11, "+" 12, "/" 13.
__m256i ToCharacters(__m256i values) {
  const __m256i distances =
      Both(_mm_setr_epi8('A', 'a' - 26, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52,
                         '0' - 52, '0' - 52, '0' - 52, '+' - 62, '/' - 63, 0, 0));
  const __m256i beyondLetters = _mm256_subs_epu8(values, _mm256_set1_epi8(51));
  const __m256i notUpper = _mm256_cmpgt_epi8(values, _mm256_set1_epi8(25));
  return _mm256_add_epi8(values, _mm256_shuffle_epi8(distances, _mm256_sub_epi8(beyondLetters, notUpper)));
}

__m256i Encode(__m256i bytes) { return ToCharacters(Split(bytes)); }

void EncodeGroups(const unsigned char* data, std::size_t size, char* out) {
  constexpr std::size_t kLead = 4;  // a vector begins four bytes before its block and ends four behind it
  if (size >= kBytes + kLead) {
    const __m128i low = _mm_loadu_si128(static_cast<const __m128i*>(static_cast<const void*>(data)));
    const __m128i high = _mm_loadu_si128(static_cast<const __m128i*>(static_cast<const void*>(data + 12)));
    Store(out, Encode(_mm256_set_m128i(high, _mm_slli_si128(low, kLead))));
    // The allocator's buffers are multiples of 16. After half a block, the stores that follow cross no cache
    // line.
    const std::size_t parts = (reinterpret_cast<std::uintptr_t>(out) & 16) != 0 ? 1 : 2;
    size -= parts * (kBytes / 2);
    data += parts * (kBytes / 2);
    out += parts * (kCharacters / 2);
  }
  for (; size >= 2 * kBytes + kLead; size -= 2 * kBytes, data += 2 * kBytes, out += 2 * kCharacters) {
    const __m256i first = Encode(Load(data - kLead));
    const __m256i second = Encode(Load(data - kLead + kBytes));
    Store(out, first);
    Store(out + kCharacters, second);
  }
  kBase64Scalar.encodeGroups(data, size, out);
}

struct Values {
  __m256i values;
  __m256i accepted;  // all ones for each character of the alphabet; the values of others mean nothing
};

// Characters to values. The high nibble selects the range, and with it the low nibbles that are allowed: a
// character is rejected when its two table entries share a bit. "/" shares its range with "+" only and has a
// distance of its own.
Values ToValues(__m256i characters) {
  const __m256i lowBits = Both(_mm_setr_epi8(0x15, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x13,
                                             0x1A, 0x1B, 0x1B, 0x1B, 0x1A));
  const __m256i highBits = Both(_mm_setr_epi8(0x10, 0x10, 0x01, 0x02, 0x04, 0x08, 0x04, 0x08, 0x10, 0x10,
                                              0x10, 0x10, 0x10, 0x10, 0x10, 0x10));
  const __m256i distances = Both(
      _mm_setr_epi8(0, 63 - '/', 62 - '+', 52 - '0', -'A', -'A', 26 - 'a', 26 - 'a', 0, 0, 0, 0, 0, 0, 0, 0));
  const __m256i nibble = _mm256_set1_epi8(0x0F);
  const __m256i high = _mm256_and_si256(_mm256_srli_epi32(characters, 4), nibble);
  const __m256i low = _mm256_and_si256(characters, nibble);
  const __m256i met =
      _mm256_and_si256(_mm256_shuffle_epi8(lowBits, low), _mm256_shuffle_epi8(highBits, high));
  const __m256i isSlash = _mm256_cmpeq_epi8(characters, _mm256_set1_epi8('/'));
  const __m256i distance = _mm256_shuffle_epi8(distances, _mm256_add_epi8(high, isSlash));
  const __m256i accepted = _mm256_cmpeq_epi8(met, _mm256_setzero_si256());
  return {_mm256_add_epi8(characters, distance), accepted};
}

unsigned RejectedBits(const Values& block) {
  return ~static_cast<unsigned>(_mm256_movemask_epi8(block.accepted));
}

// 32 values of six bits become 24 bytes at the front.
__m256i Join(__m256i values) {
  const __m256i pairs = _mm256_maddubs_epi16(values, _mm256_set1_epi32(0x01400140));
  const __m256i groups = _mm256_madd_epi16(pairs, _mm256_set1_epi32(0x00011000));
  const __m256i order = Both(_mm_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12,  // and four of nothing
                                           -1, -1, -1, -1));
  return _mm256_permutevar8x32_epi32(_mm256_shuffle_epi8(groups, order),
                                     _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 3, 7));
}

std::size_t Decode(const char* text, std::size_t size, char* out) {
  char* const start = out;
  // A whole vector is stored, eight bytes more than the block decodes to; the rest of the text leaves room
  // for them.
  for (; size >= kCharacters + 12; size -= kCharacters, text += kCharacters, out += kBytes) {
    const auto block = ToValues(Load(text));
    if (RejectedBits(block) != 0) break;
    Store(out, Join(block.values));
  }
  while (size != 0) {
    // Zeros behind the text end it.
    alignas(32) char characters[kCharacters] = {};
    alignas(32) char bytes[kCharacters];
    __builtin_memcpy(characters, text, size < kCharacters ? size : kCharacters);
    const auto block = ToValues(Load(characters));
    Store(bytes, Join(_mm256_and_si256(block.values, block.accepted)));
    const unsigned rejected = RejectedBits(block);
    const std::size_t count = rejected != 0 ? static_cast<std::size_t>(__builtin_ctz(rejected)) : kCharacters;
    const std::size_t decoded = Base64DecodedSize(count);
    __builtin_memcpy(out, bytes, decoded);
    out += decoded;
    if (count < kCharacters) break;
    text += kCharacters;
    size -= kCharacters;
  }
  return static_cast<std::size_t>(out - start);
}

}  // namespace

const Base64Kernels kBase64Avx2 = {EncodeGroups, Decode};

}  // namespace tovkit
