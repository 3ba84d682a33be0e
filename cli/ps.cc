// tovkit ps: the processes of the machine with their resident memory.
#include "command.h"
#include "process_table.h"
#include "text_output.h"

#include <cstdio>
#include <memory>
#include <string>

namespace cli {

namespace {

struct PsOptions {
  std::string name;
};

void PrintTable(const ProcessTable& table) {
  std::printf("%10s %12s  %s\n", "PID", "RSS/kB", "NAME");
  for (const tovkit::PROC_INFO_DATA& process : table) {
    std::printf("%10ld %12ld  %s\n", process.pid, process.lastMem, Printable(process.name).c_str());
  }
}

void Ps(const PsOptions& options) {
  const tovkit::ProcessMonitor monitor;
  ProcessTable table = ReadTable(monitor);
  if (!options.name.empty()) table = Named(table, options.name);
  PrintTable(table);
}

}  // namespace

void AddPsCommand(CLI::App& app) {
  const auto options = std::make_shared<PsOptions>();
  CLI::App* const command = app.add_subcommand("ps", "List processes with their resident memory");
  command->add_option("NAME", options->name, "Only processes of this name");
  command->callback([options] { Ps(*options); });
}

}  // namespace cli
