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

std::string Shortened(const std::string& text) {
  constexpr std::size_t kMostDigits = 100;  // 64 bits have 20; names of files may have a few more
  constexpr std::size_t kKept = 10;         // at either end
  std::string shortened;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t digits = std::min(text.find_first_not_of("0123456789", at), text.size()) - at;
    if (digits <= kMostDigits) {
      shortened += text.substr(at, digits + 1);  // with what ends them
    } else {
      shortened += text.substr(at, kKept) + "..." + text.substr(at + digits - kKept, kKept + 1);
    }
    at += digits + 1;
  }
  return shortened;
}

}  // namespace jobs
