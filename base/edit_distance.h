// SPDX-License-Identifier: MIT
// How far two words are apart, for "did you mean".
#pragma once

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <string_view>
#include <vector>

namespace base {

// How many letters must be put in, left out, changed or swapped with their neighbor to make one word of the
// other (optimal string alignment). Takes time and memory in proportion to the product and to the length of
// `b`, so bound both words beforehand.
[[nodiscard]] inline std::size_t EditDistance(std::string_view a, std::string_view b) {
  std::vector<std::size_t> before;
  std::vector<std::size_t> last(b.size() + 1);
  std::vector<std::size_t> now(b.size() + 1);
  std::iota(last.begin(), last.end(), std::size_t{0});
  for (std::size_t i = 1; i <= a.size(); ++i) {
    now[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      now[j] = std::min({last[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1), last[j] + 1, now[j - 1] + 1});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
        now[j] = std::min(now[j], before[j - 2] + 1);
      }
    }
    before = last;
    last = now;
  }
  return last[b.size()];
}

}  // namespace base
