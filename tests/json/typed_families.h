// SPDX-License-Identifier: MIT
// The eight types of the operation families, each with its member of every family.
#pragma once

#include "json_support.h"

#include <tuple>

// One type's member of each family.
template <typename Type>
struct Family {
  using T = Type;
  const char* name;
  bool (tovkit::JsonValue::*get)(T&) const;
  T (tovkit::JsonValue::*as)(bool*) const;
  T (tovkit::JsonValue::*getMember)(const char*, T) const;
  void (tovkit::JsonValue::*setMember)(const char*, T);
  T (tovkit::JsonValue::*getAt)(std::uint32_t, T) const;
  bool (tovkit::JsonValue::*setAt)(std::uint32_t, T);
  bool (tovkit::JsonValue::*insert)(std::int32_t, T);
};

#define TOVKIT_FAMILY(Type, Name)                                                                            \
  Family<Type> {                                                                                             \
#Name, &tovkit::JsonValue::Get##Name, &tovkit::JsonValue::As##Name, &tovkit::JsonValue::GetMember##Name, \
        &tovkit::JsonValue::SetMember##Name, &tovkit::JsonValue::GetAt##Name,                                \
        &tovkit::JsonValue::SetAt##Name, &tovkit::JsonValue::Insert##Name                                    \
  }

inline const auto kFamilies = std::make_tuple(
    TOVKIT_FAMILY(std::int32_t, Int), TOVKIT_FAMILY(std::uint32_t, Uint), TOVKIT_FAMILY(std::int64_t, Int64),
    TOVKIT_FAMILY(std::uint64_t, Uint64), TOVKIT_FAMILY(const char*, String), TOVKIT_FAMILY(bool, Bool),
    TOVKIT_FAMILY(float, Float), TOVKIT_FAMILY(double, Double));

// Calls visit(family) for each of the eight.
template <typename Visit>
void ForEachFamily(Visit visit) {
  std::apply([&visit](const auto&... family) { (visit(family), ...); }, kFamilies);
}

template <typename T>
const Family<T>& FamilyOf() {
  return std::get<Family<T>>(kFamilies);
}

// Two values of one type for tests of the families.
template <typename T>
struct Sample {
  static T First() { return T(7); }
  static T Second() { return T(9); }
};
template <>
struct Sample<const char*> {
  static const char* First() { return "first"; }
  static const char* Second() { return "second"; }
};
template <>
struct Sample<bool> {
  static bool First() { return true; }
  static bool Second() { return false; }
};

// How a value is compared and shown: strings by their characters.
template <typename T>
auto Shown(T value) {
  if constexpr (std::is_same_v<T, const char*>) {
    return value == nullptr ? std::string("(null)") : std::string(value);
  } else {
    return value;
  }
}
