// SPDX-License-Identifier: MIT
// A record is a JSON array of its fields. The fields of each type are listed once, in their order, and both
// directions walk that list.
#include "json_array.h"
#include "tovkit/convert.h"

#include <array>

namespace tovkit {

namespace {

// The fields of each record in the order in which they travel.
template <typename Record>
inline constexpr int kFields = 0;

template <>
inline constexpr std::array kFields<CoreMatrix> = {&CoreMatrix::a, &CoreMatrix::b, &CoreMatrix::c,
                                                   &CoreMatrix::d, &CoreMatrix::e, &CoreMatrix::f};
template <typename T>
inline constexpr std::array kFields<CoreBasicRect<T>> = {&CoreBasicRect<T>::left, &CoreBasicRect<T>::top,
                                                         &CoreBasicRect<T>::right, &CoreBasicRect<T>::bottom};
template <typename T>
inline constexpr std::array kFields<CoreBasicPoint<T>> = {&CoreBasicPoint<T>::x, &CoreBasicPoint<T>::y};
template <typename T>
inline constexpr std::array kFields<CoreBasicSize<T>> = {&CoreBasicSize<T>::width, &CoreBasicSize<T>::height};

void Append(JsonValue& array, int index, int value) { array.InsertInt(index, value); }
void Append(JsonValue& array, int index, float value) { array.InsertFloat(index, value); }

void Read(const SharedPtr<const JsonValue>& element, int& field) { field = Convert::ToInt(element); }
void Read(const SharedPtr<const JsonValue>& element, float& field) { field = Convert::ToFloat(element); }

template <typename Record>
SharedPtr<JsonValue> RecordToJson(const Record& record) {
  SharedPtr<JsonValue> array = NewArray();
  int index = 0;
  for (const auto field : kFields<Record>) Append(*array, index++, record.*field);
  return array;
}

// A missing element is an empty handle, which converts to -1 or 0.0.
template <typename Record>
bool JsonToRecord(const SharedPtr<const JsonValue>& value, Record& record) {
  if (!IsArray(value)) return false;
  int index = 0;
  for (const auto field : kFields<Record>) Read(value->GetAt(index++), record.*field);
  return true;
}

}  // namespace

SharedPtr<JsonValue> Convert::MatrixToJson(const CoreMatrix& matrix) { return RecordToJson(matrix); }
SharedPtr<JsonValue> Convert::RectToJson(const CoreRect& rect) { return RecordToJson(rect); }
SharedPtr<JsonValue> Convert::RectFToJson(const CoreRectF& rect) { return RecordToJson(rect); }
SharedPtr<JsonValue> Convert::PointToJson(const CorePoint& point) { return RecordToJson(point); }
SharedPtr<JsonValue> Convert::PointFToJson(const CorePointF& point) { return RecordToJson(point); }
SharedPtr<JsonValue> Convert::SizeToJson(const CoreSize& size) { return RecordToJson(size); }
SharedPtr<JsonValue> Convert::SizeFToJson(const CoreSizeF& size) { return RecordToJson(size); }

bool Convert::JsonToMatrix(const SharedPtr<const JsonValue>& value, CoreMatrix& matrix) {
  return JsonToRecord(value, matrix);
}
bool Convert::JsonToRect(const SharedPtr<const JsonValue>& value, CoreRect& rect) {
  return JsonToRecord(value, rect);
}
bool Convert::JsonToRectF(const SharedPtr<const JsonValue>& value, CoreRectF& rect) {
  return JsonToRecord(value, rect);
}
bool Convert::JsonToPoint(const SharedPtr<const JsonValue>& value, CorePoint& point) {
  return JsonToRecord(value, point);
}
bool Convert::JsonToPointF(const SharedPtr<const JsonValue>& value, CorePointF& point) {
  return JsonToRecord(value, point);
}
bool Convert::JsonToSize(const SharedPtr<const JsonValue>& value, CoreSize& size) {
  return JsonToRecord(value, size);
}
bool Convert::JsonToSizeF(const SharedPtr<const JsonValue>& value, CoreSizeF& size) {
  return JsonToRecord(value, size);
}

}  // namespace tovkit
