// SPDX-License-Identifier: MIT
// One rule for each result type; ConvertStored decides which kinds of values it is asked for. Numbers out of
// range become what the processor's own conversion returns, computed without undefined behavior.
#include "stored_value.h"
#include "tovkit/convert.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <type_traits>

namespace tovkit {

namespace {

static_assert(std::numeric_limits<float>::is_iec559, "a double too large for a float must become infinity");

// The number cut toward zero; every number outside the range, and NaN, becomes the smallest integer, as the
// processor's own conversion does.
template <typename Integer>
Integer Cut(double number) {
  constexpr double kSmallest = static_cast<double>(std::numeric_limits<Integer>::min());
  const bool fits = number > kSmallest - 1.0 && number < -kSmallest;
  return fits ? static_cast<Integer>(number) : std::numeric_limits<Integer>::min();
}

// Converts to the two 32-bit integers, which differ only in the width through which a double is cut.
template <typename Result, typename Wide>
struct IntegerRule {
  Result operator()(std::int32_t number) const { return static_cast<Result>(number); }
  Result operator()(std::uint32_t number) const { return static_cast<Result>(number); }
  Result operator()(double number) const { return static_cast<Result>(Cut<Wide>(number)); }
  Result operator()(const char* text) const { return static_cast<Result>(std::strtol(text, nullptr, 10)); }
  Result operator()(bool flag) const { return flag ? 1 : 0; }
};

template <typename Result>
struct NumberRule {
  template <typename Number>
  Result operator()(Number number) const {
    return static_cast<Result>(number);
  }
  Result operator()(const char* text) const { return static_cast<Result>(std::strtod(text, nullptr)); }
};

struct BooleanRule {
  template <typename Number>
  bool operator()(Number number) const {
    return number != Number{};
  }
  bool operator()(const char* text) const { return std::strcmp(text, "true") == 0; }
};

}  // namespace

int Convert::ToInt(const SharedPtr<const JsonValue>& value) {
  return ConvertStored(value, -1, IntegerRule<int, std::int32_t>());
}

unsigned Convert::ToUint(const SharedPtr<const JsonValue>& value) {
  return ConvertStored(value, 0u, IntegerRule<unsigned, std::int64_t>());
}

float Convert::ToFloat(const SharedPtr<const JsonValue>& value) {
  return ConvertStored(value, 0.0f, NumberRule<float>());
}

double Convert::ToDouble(const SharedPtr<const JsonValue>& value) {
  return ConvertStored(value, 0.0, NumberRule<double>());
}

bool Convert::ToBoolean(const SharedPtr<const JsonValue>& value) {
  return ConvertStored(value, false, BooleanRule());
}

}  // namespace tovkit
