// SPDX-License-Identifier: MIT
// ProcessTree: what this process has started, and what that has started.
//
// From construction on orphans of the tree come back to this process, so that nobody leaves the tree by
// leaving its process group, its session or its parent. Children that were there before belong to somebody
// else (a shell that executed us left them behind) and are never touched.
//
//   ProcessTree tree;
//   Start();
//   tree.Signal(SIGTERM);
//   while (!tree.IsEmpty()) Wait();
#pragma once

#include <sys/types.h>

#include <map>
#include <vector>

namespace cli {

// One line of /proc/PID/stat.
struct ProcessStat {
  pid_t pid = 0;
  pid_t parent = 0;
  pid_t group = 0;
  unsigned flags = 0;
  unsigned long long started = 0;
};

// False when there is no such process.
[[nodiscard]] bool ReadProcessStat(pid_t pid, ProcessStat& stat);

class ProcessTree {
 public:
  ProcessTree();

  // Everybody below this process. Ended ones count until they are reaped; who forks meanwhile may be missed.
  std::vector<ProcessStat> Members() const;

  // Nobody is left, not even one who has ended and has not been reaped, nor one who forks just now.
  bool IsEmpty() const;

  // Sends a signal to everybody, or to those who are in this process's own group; whoever is stopped goes on.
  void Signal(int signal, bool onlyOwnGroup) const;

  // Kills whoever is there now: children first, then everybody. False when that is refused for all of them.
  [[nodiscard]] bool Kill() const;

 private:
  bool IsForeign(pid_t child) const;
  std::vector<pid_t> Children() const;
  bool HasForeignChildren() const;

  std::map<pid_t, unsigned long long> foreign_;  // children that were there before, and when they started
};

}  // namespace cli
