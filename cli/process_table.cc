#include "process_table.h"

#include "command.h"

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
  if (named.empty()) throw JobError(name + ": no such process");
  return named;
}

std::string Printable(const char* text) {
  std::string printable = text;
  for (char& c : printable) {
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) c = '?';
  }
  return printable;
}

}  // namespace cli
