// SPDX-License-Identifier: MIT
// Members are looked at from the first to the last, length before bytes; there is no index.
//
// A small object is searched member by member, since that is over soon. For a larger one the wanted name is
// first laid out as a value. One comparison of 16 bytes then decides for a short name; for a long name it
// rules out nearly every other member.
#include "member_search.h"

#include "value_layout.h"

#include <cassert>
#include <cstdint>
#include <cstring>

namespace tovkit {

namespace {

constexpr rapidjson::SizeType kSmallObject = 24;  // members; the preparation pays beyond these

// Whether the first bytes, as many as a Word has, and the last ones are the same.
template <typename Word>
bool SameEnds(const char* a, const char* b, std::size_t length) {
  const auto word = [](const char* bytes) {
    Word result;
    std::memcpy(&result, bytes, sizeof result);
    return result;
  };
  const std::size_t last = length - sizeof(Word);
  return ((word(a) ^ word(b)) | (word(a + last) ^ word(b + last))) == 0;
}

// Whether two texts of `length` bytes, at least one, are the same. Not memcmp: most keys are short, and the
// call costs more than comparing the two words that cover them.
bool SameBytes(const char* a, const char* b, std::size_t length) {
  if (length > 16) return std::memcmp(a, b, length) == 0;
  if (length >= 8) return SameEnds<std::uint64_t>(a, b, length);
  if (length >= 4) return SameEnds<std::uint32_t>(a, b, length);
  return length >= 2 ? SameEnds<std::uint16_t>(a, b, length) : *a == *b;
}

// The bytes that a value must have to be the wanted name; only those under `mask` count.
struct Pattern {
  __m128i mask;
  __m128i bytes;

  bool Matches(const Value& name) const {
    const __m128i same = _mm_cmpeq_epi8(_mm_and_si128(LoadBytes(&name), mask), bytes);
    return _mm_movemask_epi8(same) == 0xffff;
  }
};

// The text, the length and the flags of a short name; the length and the flags of a long one.
Pattern PatternOf(const char* key, std::size_t length) {
  unsigned char mask[16] = {};
  unsigned char bytes[16] = {};
  if (length <= kShortStringMost) {
    for (std::size_t i = 0; i < length; ++i) {
      mask[i] = 0xff;
      bytes[i] = static_cast<unsigned char>(key[i]);
    }
    StoreShortString(bytes, LoadBytes(bytes), static_cast<unsigned>(length));
    mask[kShortStringMost] = 0xff;
  } else {
    StorePointer(bytes, static_cast<std::uint32_t>(length), 0, nullptr, kLongStringFlags);
    std::memset(mask, 0xff, sizeof(std::uint32_t));
  }
  mask[14] = mask[15] = 0xff;
  return {LoadBytes(mask), LoadBytes(bytes)};
}

}  // namespace

Value* FindMember(Value& object, const char* key) {
  assert(object.IsObject() && *key != '\0');
  const std::size_t length = std::strlen(key);
  Member* member = object.MemberBegin();
  Member* const end = object.MemberEnd();
  if (object.MemberCount() <= kSmallObject) {
    for (; member != end; ++member) {
      if (member->name.GetStringLength() != length) continue;
      if (SameBytes(member->name.GetString(), key, length)) return &member->value;
    }
    return nullptr;
  }
  const Pattern pattern = PatternOf(key, length);
  const bool isShort = length <= kShortStringMost;
  for (; member != end; ++member) {
    if (!pattern.Matches(member->name)) continue;
    if (isShort || std::memcmp(member->name.GetString(), key, length) == 0) return &member->value;
  }
  return nullptr;
}

}  // namespace tovkit
