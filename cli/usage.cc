// SPDX-License-Identifier: MIT
// The parser names the first thing it misses; a person wants to hear about the word that was mistyped.
// Unknown words are looked at first, and the nearest known word is offered.
#include "usage.h"

#include "edit_distance.h"
#include "jobs/output_format.h"
#include "text_output.h"

#include <CLI/CLI.hpp>

#include <cstddef>
#include <vector>

namespace cli {

namespace {

std::vector<std::string> SubcommandNames(const CLI::App& command) {
  std::vector<std::string> names;
  for (const CLI::App* sub : command.get_subcommands(nullptr)) {
    if (!sub->get_name().empty()) names.push_back(sub->get_name());  // groups of options have no name
  }
  return names;
}

// The name that begins with `word` or differs little from it; empty when there is none.
std::string Nearest(const std::vector<std::string>& names, const std::string& word) {
  constexpr std::size_t kLongest = 32;  // no name is as long
  if (word.empty() || word.size() > kLongest) return "";
  std::string nearest;
  std::size_t fewest = 2 + word.size() / 3;  // more edits than these are another word
  for (const std::string& name : names) {
    const std::size_t edits = name.compare(0, word.size(), word) == 0 ? 1 : base::EditDistance(word, name);
    if (edits >= fewest) continue;
    fewest = edits;
    nearest = name;
  }
  return nearest;
}

// The words that lead to the command.
std::string FullName(const CLI::App& command) {
  const CLI::App* const parent = command.get_parent();
  return parent == nullptr ? command.get_name() : FullName(*parent) + " " + command.get_name();
}

// The options that have a long name, those of its groups too.
std::vector<std::string> LongOptionNames(const CLI::App& command) {
  std::vector<std::string> names;
  for (const CLI::Option* option : command.get_options()) {
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
  }
  for (const CLI::App* sub : command.get_subcommands(nullptr)) {
    if (!sub->get_name().empty()) continue;
    for (const std::string& name : LongOptionNames(*sub)) names.push_back(name);
  }
  return names;
}

const CLI::App& Deepest(const CLI::App& root) {
  const CLI::App* command = &root;
  while (!command->get_subcommands().empty()) command = command->get_subcommands().back();
  return *command;
}

// What was perhaps meant when no output is named: the last of several files, when it can be written.
std::string MeantOutput(const CLI::App& command) {
  const CLI::Option* const output = command.get_option_no_throw("--output");
  const CLI::Option* const files = command.get_option_no_throw("FILE");
  if (output == nullptr || !output->get_required() || output->count() != 0) return "";
  if (files == nullptr || files->count() < 2) return "";
  const std::string& last = files->results().back();
  const bool isOutput = jobs::FindOutputFormat(jobs::ExtensionOf(last), jobs::OutputKind::kPage).has_value();
  return isOutput ? "; did you mean -o " + last + "?" : "";
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

std::string UnknownOption(const CLI::App& command, const std::string& word) {
  const std::string name = word.substr(0, word.find('='));
  std::string unknown = "'" + name + "' is no option";
  if (command.get_parent() != nullptr) unknown += " of '" + FullName(command) + "'";
  const std::string nearest = Nearest(LongOptionNames(command), name);
  return nearest.empty() ? unknown : unknown + "; did you mean '" + nearest + "'?";
}

std::string WhatIsWrong(const CLI::App& root, const CLI::Error& error) {
  // Whatever the parser complains of, an unknown word is the cause: when an option or subcommand is missing,
  // it was mistyped.
  const CLI::App& command = Deepest(root);
  for (const std::string& word : command.remaining()) {
    if (word == "--") break;
    if (word.size() > 1 && word[0] == '-') return UnknownOption(command, word);
    if (command.get_require_subcommand_min() != 0) return UnknownSubcommand(command, word);
  }
  return error.what() + MeantOutput(command);
}

std::string UsageMessage(const std::string& what) {
  return "tovkit: " + Printable(Shortened(what)) + "\nTry 'tovkit --help' or 'tovkit SUBCOMMAND --help'.\n";
}

}  // namespace cli
