#include "commands.h"

#include "usage.h"

#include <tovkit/util.h>

#include <CLI/CLI.hpp>

#include <string>

namespace cli {

void AddBase64Command(CLI::App& app);
void AddDrawCommand(CLI::App& app);
void AddHelpCommand(CLI::App& app);
void AddHitCommand(CLI::App& app);
void AddInfoCommand(CLI::App& app);
void AddImageCommand(CLI::App& app);
void AddJsonCommand(CLI::App& app);
void AddMonitorCommand(CLI::App& app);
void AddPagesCommand(CLI::App& app);
void AddPathCommand(CLI::App& app);
void AddPsCommand(CLI::App& app);
void AddRunCommand(CLI::App& app);
void AddShmCommand(CLI::App& app);

namespace {

void AddCommands(CLI::App& app) {
  app.require_subcommand(1);
  AddBase64Command(app);
  AddDrawCommand(app);
  AddHelpCommand(app);
  AddHitCommand(app);
  AddInfoCommand(app);
  AddImageCommand(app);
  AddJsonCommand(app);
  AddMonitorCommand(app);
  AddPagesCommand(app);
  AddPathCommand(app);
  AddPsCommand(app);
  AddRunCommand(app);
  AddShmCommand(app);
}

}  // namespace

void DefineCommand(CLI::App& app) {
  app.name("tovkit");
  app.description("Documents, pictures, text, paths and processes from the command line.");
  app.set_version_flag("--version", std::string("tovkit ") + tovkit::GetLibraryVersion());
  app.failure_message(
      [](const CLI::App* root, const CLI::Error& e) { return UsageMessage(WhatIsWrong(*root, e)); });
  AddCommands(app);
}

}  // namespace cli
