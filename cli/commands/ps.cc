// SPDX-License-Identifier: MIT
// tovkit ps: the processes of the machine with their resident memory.
#include "command.h"

#include "json_output.h"
#include "process_table.h"
#include "text_output.h"

#include <tovkit/util.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace cli {

namespace {

using tovkit::JsonValue;
using tovkit::SharedPtr;

struct PsOptions {
  std::string name;
  std::string order;
  bool json = false;
};

// Processes that are alike stay in the order of /proc.
void Sort(ProcessTable& table, const std::string& order) {
  using Process = tovkit::PROC_INFO_DATA;
  const auto sort = [&table](auto before) { std::stable_sort(table.begin(), table.end(), before); };
  if (order == "name")
    sort([](const Process& a, const Process& b) { return std::strcmp(a.name, b.name) < 0; });
  if (order == "memory") sort([](const Process& a, const Process& b) { return a.lastMem > b.lastMem; });
  if (order == "pid") sort([](const Process& a, const Process& b) { return a.pid < b.pid; });
}

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
  Sort(table, options.order);
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
  command
      ->add_option("--sort", options->order,
                   "Order: name, memory (the most first) or pid; else that of /proc")
      ->type_name("KEY")
      ->check([](const std::string& key) {
        return key == "name" || key == "memory" || key == "pid"
                   ? std::string()
                   : "'" + key + "' is none of name, memory and pid";
      });
  command->add_flag("--json", options->json, "Print an array of objects instead of a table");
  command->callback([options] { Ps(*options); });
}

}  // namespace cli
