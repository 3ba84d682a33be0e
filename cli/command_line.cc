// SPDX-License-Identifier: MIT
// From the arguments to the exit status. Subcommands throw; what is printed and how the process ends is
// decided only here.
#include "command_line.h"

#include "error.h"
#include "failure.h"
#include "help_text.h"
#include "usage.h"

#include <tovkit/util.h>

#include <CLI/CLI.hpp>

#include <cstdio>
#include <exception>
#include <memory>
#include <stdexcept>
#include <string>

namespace cli {

void AddBase64Command(CLI::App& app);
void AddBatchCommand(CLI::App& app);
void AddDoctorCommand(CLI::App& app);
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
#ifdef TOVKIT_WITH_SERVICE
void AddServeCommand(CLI::App& app);
#endif
void AddShmCommand(CLI::App& app);
#ifdef TOVKIT_WITH_AMQP
void AddSubmitCommand(CLI::App& app);
void AddWorkerCommand(CLI::App& app);
#endif

namespace {

void AddCommands(CLI::App& app) {
  app.require_subcommand(1);
  AddBase64Command(app);
  AddBatchCommand(app);
  AddDoctorCommand(app);
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
#ifdef TOVKIT_WITH_SERVICE
  AddServeCommand(app);
#endif
  AddShmCommand(app);
#ifdef TOVKIT_WITH_AMQP
  AddSubmitCommand(app);
  AddWorkerCommand(app);
#endif
}

constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kUsage = 2;

// The exit status; `failure` stays null unless the subcommand failed.
int Run(CLI::App& app, int argc, char** argv, std::exception_ptr& failure) {
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    return app.exit(e) == 0 ? kDone : kUsage;
  } catch (const UsageError& e) {
    std::fputs(UsageMessage(e.what()).c_str(), stderr);
    return kUsage;
  } catch (const ExitStatus& status) {
    return status.code;
  } catch (const CommandError& e) {
    failure = std::current_exception();
    return e.status;
  } catch (const std::exception&) {
    failure = std::current_exception();
    return kFailed;
  }
  return kDone;
}

}  // namespace

void DefineCommand(CLI::App& app) {
  app.formatter(std::make_shared<HelpText>());  // before the subcommands, which take it over
  app.name("tovkit");
  app.description("Documents, pictures, text, paths and processes from the command line.");
  app.set_version_flag("--version", std::string("tovkit ") + tovkit::GetLibraryVersion());
  app.failure_message(
      [](const CLI::App* root, const CLI::Error& e) { return UsageMessage(WhatIsWrong(*root, e)); });
  AddCommands(app);
}

int RunCommandLine(int argc, char** argv) {
  CLI::App app;
  DefineCommand(app);
  std::exception_ptr failure;
  int status = Run(app, argc, argv, failure);
  const bool lost = std::fflush(stdout) != 0 || std::ferror(stdout) != 0;
  if (lost && failure == nullptr) {
    failure = std::make_exception_ptr(std::runtime_error("cannot write standard output"));
    status = kFailed;
  }
  if (failure != nullptr) PrintFailure(failure);
  return status;
}

}  // namespace cli
