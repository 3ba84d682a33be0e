// SPDX-License-Identifier: MIT
// RapidJSON's values as bytes, for the reader that fills them faster than RapidJSON's own calls do.
//
// A value has 16 bytes, the last two of which are its flags:
//
//     byte          0       4       8              14
//     short string  text and NUL, zeros up to 13   13 - length in byte 13   | flags
//     long string   length  0       pointer, 6 bytes                        | flags
//     array         size    room    pointer to values                       | flags
//     object        size    room    pointer to members, pairs of values     | flags
//
// RapidJSON itself moves values by their bytes. json_inside_test compares what is written here with what its
// constructors write, byte for byte.
#pragma once

#include "document.h"

#include <emmintrin.h>

#include <cassert>
#include <cstdint>
#include <cstring>

namespace tovkit {

static_assert(sizeof(Value) == 16 && sizeof(Member) == 2 * sizeof(Value));
static_assert(RAPIDJSON_48BITPOINTER_OPTIMIZATION == 1);

constexpr unsigned kShortStringMost = 13;  // bytes that a value itself holds
constexpr std::uint64_t kShortStringFlags = 0x1c05;
constexpr std::uint64_t kLongStringFlags = 0x0c05;
constexpr std::uint64_t kArrayFlags = rapidjson::kArrayType;
constexpr std::uint64_t kObjectFlags = rapidjson::kObjectType;

inline __m128i LoadBytes(const void* bytes) { return _mm_loadu_si128(static_cast<const __m128i*>(bytes)); }

inline void StoreBytes(void* place, __m128i bytes) { _mm_storeu_si128(static_cast<__m128i*>(place), bytes); }

// Makes `place` the string of the first `length` bytes of `text`, at most kShortStringMost.
inline void StoreShortString(void* place, __m128i text, unsigned length) {
  assert(length <= kShortStringMost);
  // From position 16 - n on, n bytes that are all ones, then zeros.
  alignas(16) static constexpr std::uint8_t kOnes[32] = {255, 255, 255, 255, 255, 255, 255, 255,
                                                         255, 255, 255, 255, 255, 255, 255, 255};
  const __m128i kept = _mm_and_si128(text, LoadBytes(kOnes + 16 - length));
  const std::uint64_t last = std::uint64_t{kShortStringMost - length} << 40 | kShortStringFlags << 48;
  StoreBytes(place, _mm_or_si128(kept, _mm_set_epi64x(static_cast<std::int64_t>(last), 0)));
}

// Makes `place` a value of a size, a capacity and a pointer into the pool.
inline void StorePointer(void* place, std::uint32_t size, std::uint32_t capacity, const void* data,
                         std::uint64_t flags) {
  const auto address = reinterpret_cast<std::uintptr_t>(data);
  assert(address >> 48 == 0);
  const std::uint64_t words[2] = {size | std::uint64_t{capacity} << 32, address | flags << 48};
  std::memcpy(place, words, sizeof words);
}

// How many members an object has room for.
inline std::uint32_t RoomOf(const Value& object) {
  std::uint32_t room = 0;
  std::memcpy(&room, reinterpret_cast<const char*>(&object) + sizeof(std::uint32_t), sizeof room);
  return room;
}

// The values that a container holds: elements, or names and values of members in turn.
inline const Value* FirstSlot(const Value& container) {
  return container.IsObject() ? reinterpret_cast<const Value*>(container.MemberBegin()) : container.Begin();
}
inline std::size_t CountSlots(const Value& container) {
  return container.IsObject() ? std::size_t{container.MemberCount()} * 2 : container.Size();
}

// The length of a string that the value itself holds, more than kShortStringMost for any other.
inline unsigned ShortLength(const Value& string) {
  std::uint64_t last = 0;
  std::memcpy(&last, reinterpret_cast<const char*>(&string) + 8, sizeof last);
  return last >> 48 == kShortStringFlags ? kShortStringMost - (last >> 40 & 0xff) : kShortStringMost + 1;
}

}  // namespace tovkit
