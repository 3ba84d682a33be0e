// SPDX-License-Identifier: MIT
// std::from_chars, which ignores the locale, less its "nan", "inf" and hexadecimal numbers.
#include "number_text.h"

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <limits>

namespace jobs {

std::errc TakeNumber(const char*& from, const char* end, double& value) {
  const char* const first = from != end && *from == '-' ? from + 1 : from;
  // std::from_chars accepts "nan" and "inf" too.
  if (first == end || (*first != '.' && (*first < '0' || *first > '9'))) return std::errc::invalid_argument;
  double number = 0;
  const auto [behind, error] = std::from_chars(from, end, number);
  if (error == std::errc::invalid_argument) return error;
  // from_chars has one error for numbers too small and too large.
  if (error == std::errc::result_out_of_range)
    number = std::strtod(std::string(from, behind).c_str(), nullptr);
  if (std::fabs(number) > static_cast<double>(std::numeric_limits<float>::max())) {
    return std::errc::result_out_of_range;
  }
  from = behind;
  value = number;
  return {};
}

std::optional<float> ParseNumber(const std::string& text) {
  const char* at = text.data();
  const char* const end = at + text.size();
  double value = 0;
  if (TakeNumber(at, end, value) != std::errc() || at != end) return std::nullopt;
  return static_cast<float>(value);
}

}  // namespace jobs
