// SPDX-License-Identifier: MIT
// Which subcommand a word is taken for, beside a plain search for the fewest edits.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "run_command.h"

namespace {

// The subcommands in their order, as the command itself lists them to who names none.
std::vector<std::string> ReadNames() {
  const std::string said = RunCommand({""}).err;
  const std::string before = "there are ";
  const std::size_t from = said.find(before) + before.size();
  std::istringstream list(said.substr(from, said.find('\n') - from));
  std::vector<std::string> names;
  for (std::string name; std::getline(list >> std::ws, name, ',');) names.push_back(name);
  return names;
}

const std::vector<std::string>& Names() {
  static const std::vector<std::string> names = ReadNames();
  return names;
}

// The fewest letters to put in, leave out, change or swap with a neighbor, each letter touched once, that
// make one word of the other; asked of their ends, from the given places on.
class EditCounter {
 public:
  EditCounter(const std::string& a, const std::string& b) : a_(a), b_(b) {}

  std::size_t From(std::size_t i, std::size_t j) {
    if (i == a_.size() || j == b_.size()) return a_.size() - i + b_.size() - j;
    const auto known = counted_.find({i, j});
    if (known != counted_.end()) return known->second;
    std::size_t fewest = From(i + 1, j + 1) + (a_[i] == b_[j] ? 0 : 1);
    fewest = std::min({fewest, From(i + 1, j) + 1, From(i, j + 1) + 1});
    const bool swapped = i + 1 < a_.size() && j + 1 < b_.size() && a_[i] == b_[j + 1] && a_[i + 1] == b_[j];
    if (swapped) fewest = std::min(fewest, From(i + 2, j + 2) + 1);
    return counted_[{i, j}] = fewest;
  }

 private:
  const std::string& a_;
  const std::string& b_;
  std::map<std::pair<std::size_t, std::size_t>, std::size_t> counted_;
};

// A word of two letters may differ in one, of three in two, of six in three; the beginning of a name counts
// as one edit.
std::string Nearest(const std::string& word) {
  std::string nearest;
  std::size_t fewest = 2 + word.size() / 3;
  for (const std::string& name : Names()) {
    const std::size_t edits =
        name.compare(0, word.size(), word) == 0 ? 1 : EditCounter(word, name).From(0, 0);
    if (edits < fewest) nearest = name;
    fewest = std::min(fewest, edits);
  }
  return nearest;
}

void ExpectNearest(const std::string& word) {
  const std::string nearest = Nearest(word);
  std::string all;
  for (const std::string& name : Names()) all += (all.empty() ? "" : ", ") + name;
  EXPECT_EQ(RunCommand({word}).err,
            "tovkit: '" + word + "' is no subcommand; " +
                (nearest.empty() ? "there are " + all : "did you mean '" + nearest + "'?") +
                "\nTry 'tovkit --help' or 'tovkit SUBCOMMAND --help'.\n");
}

TEST(NearestSubcommand, BeginningsOfNames) {
  ASSERT_GE(Names().size(), 13u);
  for (const std::string& name : Names()) {
    for (std::size_t length = 1; length < name.size(); ++length) {
      const std::string word = name.substr(0, length);
      if (std::find(Names().begin(), Names().end(), word) == Names().end()) ExpectNearest(word);
    }
  }
}

TEST(NearestSubcommand, NamesWithAFewMistakes) {
  std::mt19937 random(5);
  for (const std::string& name : Names()) {
    for (int mistakes = 1; mistakes <= 3; ++mistakes) {
      std::string word = name;
      for (int i = 0; i < mistakes; ++i) {
        const std::size_t at = random() % word.size();
        const char letter = "abcdefghijklmnoprst"[random() % 19];
        switch (random() % 4) {
          case 0:
            word[at] = letter;
            break;
          case 1:
            word.insert(at, 1, letter);
            break;
          case 2:
            if (word.size() > 1) word.erase(at, 1);
            break;
          default:
            if (at > 0) std::swap(word[at - 1], word[at]);
        }
      }
      if (std::find(Names().begin(), Names().end(), word) == Names().end()) ExpectNearest(word);
    }
  }
}

TEST(NearestSubcommand, LongWordsAreNone) {
  ExpectNearest("monitormonitor");
  for (const std::size_t length : {31U, 32U, 33U, 5000U}) {
    EXPECT_NE(RunCommand({std::string(length, 'x')}).err.find("; there are "), std::string::npos);
  }
}

}  // namespace
