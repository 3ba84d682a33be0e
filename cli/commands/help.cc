// SPDX-License-Identifier: MIT
// tovkit help: what --help says, for those who look for it under help.
#include "command.h"
#include "usage.h"

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace cli {

namespace {

void PrintHelp(const CLI::App& root, const std::vector<std::string>& words) {
  const CLI::App* command = &root;
  std::string before;
  for (const std::string& word : words) {
    before += (before.empty() ? "" : " ") + command->get_name();
    const auto isMeant = [&word](const CLI::App* sub) { return !word.empty() && sub->get_name() == word; };
    const auto meant = command->get_subcommands(isMeant);
    if (meant.empty()) throw UsageError(UnknownSubcommand(*command, word));
    command = meant.front();
  }
  // App::help() without a name would print the help of the subcommand that was parsed: help itself.
  const std::string name = before.empty() ? command->get_name() : before + " " + command->get_name();
  std::fputs(command->get_formatter()->make_help(command, name, CLI::AppFormatMode::Normal).c_str(), stdout);
}

}  // namespace

void AddHelpCommand(CLI::App& app) {
  const auto words = std::make_shared<std::vector<std::string>>();
  CLI::App* const command = app.add_subcommand("help", "Print what a subcommand does and takes");
  command->add_option("SUBCOMMAND", *words, "Which one, such as draw or shm create (default: all of them)");
  command->callback([&app, words] { PrintHelp(app, *words); });
}

}  // namespace cli
