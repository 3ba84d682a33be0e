// SPDX-License-Identifier: MIT
#include "edit_distance.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

using base::EditDistance;

TEST(EditDistance, CountsEachKindOfEditOnce) {
  const struct {
    const char* a;
    const char* b;
    std::size_t edits;
  } cases[] = {{"", "", 0},
               {"draw", "draw", 0},
               {"", "draw", 4},
               {"darw", "draw", 1},   // swapped
               {"drw", "draw", 1},    // left out
               {"drraw", "draw", 1},  // put in
               {"drow", "draw", 1},   // changed
               {"ca", "abc", 3},      // a swapped pair is not edited again
               {"FontSize", "fontsize", 2},
               {"kitten", "sitting", 3}};
  for (const auto& c : cases) {
    EXPECT_EQ(EditDistance(c.a, c.b), c.edits) << c.a << ", " << c.b;
    EXPECT_EQ(EditDistance(c.b, c.a), c.edits) << c.b << ", " << c.a;
  }
}

// Every word of up to four letters of two: all words one edit away are the words at the distance 1.
TEST(EditDistance, OneEditIsADistanceOfOne) {
  std::vector<std::string> words = {""};
  for (std::size_t i = 0; i < words.size() && words[i].size() < 4; ++i) {
    const std::string word = words[i];
    words.push_back(word + 'a');
    words.push_back(word + 'b');
  }
  for (const std::string& from : words) {
    std::vector<std::string> near;
    for (std::size_t i = 0; i <= from.size(); ++i) {
      for (const char letter : {'a', 'b'}) near.push_back(from.substr(0, i) + letter + from.substr(i));
      if (i == from.size()) break;
      near.push_back(from.substr(0, i) + from.substr(i + 1));
      near.push_back(from);
      near.back()[i] = from[i] == 'a' ? 'b' : 'a';
      near.push_back(from);
      if (i > 0) std::swap(near.back()[i], near.back()[i - 1]);
    }
    for (const std::string& to : words) {
      const bool isNear = to != from && std::find(near.begin(), near.end(), to) != near.end();
      EXPECT_EQ(EditDistance(from, to) == 1, isNear) << from << ", " << to;
    }
  }
}

}  // namespace
