// SPDX-License-Identifier: MIT
#include "every_call.h"

#include <tovkit/convert.h>

namespace soak {

namespace {

using tovkit::Convert;
using tovkit::Json;
using tovkit::JsonValue;
using tovkit::SharedPtr;
using Value = SharedPtr<const JsonValue>;

void CallScalars() {
  const Value array = Json::Parse("[1.5, true, \"7\"]", 16, nullptr);
  const Value number = array->GetAt(0);
  Require(Convert::ToInt(number) == 1 && Convert::ToUint(number) == 1, "Convert::ToInt");
  Require(Convert::ToFloat(number) == 1.5F && Convert::ToDouble(number) == 1.5, "Convert::ToDouble");
  Require(Convert::ToBoolean(array->GetAt(1)), "Convert::ToBoolean");
  Require(Convert::ToText(number, 3).GetLength() > 0, "Convert::ToText");
}

void CallColors() {
  unsigned color = 0;
  Require(Convert::ToGray(Convert::FromGray(0x7F), color) && color == 0x7F7F7F, "Convert::ToGray");
  Require(Convert::ToRGB(Convert::FromRGB(0x123456), color) && color == 0x123456, "Convert::ToRGB");
  Require(Convert::ToCMYK(Convert::FromCMYK(0x01020304), color), "Convert::ToCMYK");
  Require(Convert::ToARGB(Convert::FromARGB(0x80FF0102), color), "Convert::ToARGB");
  const CoreColorSpace space;
  Require(Convert::ToColor(Convert::FromColor(space, 0x00654321), space, color), "Convert::ToColor");
}

void CallRecords() {
  CoreMatrix matrix;
  CoreRect rect;
  CoreRectF rectF;
  CorePoint point;
  CorePointF pointF;
  CoreSize size;
  CoreSizeF sizeF;
  Require(Convert::JsonToMatrix(Convert::MatrixToJson(matrix), matrix), "Convert::JsonToMatrix");
  Require(Convert::JsonToRect(Convert::RectToJson(rect), rect), "Convert::JsonToRect");
  Require(Convert::JsonToRectF(Convert::RectFToJson(rectF), rectF), "Convert::JsonToRectF");
  Require(Convert::JsonToPoint(Convert::PointToJson(point), point), "Convert::JsonToPoint");
  Require(Convert::JsonToPointF(Convert::PointFToJson(pointF), pointF), "Convert::JsonToPointF");
  Require(Convert::JsonToSize(Convert::SizeToJson(size), size), "Convert::JsonToSize");
  Require(Convert::JsonToSizeF(Convert::SizeFToJson(sizeF), sizeF), "Convert::JsonToSizeF");
}

template <typename T>
SharedPtr<JsonValue> ArrayOf() {
  CoreArray<T> array;
  for (int i = 0; i < 20; ++i) array.Add(static_cast<T>(i));
  return Convert::ArrayToJson(array);
}

template <typename T>
void CallArray() {
  CoreArray<T> again;
  Require(Convert::JsonToArray(ArrayOf<T>(), again) && again.GetSize() == 21, "Convert::JsonToArray");
}

template <typename S, typename Char>
void CallList(const Char* text) {
  CoreStringList<S> list;
  list.Add(S(text));
  CoreStringList<S> again;
  Require(
      Convert::JsonToStringList(Convert::StringListToJson(list), again) && again.GetAt(0) == list.GetAt(0),
      "Convert::JsonToStringList");
}

}  // namespace

void CallConvert() {
  CallScalars();
  CallColors();
  CallRecords();
  Require(ArrayOf<int>()->Size() == 20, "Convert::ArrayToJson");
  CallArray<float>();
  CallArray<unsigned char>();
  CallArray<unsigned short>();
  CallArray<unsigned>();
  CallList<CoreString>("text");
  CallList<CoreWideString>(L"text");
  CorePath path;
  path.MoveTo(0, 0);
  path.CubicTo(1, 2, 3, 4, 5, 6);
  Require(Convert::PathToJson(path)->Size() > 0, "Convert::PathToJson");
}

}  // namespace soak
