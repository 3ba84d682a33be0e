// SPDX-License-Identifier: MIT
// UTF-8 to wide text with AVX2. What is compiled here runs on processors with AVX2 and BMI1 only.
#include "text/utf8_avx2.h"

namespace tovmx {

namespace {

constexpr std::size_t kBlock = 64;  // bytes decoded at a time

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

// ---- Decoding what is mixed
//
// Characters of one to four bytes among each other, and bytes that are no UTF-8, which become escapes. Every
// byte begins something, a character or an escape, unless a whole character in front of it needs it.

// How the bytes of two characters move to their lanes, found by the bits that mark their last bytes.
struct PairGathering {
  signed char order[256][8];
};

constexpr PairGathering MakePairGathering() {
  PairGathering gathering = {};
  for (unsigned ends = 0; ends < 256; ++ends) {
    int place = 0;
    for (int lane = 0; lane < 2; ++lane) {
      int size = 1;
      while (size < 4 && (ends >> (place + size - 1) & 1) == 0) ++size;
      if (ends >> place == 0) size = 1;
      for (int k = 0; k < 4; ++k)
        gathering.order[ends][4 * lane + k] = static_cast<signed char>(k < size ? place + size - 1 - k : -1);
      place += size;
    }
  }
  return gathering;
}

constexpr PairGathering kPairGathering = MakePairGathering();

// First bytes by the length of their characters, of which each is as short as it may be.
struct Leads {
  std::uint64_t of2;
  std::uint64_t of3;
  std::uint64_t of4;
  std::uint64_t ofSurrogates;  // begin rows that may spell something: left to the scalar loop
};

// Bytes that stand in no character or only behind its first.
__m256i IsLone(__m256i bytes) {
  const __m256i trails = _mm256_andnot_si256(IsFrom(bytes, 0xC2), IsFrom(bytes, 0x80));
  return _mm256_or_si256(trails, IsFrom(bytes, 0xF5));
}

Leads FindLeads(const Half& a, const Half& b) {
  const auto bits = [&a, &b](auto find) { return Bits(find(a), find(b)); };
  const auto from = [&bits](unsigned least) {
    return bits([least](const Half& h) { return IsFrom(h.bytes, least); });
  };
  const auto is = [&bits](unsigned value) {
    return bits([value](const Half& h) { return Is(h.bytes, value); });
  };
  const auto next = [&bits](unsigned least) {
    return bits([least](const Half& h) { return IsFrom(h.next, least); });
  };
  const std::uint64_t from3 = from(0xE0);
  const std::uint64_t from4 = from(0xF0);
  Leads leads = {from(0xC2) & ~from3, from3 & ~from4, 0, 0};
  const std::uint64_t nextIsHigh = next(0xA0);
  leads.of3 &= ~(is(0xE0) & ~nextIsHigh);
  leads.ofSurrogates = is(0xED) & nextIsHigh;
  if (from4 != 0) {
    const std::uint64_t nextFrom90 = next(0x90);
    leads.of4 = from4 & ~from(0xF5) & ~(is(0xF0) & ~nextFrom90) & ~(is(0xF4) & nextFrom90);
  }
  return leads;
}

// Characters and escapes at the front of a block, up to a row of surrogates or a character that it cuts off.
Characters FindMixed(const Half& a, const Half& b) {
  const Leads leads = FindLeads(a, b);
  const std::uint64_t trailing = Bits(a.bytes, b.bytes) & ~Bits(IsFrom(a.bytes, 0xC0), IsFrom(b.bytes, 0xC0));
  const std::uint64_t one = trailing >> 1;
  const std::uint64_t two = one & trailing >> 2;
  const std::uint64_t whole2 = leads.of2 & one;
  const std::uint64_t whole3 = leads.of3 & two;
  const std::uint64_t whole4 = leads.of4 & two & trailing >> 3;
  const std::uint64_t needed = (whole2 | whole3 | whole4) << 1 | (whole3 | whole4) << 2 | whole4 << 3;
  const std::uint64_t cut = leads.ofSurrogates | (leads.of2 & std::uint64_t{1} << 63) |
                            (leads.of3 & std::uint64_t{3} << 62) | (leads.of4 & std::uint64_t{7} << 61);
  const std::uint64_t whole = cut != 0 ? _blsmsk_u64(cut) >> 1 : ~std::uint64_t{0};
  const std::uint64_t firsts = ~needed & whole;
  return {firsts, firsts >> 1 | (whole ^ whole >> 1), static_cast<std::size_t>(_mm_popcnt_u64(whole))};
}

// The lanes of the next two characters, in the lower half; what stands in lanes without one means nothing.
__m128i GatherPair(const char* text, std::uint64_t& firsts, std::uint64_t lasts) {
  const std::uint64_t place = _tzcnt_u64(firsts);
  const unsigned ends = static_cast<unsigned>(lasts >> (place & 63)) & 0xFF;
  firsts = _blsr_u64(_blsr_u64(firsts));
  const __m128i bytes = _mm_loadl_epi64(static_cast<const __m128i*>(static_cast<const void*>(text + place)));
  const auto* order = static_cast<const void*>(kPairGathering.order[ends]);
  return _mm_shuffle_epi8(bytes, _mm_loadl_epi64(static_cast<const __m128i*>(order)));
}

__m256i EscapeAlone(__m256i lanes, __m256i characters) {
  const __m256i alone =
      _mm256_and_si256(_mm256_cmpgt_epi32(lanes, All(0x7F)), _mm256_cmpgt_epi32(All(0x100), lanes));
  return _mm256_blendv_epi8(characters, _mm256_or_si256(lanes, All(0xDC00)), alone);
}

// Writes up to a vector more than the characters.
void DecodeMixed(const char* text, const Characters& characters, wchar_t* out) {
  for (std::uint64_t firsts = characters.firsts; firsts != 0; out += kLanes) {
    __m128i pairs[4];
    for (__m128i& pair : pairs) pair = GatherPair(text, firsts, characters.lasts);
    const __m256i lanes =
        _mm256_set_m128i(_mm_unpacklo_epi64(pairs[2], pairs[3]), _mm_unpacklo_epi64(pairs[0], pairs[1]));
    // As in DecodeCharacters; the first of four bytes makes its lane negative.
    const __m256i keep = _mm256_blendv_epi8(All(0x000F3F7F), All(0x073F3F3F), _mm256_srai_epi32(lanes, 31));
    const __m256i bits = _mm256_and_si256(lanes, keep);
    const __m256i values = _mm256_madd_epi16(_mm256_maddubs_epi16(bits, All(0x40014001)), All(0x10000001));
    Store(out, EscapeAlone(lanes, values));
  }
}

// ASCII and escapes, a character a byte: a whole block is written, whatever counts of it.
void WidenBytes(const char* text, wchar_t* out) {
  for (std::size_t i = 0; i < kBlock; i += kLanes) {
    const auto* eight = static_cast<const __m128i*>(static_cast<const void*>(text + i));
    const __m256i lanes = _mm256_cvtepu8_epi32(_mm_loadl_epi64(eight));
    Store(out + i, EscapeAlone(lanes, lanes));
  }
}

// The same for a block that is mixed; returns no progress where little of it can be taken.
Utf8Progress DecodeMixedBlock(const char* block, const Half& first, const Half& second, wchar_t* out) {
  // Rows of bytes that begin nothing are the scalar loop's, which goes through them at once.
  if (AreAll(_mm256_and_si256(IsLone(first.bytes), IsLone(second.bytes)))) return {0, 0};
  const Characters characters = FindMixed(first, second);
  if (characters.size < kWorthwhile) return {0, 0};
  const auto count = static_cast<std::size_t>(_mm_popcnt_u64(characters.firsts));
  if (count == characters.size) {
    WidenBytes(block, out);
  } else {
    DecodeMixed(block, characters, out);
  }
  return {characters.size, count};
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
      const Utf8Progress progress = taken != 0 ? Utf8Progress{taken, taken / kLongSize}
                                               : DecodeMixedBlock(block, first, second, out + done.written);
      if (progress.taken == 0) break;
      done.taken += progress.taken;
      done.written += progress.written;
      continue;
    }
    DecodeCharacters(block, characters, out + done.written);
    done.taken += characters.size;
    done.written += static_cast<std::size_t>(_mm_popcnt_u64(characters.firsts));
  }
  return done;
}

}  // namespace

const Utf8Kernels kUtf8Avx2 = {Decode, EncodeUtf8Avx2};

}  // namespace tovmx
