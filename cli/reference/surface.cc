// SPDX-License-Identifier: MIT
// Reads the definitions that the command parses with, so that man page and completions cannot differ from
// it.
#include "surface.h"

#include "option_words.h"

#include <tovkit/util.h>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cctype>

namespace reference {

namespace {

ValueKind KindOf(std::string value) {
  if (value.size() > 3 && value.compare(value.size() - 3, 3, "...") == 0) value.resize(value.size() - 3);
  if (value == "DIR") return ValueKind::kDirectory;
  if (value == "PROGRAM") return ValueKind::kProgram;
  if (value == "SUBCOMMAND") return ValueKind::kCommand;
  if (value == "IN" || value == "OUT") return ValueKind::kFile;
  const bool path = value.find("FILE") != std::string::npos || value.find("PATH") != std::string::npos;
  return path ? ValueKind::kFile : ValueKind::kOther;
}

std::string Upper(std::string text) {
  for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return text;
}

Option ReadOption(const CLI::Option& option) {
  Option result;
  for (const std::string& name : option.get_snames()) result.names.push_back("-" + name);
  for (const std::string& name : option.get_lnames()) result.names.push_back("--" + name);
  result.description = option.get_description();
  result.required = option.get_required();
  if (result.names.empty()) {
    result.value = Upper(option.get_name(true)) + (option.get_items_expected_max() > 1 ? "..." : "");
  } else if (cli::TakesAttachedValue(option)) {
    result.attached = cli::ValueName(option.get_type_name());
  } else if (option.get_items_expected_max() > 0) {
    result.value = cli::ValueName(option.get_type_name());
  }
  result.defaultValue = option.get_default_str();
  result.kind = KindOf(result.value);
  return result;
}

// A group repeats the command's --help.
void ReadOptions(const CLI::App& app, bool isGroup, Command& command) {
  for (const CLI::Option* option : app.get_options()) {
    if (isGroup && option == app.get_help_ptr()) continue;
    (option->get_positional() ? command.positionals : command.options).push_back(ReadOption(*option));
  }
}

Command ReadCommand(const CLI::App& app) {
  Command command;
  command.name = app.get_name();
  command.description = app.get_description();
  command.footer = app.get_footer();
  ReadOptions(app, false, command);
  for (const CLI::App* sub : app.get_subcommands(nullptr)) {
    if (sub->get_name().empty()) {
      ReadOptions(*sub, true, command);  // a group of options, no command
    } else {
      command.subcommands.push_back(ReadCommand(*sub));
    }
  }
  return command;
}

}  // namespace

bool TakesProgram(const Command& command) {
  return std::any_of(command.positionals.begin(), command.positionals.end(),
                     [](const Option& positional) { return positional.kind == ValueKind::kProgram; });
}

Surface ReadSurface(const CLI::App& app) { return {tovkit::GetLibraryVersion(), ReadCommand(app)}; }

}  // namespace reference
