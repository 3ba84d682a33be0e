// SPDX-License-Identifier: MIT
#include "usage.h"

#include "text_output.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <vector>

namespace cli {

namespace {

// How many letters must be put in, left out, changed or swapped with their neighbor (optimal string
// alignment) to make one word of the other.
std::size_t EditsBetween(const std::string& a, const std::string& b) {
  std::vector<std::size_t> before, last(b.size() + 1), now(b.size() + 1);
  std::iota(last.begin(), last.end(), 0);
  for (std::size_t i = 1; i <= a.size(); ++i) {
    now[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t changed = last[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
      now[j] = std::min({changed, last[j] + 1, now[j - 1] + 1});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
        now[j] = std::min(now[j], before[j - 2] + 1);
      }
    }
    before = last;
    last = now;
  }
  return last[b.size()];
}

std::vector<std::string> SubcommandNames(const CLI::App& command) {
  std::vector<std::string> names;
  for (const CLI::App* sub : command.get_subcommands(nullptr)) {
    if (!sub->get_name().empty()) names.push_back(sub->get_name());  // groups of options have no name
  }
  return names;
}

// The name that `word` begins or nearly is; empty when there is none.
std::string Nearest(const std::vector<std::string>& names, const std::string& word) {
  constexpr std::size_t kLongest = 32;  // no name is as long
  if (word.empty() || word.size() > kLongest) return "";
  std::string nearest;
  std::size_t fewest = 2 + word.size() / 3;  // more edits than these are another word
  for (const std::string& name : names) {
    const std::size_t edits = name.compare(0, word.size(), word) == 0 ? 1 : EditsBetween(word, name);
    if (edits >= fewest) continue;
    fewest = edits;
    nearest = name;
  }
  return nearest;
}

const CLI::App& Deepest(const CLI::App& root) {
  const CLI::App* command = &root;
  while (!command->get_subcommands().empty()) command = command->get_subcommands().back();
  return *command;
}

}  // namespace

std::string UnknownSubcommand(const CLI::App& command, const std::string& word) {
  const std::vector<std::string> names = SubcommandNames(command);
  std::string unknown = "'" + word + "' is no subcommand";
  if (names.empty()) return unknown;
  const std::string nearest = Nearest(names, word);
  if (!nearest.empty()) return unknown + "; did you mean '" + nearest + "'?";
  std::string all;
  for (const std::string& name : names) all += (all.empty() ? "" : ", ") + name;
  return unknown + "; there are " + all;
}

std::string WhatIsWrong(const CLI::App& root, const CLI::Error& error) {
  // The parser says that a subcommand is required, and nothing of the word in its place.
  const CLI::App& command = Deepest(root);
  const std::vector<std::string> unknown = command.remaining();
  if (command.get_require_subcommand_min() == 0 || unknown.empty()) return error.what();
  const std::string& word = unknown.front();
  return word[0] == '-' ? "'" + word + "' is no option" : UnknownSubcommand(command, word);
}

std::string UsageMessage(const std::string& what) {
  return "tovkit: " + Printable(Shortened(what)) + "\nTry 'tovkit --help' or 'tovkit SUBCOMMAND --help'.\n";
}

}  // namespace cli
