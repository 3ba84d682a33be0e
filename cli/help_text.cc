// SPDX-License-Identifier: MIT
// Each piece of the help is a virtual operation of the parser's formatter, so only those are replaced whose
// text was hard to read: usage, groups, and what an option takes, needs and excludes.
#include "help_text.h"

#include "option_words.h"

#include <algorithm>
#include <set>
#include <utility>
#include <vector>

namespace cli {

namespace {

std::string Joined(const std::vector<std::string>& words, const char* between) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : between) + word;
  return text;
}

std::string NamesOf(const std::set<CLI::Option*>& options) {
  std::vector<std::string> names;
  names.reserve(options.size());
  for (const CLI::Option* option : options) names.push_back(option->get_name());
  std::sort(names.begin(), names.end());  // the parser keeps them by address
  return Joined(names, ", ");
}

}  // namespace

std::string HelpText::make_usage(const CLI::App* app, std::string name) const {
  std::string usage = Formatter::make_usage(app, std::move(name));
  const std::size_t program = usage.rfind(" PROGRAM\n");
  if (app->get_prefix_command() && program != std::string::npos) {
    usage.replace(program, std::string::npos, " -- PROGRAM [ARGUMENT]...\n");
  }
  return usage;
}

std::string HelpText::make_expanded(const CLI::App* group) const {
  const bool isOne = group->get_require_option_min() == 1 && group->get_require_option_max() == 1;
  std::string text = isOne ? "\nOne of these:\n" : "\n" + group->get_description() + ":\n";
  for (const CLI::Option* option : group->get_options()) {
    if (option != group->get_help_ptr()) text += make_option(option, false);
  }
  return text;
}

std::string HelpText::make_option_name(const CLI::Option* option, bool isPositional) const {
  if (isPositional) return option->get_name(true);
  std::vector<std::string> names;
  for (const std::string& name : option->get_snames()) names.push_back("-" + name);
  for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
  return Joined(names, ",");
}

std::string HelpText::make_option_opts(const CLI::Option* option) const {
  if (option->get_positional()) return option->get_items_expected_max() > 1 ? "..." : "";
  if (TakesAttachedValue(*option)) return "[=" + ValueName(option->get_type_name()) + "]";
  return option->get_items_expected_max() > 0 ? " " + ValueName(option->get_type_name()) : "";
}

std::string HelpText::make_option_desc(const CLI::Option* option) const {
  std::vector<std::string> notes;
  if (option->get_required() && !option->get_positional()) notes.emplace_back("required");
  if (!option->get_default_str().empty()) notes.push_back("default: " + option->get_default_str());
  if (!option->get_needs().empty()) notes.push_back("with " + NamesOf(option->get_needs()));
  if (!option->get_excludes().empty()) notes.push_back("not with " + NamesOf(option->get_excludes()));
  const std::string& description = option->get_description();
  return notes.empty() ? description : description + " (" + Joined(notes, "; ") + ")";
}

}  // namespace cli
