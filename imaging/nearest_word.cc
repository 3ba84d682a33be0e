// SPDX-License-Identifier: MIT
// Words are compared without case and without what people put between words. A part of a word counts as one
// edit, so that "Size" finds "FontSize".
#include "nearest_word.h"

#include <algorithm>
#include <cstddef>
#include <numeric>

namespace tovkit {

namespace {

constexpr std::size_t kLongest = 32;  // no key is as long
constexpr std::size_t kShortestPart = 3;

// Lower case for ASCII, without what people put between words.
std::string Folded(const std::string& word) {
  std::string folded;
  for (const char c : word) {
    if (c == ' ' || c == '-' || c == '_') continue;
    folded += c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  }
  return folded;
}

// How many letters must be put in, left out, changed or swapped with their neighbor (optimal string
// alignment) to make one word of the other.
std::size_t EditsBetween(const std::string& a, const std::string& b) {
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

}  // namespace

std::string NearestWord(const std::string& word, const std::vector<std::string>& words) {
  if (word.size() > kLongest) return "";
  const std::string wanted = Folded(word);
  std::string nearest;
  std::size_t fewest = 2 + wanted.size() / 4;  // more edits than these are another word
  for (const std::string& candidate : words) {
    const std::string folded = Folded(candidate);
    const bool isPart = wanted.size() >= kShortestPart && folded.find(wanted) != std::string::npos;
    const std::size_t edits = isPart && folded != wanted ? 1 : EditsBetween(wanted, folded);
    if (edits >= fewest) continue;
    fewest = edits;
    nearest = candidate;
  }
  return nearest;
}

}  // namespace tovkit
