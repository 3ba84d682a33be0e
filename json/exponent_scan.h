// Finds the exponents that RapidJSON's number parser cannot add up.
//
// That parser adds a negative exponent to the count of fraction digits in an int and uses the wrapped sum as
// an index. An exponent of less than ten digits cannot wrap.
//
// Thread-safety: pure functions.
#pragma once

#include <cstddef>
#include <string_view>

namespace tovkit {

// Whether "e-" or "E-" and at least ten digits stand anywhere in `text`, inside strings too.
bool HasLongExponent(const char* text, std::size_t length);

// The place behind "e-" or "E-" in `number`, where the digits of its negative exponent start; npos without
// one.
std::size_t FindNegativeExponent(std::string_view number);

// The number of digits at the start of `text`.
std::size_t CountDigits(std::string_view text);

}  // namespace tovkit
