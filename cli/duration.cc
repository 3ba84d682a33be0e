// SPDX-License-Identifier: MIT
// Numbers with a unit of time behind them, in milliseconds.
#include "duration.h"

#include <charconv>
#include <climits>
#include <cstdint>
#include <string_view>
#include <system_error>

namespace cli {

namespace {

constexpr std::size_t kFractionDigits = 9;

// In milliseconds, 0 for a word that is no unit.
int UnitOf(std::string_view word, int bareUnit) {
  if (word.empty()) return bareUnit;
  if (word == "ms") return kMilliseconds;
  if (word == "s") return kSeconds;
  if (word == "m") return 60 * kSeconds;
  return word == "h" ? 3600 * kSeconds : 0;
}

// The digits at the front, taken away from the text.
std::string_view TakeDigits(std::string_view& text) {
  const std::size_t length = text.find_first_not_of("0123456789");
  const std::string_view digits = text.substr(0, length);
  text.remove_prefix(digits.size());
  return digits;
}

// The fraction "0.DIGITS" of the unit, rounded up.
std::int64_t FractionOf(std::string_view digits, std::int64_t unit) {
  std::int64_t numerator = 0, denominator = 1;
  for (const char digit : digits.substr(0, kFractionDigits)) {
    numerator = 10 * numerator + (digit - '0');
    denominator *= 10;
  }
  return (numerator * unit + denominator - 1) / denominator;
}

}  // namespace

std::string ReadDuration(const std::string& text, int bareUnit, int& milliseconds) {
  std::string_view rest = text;
  const std::string_view whole = TakeDigits(rest);
  std::string_view fraction;
  if (!rest.empty() && rest.front() == '.') {
    rest.remove_prefix(1);
    fraction = TakeDigits(rest);
  }
  const int unit = UnitOf(rest, bareUnit);
  if (unit == 0 || (whole.empty() && fraction.empty())) {
    return "'" + text.substr(0, 40) + "' is not a length of time, such as 500ms, 2s, 1m or 1h";
  }
  std::uint32_t count = 0;
  const auto result = std::from_chars(whole.data(), whole.data() + whole.size(), count);
  const std::int64_t length = std::int64_t{count} * unit + FractionOf(fraction, unit);
  if (result.ec == std::errc::result_out_of_range || length > INT_MAX) {
    return "'" + text.substr(0, 40) + "' is longer than 24 days";
  }
  milliseconds = static_cast<int>(length);
  return "";
}

}  // namespace cli
