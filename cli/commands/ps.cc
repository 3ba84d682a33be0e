// SPDX-License-Identifier: MIT
// tovkit ps: the processes of the machine with their resident memory.
#include "command.h"

#include "json_output.h"
#include "process_table.h"
#include "text_output.h"

#include <tovkit/util.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace cli {

namespace {

using tovkit::JsonValue;
using tovkit::SharedPtr;

struct PsOptions {
  std::string name;
  bool json = false;
};

void PrintTable(const ProcessTable& table) {
  std::printf("%10s %12s  %s\n", "PID", "RSS/kB", "NAME");
  for (const tovkit::PROC_INFO_DATA& process : table) {
    std::printf("%10ld %12ld  %s\n", process.pid, process.lastMem, Printable(process.name).c_str());
  }
}

void PrintJson(const ProcessTable& table) {
  const SharedPtr<JsonValue> array = NewJsonArray();
  for (const tovkit::PROC_INFO_DATA& process : table) {
    const SharedPtr<JsonValue> object = array->InsertObject(-1);
    object->SetMemberInt64("pid", process.pid);
    object->SetMemberInt64("rssKb", process.lastMem);
    object->SetMemberString("name", tovkit::LocalToUtf8(process.name, -1).c_str());
  }
  PrintJsonLines(array);
}

void Ps(const PsOptions& options) {
  const tovkit::ProcessMonitor monitor;
  ProcessTable table = ReadTable(monitor);
  if (!options.name.empty()) table = Named(table, options.name);
  if (options.json) {
    PrintJson(table);
  } else {
    PrintTable(table);
  }
}

}  // namespace

void AddPsCommand(CLI::App& app) {
  const auto options = std::make_shared<PsOptions>();
  CLI::App* const command = app.add_subcommand("ps", "List processes with their resident memory");
  command->add_option("NAME", options->name, "Only processes of this name");
  command->add_flag("--json", options->json, "Print an array of objects instead of a table");
  command->callback([options] { Ps(*options); });
}

}  // namespace cli
