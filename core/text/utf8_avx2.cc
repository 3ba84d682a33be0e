// SPDX-License-Identifier: MIT
// UTF-8 with AVX2. Includes no header with inline code of its own: what is compiled here runs on processors
// with AVX2 and BMI1 only.
#include "text/utf8_kernels.h"

#include <immintrin.h>

#include <cstdint>

namespace tovmx {

namespace {

constexpr std::size_t kBlock = 64;    // bytes decoded at a time
constexpr std::size_t kLanes = 8;     // characters of a vector
constexpr std::size_t kLongSize = 4;  // bytes of a character from 0x10000 on

__m256i Load(const void* from) { return _mm256_loadu_si256(static_cast<const __m256i*>(from)); }
void Store(void* to, __m256i vector) { _mm256_storeu_si256(static_cast<__m256i*>(to), vector); }
__m256i All(std::uint32_t value) { return _mm256_set1_epi32(static_cast<int>(value)); }

__m256i Field(__m256i shifted, std::uint32_t keep) { return _mm256_and_si256(shifted, All(keep)); }

bool AreAll(__m256i mask) { return _mm256_movemask_epi8(mask) == -1; }

// ---- Decoding

// Fewer bytes in front of something unusual are left to the scalar loop, too.
constexpr std::size_t kWorthwhile = 24;
constexpr std::size_t kGroup = 4;        // characters that are gathered at once
constexpr unsigned kGroupBytes = 12;     // what they take at most
constexpr unsigned kGroupPatterns = 81;  // three sizes each

// How the bytes of four characters of one to three bytes move to their lanes: the last byte of each goes
// lowest. `pattern` finds the order by the bits that mark the last bytes. Characters that the bits do not
// show count as one byte.
struct Gathering {
  unsigned char pattern[1 << kGroupBytes];
  signed char order[kGroupPatterns][16];
};

constexpr Gathering MakeGathering() {
  Gathering gathering = {};
  for (unsigned ends = 0; ends < 1U << kGroupBytes; ++ends) {
    unsigned pattern = 0;
    unsigned place = 0;
    for (std::size_t lane = 0; lane < kGroup; ++lane) {
      unsigned size = 1;
      while (size < 3 && (ends >> (place + size - 1) & 1) == 0) ++size;
      if (ends >> place == 0) size = 1;
      pattern = pattern * 3 + size - 1;
      place += size;
    }
    gathering.pattern[ends] = static_cast<unsigned char>(pattern);
  }
  for (unsigned pattern = 0; pattern < kGroupPatterns; ++pattern) {
    int place = 0;
    for (int lane = 0, unit = 27; lane < 4; ++lane, unit /= 3) {
      const int size = static_cast<int>(pattern) / unit % 3 + 1;
      for (int k = 0; k < 4; ++k) {
        gathering.order[pattern][4 * lane + k] =
            static_cast<signed char>(k < size ? place + size - 1 - k : -1);
      }
      place += size;
    }
  }
  return gathering;
}

constexpr Gathering kGathering = MakeGathering();

// Half a block, with what the byte behind each tells.
struct Half {
  __m256i bytes;
  __m256i next;
};

Half LoadHalf(const char* text) { return {Load(text), Load(text + 1)}; }

__m256i IsFrom(__m256i bytes, unsigned least) {
  const __m256i bound = _mm256_set1_epi8(static_cast<char>(least));
  return _mm256_cmpeq_epi8(_mm256_max_epu8(bytes, bound), bytes);
}

__m256i Is(__m256i bytes, unsigned value) {
  return _mm256_cmpeq_epi8(bytes, _mm256_set1_epi8(static_cast<char>(value)));
}

// First bytes of forms that are longer than need be or encode a surrogate, and of characters from 0x10000 on.
__m256i IsUnusual(const Half& half) {
  const __m256i nextIsLow = _mm256_cmpgt_epi8(_mm256_set1_epi8(static_cast<char>(0xA0)), half.next);
  const __m256i longForm = _mm256_and_si256(Is(half.bytes, 0xE0), nextIsLow);
  const __m256i surrogate = _mm256_andnot_si256(nextIsLow, Is(half.bytes, 0xED));
  const __m256i short2 = Is(_mm256_and_si256(half.bytes, _mm256_set1_epi8(static_cast<char>(0xFE))), 0xC0);
  return _mm256_or_si256(_mm256_or_si256(longForm, surrogate),
                         _mm256_or_si256(short2, IsFrom(half.bytes, 0xF0)));
}

// A bit for each of 64 bytes.
std::uint64_t Bits(__m256i first, __m256i second) {
  return static_cast<std::uint32_t>(_mm256_movemask_epi8(first)) |
         static_cast<std::uint64_t>(static_cast<std::uint32_t>(_mm256_movemask_epi8(second))) << 32;
}

// The whole characters at the front of a block: bits at their first and last bytes. What is malformed or
// unusual ends them, and so does a character that the block cuts off.
struct Characters {
  std::uint64_t firsts;
  std::uint64_t lasts;
  std::size_t size;  // in bytes
};

// The bit where the characters in front of what is `bad` end. A character that lacks a byte begins before the
// place where the byte should be.
std::uint64_t EndBefore(std::uint64_t bad, std::uint64_t wrong, std::uint64_t trailing) {
  const std::uint64_t place = _blsi_u64(bad);
  const std::uint64_t before = ~trailing & (place - 1);
  const bool lacksByte = (wrong & ~trailing & place) != 0 && before != 0;
  return lacksByte ? std::uint64_t{1} << (63 - __builtin_clzll(before)) : place;
}

Characters FindCharacters(const Half& a, const Half& b) {
  const std::uint64_t high = Bits(a.bytes, b.bytes);
  const std::uint64_t of2 = Bits(IsFrom(a.bytes, 0xC0), IsFrom(b.bytes, 0xC0));
  const std::uint64_t of3 = Bits(IsFrom(a.bytes, 0xE0), IsFrom(b.bytes, 0xE0));
  const std::uint64_t trailing = high & ~of2;
  const std::uint64_t wrong = trailing ^ (of2 << 1 | of3 << 2);
  const __m256i unusualA = IsUnusual(a);
  const __m256i unusualB = IsUnusual(b);
  const __m256i unusual = _mm256_or_si256(unusualA, unusualB);
  std::uint64_t cut = (of2 & std::uint64_t{1} << 63) | (of3 & std::uint64_t{3} << 62);
  if (wrong != 0 || _mm256_testz_si256(unusual, unusual) == 0) {
    cut |= EndBefore(wrong | Bits(unusualA, unusualB), wrong, trailing);
  }
  const std::uint64_t whole = cut != 0 ? _blsmsk_u64(cut) >> 1 : ~std::uint64_t{0};
  const std::uint64_t firsts = ~trailing & whole;
  return {firsts, firsts >> 1 | (whole ^ whole >> 1), static_cast<std::size_t>(_mm_popcnt_u64(whole))};
}

// The lanes of the next four characters; what stands in lanes without one means nothing.
__m128i Gather(const char* text, std::uint64_t& firsts, std::uint64_t lasts) {
  const std::uint64_t place = _tzcnt_u64(firsts);
  const unsigned ends = static_cast<unsigned>(lasts >> (place & 63)) & ((1U << kGroupBytes) - 1);
  for (std::size_t i = 0; i < kGroup; ++i) firsts = _blsr_u64(firsts);
  const __m128i bytes = _mm_loadu_si128(static_cast<const __m128i*>(static_cast<const void*>(text + place)));
  const auto* order = static_cast<const void*>(kGathering.order[kGathering.pattern[ends]]);
  return _mm_shuffle_epi8(bytes, _mm_loadu_si128(static_cast<const __m128i*>(order)));
}

// Writes up to a vector more than the characters.
void DecodeCharacters(const char* text, const Characters& characters, wchar_t* out) {
  for (std::uint64_t firsts = characters.firsts; firsts != 0; out += kLanes) {
    const __m128i low = Gather(text, firsts, characters.lasts);
    const __m128i high = Gather(text, firsts, characters.lasts);
    // Marks off, then six bits of each byte together; only a byte alone has a seventh, and only the last of
    // three marks a fifth.
    const __m256i bits = _mm256_and_si256(_mm256_set_m128i(high, low), All(0x000F3F7F));
    Store(out, _mm256_madd_epi16(_mm256_maddubs_epi16(bits, All(0x00014001)), All(0x10000001)));
  }
}

void WidenAscii(const char* text, wchar_t* out) {
  for (std::size_t i = 0; i < kBlock; i += kLanes) {
    const auto* eight = static_cast<const __m128i*>(static_cast<const void*>(text + i));
    Store(out + i, _mm256_cvtepu8_epi32(_mm_loadl_epi64(eight)));
  }
}

// Decodes the characters of four bytes at the front, eight at a time, and returns how many bytes they took.
std::size_t DecodeLong(const char* text, std::size_t length, wchar_t* out) {
  const __m256i highestFirst =
      _mm256_broadcastsi128_si256(_mm_setr_epi8(3, 2, 1, 0, 7, 6, 5, 4, 11, 10, 9, 8, 15, 14, 13, 12));
  std::size_t taken = 0;
  for (; length - taken >= kLanes * kLongSize; taken += kLanes * kLongSize, out += kLanes) {
    const __m256i bytes = _mm256_shuffle_epi8(Load(text + taken), highestFirst);
    const __m256i marks = _mm256_cmpeq_epi32(Field(bytes, 0xF8C0C0C0), All(0xF0808080));
    const __m256i bits = _mm256_and_si256(bytes, All(0x073F3F3F));
    const __m256i characters =
        _mm256_madd_epi16(_mm256_maddubs_epi16(bits, All(0x40014001)), All(0x10000001));
    // Shorter forms would do below, and there is nothing above.
    const __m256i tooLow = _mm256_cmpgt_epi32(All(0x10000), characters);
    const __m256i tooHigh = _mm256_cmpgt_epi32(characters, All(0x10FFFF));
    if (!AreAll(_mm256_andnot_si256(_mm256_or_si256(tooLow, tooHigh), marks))) break;
    Store(out, characters);
  }
  return taken;
}

Utf8Progress Decode(const char* text, std::size_t length, wchar_t* out) {
  Utf8Progress done = {0, 0};
  // Sixteen bytes are read, and up to eight characters written, beyond a block.
  while (length - done.taken >= kBlock + 16) {
    const char* const block = text + done.taken;
    const Half first = LoadHalf(block);
    const Half second = LoadHalf(block + kBlock / 2);
    if (_mm256_movemask_epi8(_mm256_or_si256(first.bytes, second.bytes)) == 0) {
      WidenAscii(block, out + done.written);
      done.taken += kBlock;
      done.written += kBlock;
      continue;
    }
    const Characters characters = FindCharacters(first, second);
    if (characters.size < kWorthwhile) {
      // The length of what is left, so that a long row is gone through at once.
      const std::size_t taken = DecodeLong(block, length - done.taken, out + done.written);
      if (taken == 0) break;
      done.taken += taken;
      done.written += taken / kLongSize;
      continue;
    }
    DecodeCharacters(block, characters, out + done.written);
    done.taken += characters.size;
    done.written += static_cast<std::size_t>(_mm_popcnt_u64(characters.firsts));
  }
  return done;
}

// ---- Encoding

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
void EncodeLong(__m256i characters, char* out) {
  const __m256i first = _mm256_srli_epi32(characters, 18);
  const __m256i second = Field(_mm256_srli_epi32(characters, 4), 0x3F00);
  const __m256i third = Field(_mm256_slli_epi32(characters, 10), 0x3F0000);
  const __m256i fourth = _mm256_slli_epi32(Field(characters, 0x3F), 24);
  Store(out, _mm256_or_si256(_mm256_or_si256(_mm256_or_si256(first, second), _mm256_or_si256(third, fourth)),
                             All(0x808080F0)));
}

// Escapes of bytes that begin no character, whatever follows.
__m256i IsLone(__m256i characters) {
  const __m256i byte = Field(characters, 0xFF);
  const __m256i isEscape = _mm256_cmpeq_epi32(Field(characters, 0xFFFFFF80), All(0xDC80));
  const __m256i begins =
      _mm256_and_si256(_mm256_cmpgt_epi32(byte, All(0xC1)), _mm256_cmpgt_epi32(All(0xF5), byte));
  return _mm256_andnot_si256(begins, isEscape);
}

// Encodes eight characters that are all long, or all escapes, and returns how many bytes count; 0 for others.
std::size_t EncodeUnusual(__m256i characters, char* out) {
  const __m256i isLong = _mm256_and_si256(_mm256_cmpgt_epi32(characters, All(0xFFFF)),
                                          _mm256_cmpgt_epi32(All(0x110000), characters));
  if (AreAll(isLong)) {
    EncodeLong(characters, out);
    return kLanes * kLongSize;
  }
  if (!AreAll(IsLone(characters))) return 0;
  NarrowAscii(Field(characters, 0xFF), Field(characters, 0xFF), out);
  return kLanes;
}

Utf8Progress Encode(const wchar_t* text, std::size_t length, char* out) {
  Utf8Progress done = {0, 0};
  // Each character left takes a byte at least: they pay for what the last store may write too many.
  while (length - done.taken >= 3 * kLanes) {
    const __m256i first = Load(text + done.taken);
    const __m256i second = Load(text + done.taken + kLanes);
    const __m256i both = _mm256_or_si256(first, second);
    if (_mm256_testz_si256(both, All(~0x7FU)) != 0) {
      NarrowAscii(first, second, out + done.written);
      done.written += 2 * kLanes;
    } else {
      const __m256i unusual = _mm256_or_si256(IsUnusual(first), IsUnusual(second));
      if (_mm256_testz_si256(unusual, unusual) == 0) {
        const std::size_t size = EncodeUnusual(first, out + done.written);
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

}  // namespace

const Utf8Kernels kUtf8Avx2 = {Decode, Encode};

}  // namespace tovmx
