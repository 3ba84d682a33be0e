// SPDX-License-Identifier: MIT
// The library's records, with failures told as the command tells them.
#include "process_table.h"

#include "error.h"

namespace cli {

ProcessTable ReadTable(const tovkit::ProcessMonitor& monitor) {
  ProcessTable table = monitor.getAll();
  if (table.empty()) throw ExitStatus{1};
  return table;
}

ProcessTable Named(const ProcessTable& table, const std::string& name) {
  ProcessTable named;
  for (const tovkit::PROC_INFO_DATA& process : table) {
    if (process.name == name) named.push_back(process);
  }
  if (named.empty()) throw CommandError(name + ": no such process");
  return named;
}

}  // namespace cli
