// SPDX-License-Identifier: MIT
// Cairo numbers surfaces and images through the whole process, so the same page would have other bytes each
// time. Numbers are counted anew for each file, in the order in which they are met, in one pass over the
// text.
#include "device/svg_names.h"

#include <array>
#include <cstddef>
#include <map>
#include <string_view>

namespace tovmx {

namespace {

// The names that Cairo counts through the process.
struct CountedName {
  std::string_view word;
  std::map<std::string_view, std::size_t> numbers;  // Cairo's number: ours
};

// The word's number at `at`, when a whole name stands there: id="image7", "#image7", url(#image7). Pictures
// are written as text too, but in none of them does a quotation mark or a number sign stand.
std::string_view NumberAt(std::string_view svg, std::size_t at, std::string_view word) {
  if (svg.compare(at, word.size(), word) != 0) return {};
  const std::size_t digits = at + word.size();
  const std::size_t end = svg.find_first_not_of("0123456789", digits);
  if (end == std::string_view::npos || (svg[end] != '"' && svg[end] != ')')) return {};
  return svg.substr(digits, end - digits);
}

}  // namespace

std::string WithCountedNames(const std::string& text) {
  const std::string_view svg = text;
  // Pictures are "image" up to Cairo 1.16 and "source-" behind it.
  std::array<CountedName, 3> names = {{{"surface", {}}, {"image", {}}, {"source-", {}}}};
  std::string counted;
  counted.reserve(svg.size());
  std::size_t done = 0;
  for (std::size_t at = svg.find_first_of("\"#"); at != std::string_view::npos;
       at = svg.find_first_of("\"#", at + 1)) {
    for (CountedName& name : names) {
      const std::string_view number = NumberAt(svg, at + 1, name.word);
      if (number.empty()) continue;
      const std::size_t ours = name.numbers.try_emplace(number, name.numbers.size() + 1).first->second;
      const auto digits = static_cast<std::size_t>(number.data() - svg.data());
      counted.append(svg, done, digits - done).append(std::to_string(ours));
      done = digits + number.size();
    }
  }
  return counted.append(svg, done);
}

}  // namespace tovmx
