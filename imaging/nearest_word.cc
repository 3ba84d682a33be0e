// SPDX-License-Identifier: MIT
// Words are compared without case and without what people put between words. A part of a word counts as one
// edit, so that "Size" finds "FontSize".
#include "nearest_word.h"

#include "edit_distance.h"

#include <cstddef>

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

}  // namespace

std::string NearestWord(const std::string& word, const std::vector<std::string>& words) {
  if (word.size() > kLongest) return "";
  const std::string wanted = Folded(word);
  std::string nearest;
  std::size_t fewest = 2 + wanted.size() / 4;  // more edits than these are another word
  for (const std::string& candidate : words) {
    const std::string folded = Folded(candidate);
    const bool isPart = wanted.size() >= kShortestPart && folded.find(wanted) != std::string::npos;
    const std::size_t edits = isPart && folded != wanted ? 1 : base::EditDistance(wanted, folded);
    if (edits >= fewest) continue;
    fewest = edits;
    nearest = candidate;
  }
  return nearest;
}

}  // namespace tovkit
