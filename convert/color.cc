// SPDX-License-Identifier: MIT
// A color is 32 bits, and one table says which bits each component fills. Packing and unpacking follow the
// table, so the three color spaces are one rule.
#include "json_array.h"
#include "tovkit/convert.h"

#include <algorithm>
#include <cstdint>

namespace tovkit {

namespace {

// The bytes that a color fills, each as the number of its lowest bit, and how many components it has. The
// last component fills the remaining bytes, so gray is stored three times.
struct ColorLayout {
  int components;
  int bytes;
  int shifts[4];
};

constexpr ColorLayout kGray = {1, 3, {0, 8, 16}};
constexpr ColorLayout kRgb = {3, 3, {0, 8, 16}};
constexpr ColorLayout kCmyk = {4, 4, {24, 16, 8, 0}};

const ColorLayout* LayoutOf(const CoreColorSpace& space) {
  switch (space.kind) {
    case kCoreColorGray:
      return &kGray;
    case kCoreColorRgb:
      return &kRgb;
    case kCoreColorCmyk:
      return &kCmyk;
    default:
      return nullptr;
  }
}

// Compatibility: components are not masked: one that does not fit its byte reaches into the others.
bool Pack(const SharedPtr<const JsonValue>& value, const ColorLayout& layout, unsigned& color) {
  if (!IsArray(value)) return false;
  std::uint32_t packed = 0;
  for (int i = 0; i < layout.bytes; ++i) {
    const int component = std::min(i, layout.components - 1);
    packed |= static_cast<std::uint32_t>(Convert::ToInt(value->GetAt(component))) << layout.shifts[i];
  }
  color = packed;
  return true;
}

SharedPtr<JsonValue> Unpack(unsigned color, const ColorLayout& layout) {
  SharedPtr<JsonValue> array = NewArray();
  for (int i = 0; i < layout.components; ++i) {
    array->InsertInt(i, static_cast<int>(color >> layout.shifts[i] & 0xFFu));
  }
  return array;
}

}  // namespace

bool Convert::ToGray(const SharedPtr<const JsonValue>& value, unsigned& color) {
  return Pack(value, kGray, color);
}
bool Convert::ToRGB(const SharedPtr<const JsonValue>& value, unsigned& color) {
  return Pack(value, kRgb, color);
}
bool Convert::ToCMYK(const SharedPtr<const JsonValue>& value, unsigned& color) {
  return Pack(value, kCmyk, color);
}
bool Convert::ToARGB(const SharedPtr<const JsonValue>& value, unsigned& color) {
  return Pack(value, kCmyk, color);
}

bool Convert::ToColor(const SharedPtr<const JsonValue>& value, const CoreColorSpace& space, unsigned& color) {
  const ColorLayout* const layout = LayoutOf(space);
  return layout != nullptr && Pack(value, *layout, color);
}

SharedPtr<JsonValue> Convert::FromGray(unsigned color) { return Unpack(color, kGray); }
SharedPtr<JsonValue> Convert::FromRGB(unsigned color) { return Unpack(color, kRgb); }
SharedPtr<JsonValue> Convert::FromCMYK(unsigned color) { return Unpack(color, kCmyk); }
SharedPtr<JsonValue> Convert::FromARGB(unsigned color) { return Unpack(color, kCmyk); }

SharedPtr<JsonValue> Convert::FromColor(const CoreColorSpace& space, unsigned color) {
  const ColorLayout* const layout = LayoutOf(space);
  return layout != nullptr ? Unpack(color, *layout) : SharedPtr<JsonValue>();
}

}  // namespace tovkit
