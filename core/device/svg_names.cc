#include "device/svg_names.h"

#include <cstddef>
#include <map>
#include <string_view>

namespace core {

std::string WithCountedNames(const std::string& svg) {
  constexpr std::string_view kName = "surface";
  std::map<std::string, std::size_t, std::less<>> numbers;
  std::string counted;
  counted.reserve(svg.size());
  std::size_t done = 0;
  for (std::size_t at = svg.find(kName); at != std::string::npos; at = svg.find(kName, at)) {
    const std::size_t digits = at + kName.size();
    at = svg.find_first_not_of("0123456789", digits);
    if (at == std::string::npos) at = svg.size();
    if (at == digits) continue;
    const auto number = numbers.try_emplace(svg.substr(digits, at - digits), numbers.size() + 1).first;
    counted.append(svg, done, digits - done).append(std::to_string(number->second));
    done = at;
  }
  return counted.append(svg, done);
}

}  // namespace core
