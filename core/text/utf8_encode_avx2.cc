// SPDX-License-Identifier: MIT
// Wide text to UTF-8 with AVX2. What is compiled here runs on processors with AVX2 only.
#include "text/utf8_avx2.h"

namespace tovmx {

namespace {

// How the bytes of four characters move together. Each character has its form in the last bytes of a word;
// the index has a bit for each that takes two bytes or more, and four places above it one for each that takes
// three.
struct Packing {
  signed char order[256][16];
};

constexpr Packing MakePacking() {
  Packing packing = {};
  for (int index = 0; index < 256; ++index) {
    int place = 0;
    for (int lane = 0; lane < 4; ++lane) {
      const int size = 1 + (index >> lane & 1) + (index >> (4 + lane) & 1);
      for (int k = 4 - size; k < 4; ++k)
        packing.order[index][place++] = static_cast<signed char>(4 * lane + k);
    }
    while (place < 16) packing.order[index][place++] = -1;
  }
  return packing;
}

constexpr Packing kPacking = MakePacking();

// Characters below 0x10000 become their forms, in the last bytes of each lane.
__m256i ToForms(__m256i characters, __m256i from2, __m256i from3) {
  const __m256i last = _mm256_slli_epi32(characters, 24);
  const __m256i fields = _mm256_or_si256(
      _mm256_or_si256(Field(last, 0x3F000000), Field(_mm256_slli_epi32(characters, 10), 0x3F0000)),
      Field(_mm256_srli_epi32(characters, 4), 0x0F00));
  const __m256i marks = _mm256_blendv_epi8(All(0x80C00000), All(0x8080E000), from3);
  return _mm256_blendv_epi8(last, _mm256_or_si256(fields, marks), from2);
}

// Writes sixteen bytes and returns how many of them count.
std::size_t StorePacked(__m128i forms, unsigned from2, unsigned from3, char* out) {
  const unsigned index = from2 | from3 << 4;
  const auto* const order = static_cast<const __m128i*>(static_cast<const void*>(kPacking.order[index]));
  _mm_storeu_si128(static_cast<__m128i*>(static_cast<void*>(out)),
                   _mm_shuffle_epi8(forms, _mm_loadu_si128(order)));
  return 4 + static_cast<std::size_t>(__builtin_popcount(index));
}

unsigned LaneBits(__m256i mask) {
  return static_cast<unsigned>(_mm256_movemask_ps(_mm256_castsi256_ps(mask)));
}

// Surrogates, escapes among them, and what lies beyond the first 0x10000 characters.
__m256i IsUnusual(__m256i characters) {
  const __m256i surrogate = _mm256_cmpeq_epi32(Field(characters, 0xFFFFF800), All(0xD800));
  return _mm256_or_si256(surrogate, _mm256_andnot_si256(All(0xFFFF), characters));
}

// Sixteen characters below 0x80 become sixteen bytes.
void NarrowAscii(__m256i first, __m256i second, char* out) {
  const __m256i bytes = _mm256_packus_epi16(_mm256_packus_epi32(first, second), _mm256_setzero_si256());
  const __m256i joined = _mm256_permutevar8x32_epi32(bytes, _mm256_setr_epi32(0, 4, 1, 5, 2, 3, 6, 7));
  _mm_storeu_si128(static_cast<__m128i*>(static_cast<void*>(out)), _mm256_castsi256_si128(joined));
}

std::size_t EncodeLanes(__m256i characters, char* out) {
  const __m256i from2 = _mm256_cmpgt_epi32(characters, All(0x7F));
  const __m256i from3 = _mm256_cmpgt_epi32(characters, All(0x7FF));
  const __m256i forms = ToForms(characters, from2, from3);
  const unsigned bits2 = LaneBits(from2);
  const unsigned bits3 = LaneBits(from3);
  const std::size_t half = StorePacked(_mm256_castsi256_si128(forms), bits2 & 15, bits3 & 15, out);
  return half + StorePacked(_mm256_extracti128_si256(forms, 1), bits2 >> 4, bits3 >> 4, out + half);
}

// Characters from 0x10000 to 0x10FFFF become four bytes each.
__m256i ToLongForms(__m256i characters) {
  const __m256i first = _mm256_srli_epi32(characters, 18);
  const __m256i second = Field(_mm256_srli_epi32(characters, 4), 0x3F00);
  const __m256i third = Field(_mm256_slli_epi32(characters, 10), 0x3F0000);
  const __m256i fourth = _mm256_slli_epi32(Field(characters, 0x3F), 24);
  return _mm256_or_si256(_mm256_or_si256(_mm256_or_si256(first, second), _mm256_or_si256(third, fourth)),
                         All(0x808080F0));
}

__m256i IsEscape(__m256i characters) {
  return _mm256_cmpeq_epi32(Field(characters, 0xFFFFFF80), All(0xDC80));
}

// For escapes: their bytes begin a character, if the right ones follow.
__m256i Begins(__m256i escapes) {
  const __m256i byte = Field(escapes, 0xFF);
  return _mm256_and_si256(_mm256_cmpgt_epi32(byte, All(0xC1)), _mm256_cmpgt_epi32(All(0xF5), byte));
}

// Escapes of bytes that begin no character, whatever follows.
__m256i IsLone(__m256i characters) { return _mm256_andnot_si256(Begins(characters), IsEscape(characters)); }

// Encodes eight characters that are all long, or all escapes, and returns how many bytes count; 0 for others.
std::size_t EncodeUnusual(__m256i characters, char* out) {
  const __m256i isLong = _mm256_and_si256(_mm256_cmpgt_epi32(characters, All(0xFFFF)),
                                          _mm256_cmpgt_epi32(All(0x110000), characters));
  if (AreAll(isLong)) {
    Store(out, ToLongForms(characters));
    return kLanes * kLongSize;
  }
  if (!AreAll(IsLone(characters))) return 0;
  NarrowAscii(Field(characters, 0xFF), Field(characters, 0xFF), out);
  return kLanes;
}

// How the bytes of two characters move together, whose forms of one to four bytes end their words; the index
// has two bits for those of two bytes or more, two for three or more and two for four.
struct PairPacking {
  signed char order[64][8];
};

constexpr PairPacking MakePairPacking() {
  PairPacking packing = {};
  for (int index = 0; index < 64; ++index) {
    int place = 0;
    for (int lane = 0; lane < 2; ++lane) {
      const int size = 1 + (index >> lane & 1) + (index >> (2 + lane) & 1) + (index >> (4 + lane) & 1);
      for (int k = 4 - size; k < 4; ++k)
        packing.order[index][place++] = static_cast<signed char>(4 * lane + k);
    }
    while (place < 8) packing.order[index][place++] = -1;
  }
  return packing;
}

constexpr PairPacking kPairPacking = MakePairPacking();

// Writes eight bytes and returns how many of them count.
std::size_t StorePair(__m128i forms, unsigned index, char* out) {
  const auto* const order = static_cast<const void*>(kPairPacking.order[index]);
  const __m128i packed = _mm_shuffle_epi8(forms, _mm_loadl_epi64(static_cast<const __m128i*>(order)));
  _mm_storel_epi64(static_cast<__m128i*>(static_cast<void*>(out)), packed);
  return 2 + static_cast<std::size_t>(__builtin_popcount(index));
}

// So few characters beyond ASCII among eight are sooner written one by one.
constexpr int kFew = 2;

// Encodes the eight characters at `text`, of one to four bytes and escapes, and returns how many bytes count;
// 0 where a surrogate is, a number that is no character, an escape that may begin a row which spells one, and
// where the scalar loop is faster.
std::size_t EncodeMixed(const wchar_t* text, __m256i characters, char* out) {
  const __m256i escapes = IsEscape(characters);
  const auto from = [&](std::uint32_t least) {
    return _mm256_andnot_si256(escapes, _mm256_cmpgt_epi32(characters, All(least - 1)));
  };
  const __m256i from2 = from(0x80);
  const unsigned longer = LaneBits(from2);
  if (longer != 0 && __builtin_popcount(longer) <= kFew) return 0;
  const __m256i surrogates = _mm256_cmpeq_epi32(Field(characters, 0xFFFFF800), All(0xD800));
  const __m256i inRange =
      _mm256_andnot_si256(_mm256_srai_epi32(characters, 31), _mm256_cmpgt_epi32(All(0x110000), characters));
  const __m256i beginsRow =
      _mm256_and_si256(_mm256_and_si256(escapes, Begins(characters)), IsEscape(Load(text + 1)));
  const __m256i plain =
      _mm256_and_si256(_mm256_or_si256(escapes, _mm256_xor_si256(surrogates, All(~0U))), inRange);
  if (!AreAll(_mm256_andnot_si256(beginsRow, plain))) return 0;
  if (longer == 0) {
    NarrowAscii(Field(characters, 0xFF), Field(characters, 0xFF), out);
    return kLanes;
  }
  const __m256i from3 = from(0x800);
  const __m256i from4 = from(0x10000);
  const __m256i forms = _mm256_blendv_epi8(ToForms(characters, from2, from3), ToLongForms(characters), from4);
  const unsigned bits[3] = {longer, LaneBits(from3), LaneBits(from4)};
  const auto index = [&bits](unsigned pair) {
    return (bits[0] >> 2 * pair & 3) | (bits[1] >> 2 * pair & 3) << 2 | (bits[2] >> 2 * pair & 3) << 4;
  };
  const __m128i low = _mm256_castsi256_si128(forms);
  const __m128i high = _mm256_extracti128_si256(forms, 1);
  std::size_t size = StorePair(low, index(0), out);
  size += StorePair(_mm_unpackhi_epi64(low, low), index(1), out + size);
  size += StorePair(high, index(2), out + size);
  return size + StorePair(_mm_unpackhi_epi64(high, high), index(3), out + size);
}

}  // namespace

Utf8Progress EncodeUtf8Avx2(const wchar_t* text, std::size_t length, char* out) {
  Utf8Progress done = {0, 0};
  // Sixteen bytes are stored for the last four characters, which take four at least. Each one behind them
  // takes one: twelve of those pay for what is stored too many.
  while (length - done.taken >= 3 * kLanes + 4) {
    const __m256i first = Load(text + done.taken);
    const __m256i second = Load(text + done.taken + kLanes);
    const __m256i both = _mm256_or_si256(first, second);
    if (_mm256_testz_si256(both, All(~0x7FU)) != 0) {
      NarrowAscii(first, second, out + done.written);
      done.written += 2 * kLanes;
    } else {
      const __m256i unusual = _mm256_or_si256(IsUnusual(first), IsUnusual(second));
      if (_mm256_testz_si256(unusual, unusual) == 0) {
        std::size_t size = EncodeUnusual(first, out + done.written);
        if (size == 0) size = EncodeMixed(text + done.taken, first, out + done.written);
        if (size == 0) break;
        done.written += size;
        done.taken += kLanes;
        continue;
      }
      done.written += EncodeLanes(first, out + done.written);
      done.written += EncodeLanes(second, out + done.written);
    }
    done.taken += 2 * kLanes;
  }
  return done;
}

}  // namespace tovmx
