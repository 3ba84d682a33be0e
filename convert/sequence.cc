// SPDX-License-Identifier: MIT
// Arrays, string lists and paths, from JSON arrays and back: one rule for each direction, which knows its
// element only through Insert and Read.
#include "json_array.h"
#include "tovkit/convert.h"

#include <tovmx/text_codec.h>

#include <algorithm>
#include <cstdint>
#include <new>
#include <utility>

namespace tovkit {

namespace {

void Insert(JsonValue& array, int index, int value) { array.InsertInt(index, value); }
void Insert(JsonValue& array, int index, unsigned value) { array.InsertUint(index, value); }
void Insert(JsonValue& array, int index, float value) { array.InsertFloat(index, value); }
void Insert(JsonValue& array, int index, const CoreString& value) {
  array.InsertString(index, value.c_str());
}
void Insert(JsonValue& array, int index, const CoreWideString& value) {
  Insert(array, index, CoreTextCodec::Utf8Encode(value.GetData(), value.GetLength()));
}

// JSON has no smaller unsigned types, so these are stored as unsigned int.
void Insert(JsonValue& array, int index, unsigned char value) {
  Insert(array, index, static_cast<unsigned>(value));
}
void Insert(JsonValue& array, int index, unsigned short value) {
  Insert(array, index, static_cast<unsigned>(value));
}

template <typename T>
T Read(const JsonValue& array, std::uint32_t index) {
  return static_cast<T>(array.GetAtUint(index, 0));
}
template <>
float Read<float>(const JsonValue& array, std::uint32_t index) {
  return array.GetAtFloat(index, 0.0f);
}
template <>
CoreString Read<CoreString>(const JsonValue& array, std::uint32_t index) {
  return array.GetAtString(index, "");
}
template <>
CoreWideString Read<CoreWideString>(const JsonValue& array, std::uint32_t index) {
  return CoreTextCodec::Utf8Decode(array.GetAtString(index, ""), -1);
}

template <typename T>
SharedPtr<JsonValue> FromCoreArray(const CoreArray<T>& source) {
  SharedPtr<JsonValue> array = NewArray();
  const auto guard = source.Lock();
  for (int i = 0, size = source.GetSize(); i < size; ++i) Insert(*array, i, source[i]);
  return array;
}

template <typename S>
SharedPtr<JsonValue> FromStringList(const CoreStringList<S>& source) {
  SharedPtr<JsonValue> array = NewArray();
  for (int i = 0, count = source.GetCount(); i < count; ++i) Insert(*array, i, source.GetAt(i));
  return array;
}

// Compatibility: both readers go one element beyond the last, which reads as the default.

// Does what Add() for each element would: an element without memory is skipped, and the array grows by its
// own steps. But the mutex is taken once for each step, not for each element.
template <typename T>
bool ToCoreArray(const SharedPtr<const JsonValue>& value, CoreArray<T>& destination) {
  if (!IsArray(value)) return false;
  const JsonValue& array = *value;
  const auto guard = destination.Lock();
  const std::int64_t count = std::int64_t{array.Size()} + 1;
  std::uint32_t index = 0;
  while (index < count) {
    const int filled = destination.GetSize();
    const std::int64_t room = std::min<std::int64_t>(destination.GetCapacity() - filled, count - index);
    if (room <= 0) {
      destination.Add(Read<T>(array, index++));
      continue;
    }
    destination.SetSize(filled + static_cast<int>(room));
    for (T* element = &destination[filled]; element != destination.GetData() + filled + room; ++element) {
      *element = Read<T>(array, index++);
    }
  }
  return true;
}

template <typename S>
bool ToStringList(const SharedPtr<const JsonValue>& value, CoreStringList<S>& destination) {
  if (!IsArray(value)) return false;
  const JsonValue& array = *value;
  const std::int64_t count = std::int64_t{array.Size()} + 1;
  for (std::uint32_t index = 0; index < count; ++index) {
    S text = Read<S>(array, index);
    try {
      destination.Add(std::move(text));
    } catch (const std::bad_alloc&) {  // the list cannot grow: this text is skipped and nobody is told
    }
  }
  return true;
}

}  // namespace

SharedPtr<JsonValue> Convert::ArrayToJson(const CoreArray<int>& array) { return FromCoreArray(array); }
SharedPtr<JsonValue> Convert::ArrayToJson(const CoreArray<float>& array) { return FromCoreArray(array); }
SharedPtr<JsonValue> Convert::ArrayToJson(const CoreArray<unsigned char>& array) {
  return FromCoreArray(array);
}
SharedPtr<JsonValue> Convert::ArrayToJson(const CoreArray<unsigned short>& array) {
  return FromCoreArray(array);
}
SharedPtr<JsonValue> Convert::ArrayToJson(const CoreArray<unsigned int>& array) {
  return FromCoreArray(array);
}

SharedPtr<JsonValue> Convert::StringListToJson(const CoreStringList<CoreString>& list) {
  return FromStringList(list);
}
SharedPtr<JsonValue> Convert::StringListToJson(const CoreStringList<CoreWideString>& list) {
  return FromStringList(list);
}

bool Convert::JsonToArray(const SharedPtr<const JsonValue>& value, CoreArray<float>& array) {
  return ToCoreArray(value, array);
}
bool Convert::JsonToArray(const SharedPtr<const JsonValue>& value, CoreArray<unsigned char>& array) {
  return ToCoreArray(value, array);
}
bool Convert::JsonToArray(const SharedPtr<const JsonValue>& value, CoreArray<unsigned short>& array) {
  return ToCoreArray(value, array);
}
bool Convert::JsonToArray(const SharedPtr<const JsonValue>& value, CoreArray<unsigned int>& array) {
  return ToCoreArray(value, array);
}

bool Convert::JsonToStringList(const SharedPtr<const JsonValue>& value, CoreStringList<CoreString>& list) {
  return ToStringList(value, list);
}
bool Convert::JsonToStringList(const SharedPtr<const JsonValue>& value,
                               CoreStringList<CoreWideString>& list) {
  return ToStringList(value, list);
}

SharedPtr<JsonValue> Convert::PathToJson(const CorePath& path) {
  SharedPtr<JsonValue> points = NewArray();
  // The counter is the last index.
  for (int i = 0, last = path.GetPointCounter(); i <= last; ++i) {
    CorePointF point;
    std::uint32_t kind = 0;
    path.GetPoint(i, point, kind);
    const SharedPtr<JsonValue> pair = points->InsertArray(i);
    pair->InsertFloat(-1, point.x);
    pair->InsertFloat(-1, point.y);
  }
  return points;
}

}  // namespace tovkit
