// SPDX-License-Identifier: MIT
// ProcessTree: the processes that this one has started, and their descendants.
//
// From construction on, orphans of the tree become children of this process. So none leaves the tree by
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

  // All descendants. Ended ones count until they are reaped; one that is forked meanwhile may be missed.
  std::vector<ProcessStat> Members() const;

  // Whether no descendant is left, not even one that has ended and was not reaped, nor one that is forking.
  bool IsEmpty() const;

  // Sends a signal to all descendants, or only to those in this process's own group. Stopped ones are
  // continued.
  void Signal(int signal, bool onlyOwnGroup) const;

  // Kills the present descendants: children first, then all. False when the system refuses it for every one.
  [[nodiscard]] bool Kill() const;

 private:
  bool IsForeign(pid_t child) const;
  std::vector<pid_t> Children() const;
  bool HasForeignChildren() const;

  std::map<pid_t, unsigned long long> foreign_;  // children that were there before, and when they started
};

}  // namespace cli
