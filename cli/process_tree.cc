// SPDX-License-Identifier: MIT
// The descendants of this process, read from /proc. Orphans come to this process (it is a subreaper), so none
// gets away by losing its parent. The kernel uses ids again, so a process is known by its id and its start
// time.
#include "process_tree.h"

#include <dirent.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>
#include <system_error>

namespace cli {

namespace {

constexpr int kLooks = 5;

// Every process that can be seen.
std::vector<ProcessStat> EveryProcess() {
  std::vector<ProcessStat> processes;
  DIR* const directory = opendir("/proc");
  if (directory == nullptr) return processes;
  while (const dirent* const entry = readdir(directory)) {
    const char* const end = entry->d_name + std::strlen(entry->d_name);
    pid_t pid = 0;
    const auto result = std::from_chars(entry->d_name, end, pid);
    ProcessStat stat;
    if (result.ec == std::errc() && result.ptr == end && ReadProcessStat(pid, stat))
      processes.push_back(stat);
  }
  closedir(directory);
  return processes;
}

}  // namespace

bool ReadProcessStat(pid_t pid, ProcessStat& stat) {
  std::ifstream in("/proc/" + std::to_string(pid) + "/stat");
  std::string line;
  if (!std::getline(in, line, '\0') && line.empty()) return false;
  // The name may hold anything, parentheses and line breaks too.
  const std::size_t behindName = line.rfind(')');
  if (behindName == std::string::npos) return false;
  ProcessStat read;
  read.pid = pid;
  // 3 state, 4 parent, 5 group, 6 session, 7 terminal, 8 its group, 9 flags, ... 22 start
  const int count =
      std::sscanf(line.c_str() + behindName + 1,
                  " %*c %d %d %*d %*d %*d %u %*u %*u %*u %*u %*u %*u %*d %*d %*d %*d %*d %*d %llu",
                  &read.parent, &read.group, &read.flags, &read.started);
  if (count != 4) return false;
  stat = read;
  return true;
}

ProcessTree::ProcessTree() {
  for (const ProcessStat& process : EveryProcess()) {
    if (process.parent == getpid()) foreign_[process.pid] = process.started;
  }
  prctl(PR_SET_CHILD_SUBREAPER, 1);
}

// The id of a foreign child may belong to another process by now.
bool ProcessTree::IsForeign(pid_t child) const {
  const auto found = foreign_.find(child);
  if (found == foreign_.end()) return false;
  ProcessStat stat;
  return ReadProcessStat(child, stat) && stat.started == found->second;
}

// Reads one small file instead of all of /proc. That is fast enough to catch a process that forks without end
// between two forks. The kernel may leave children out while others end.
std::vector<pid_t> ProcessTree::Children() const {
  std::vector<pid_t> children;
  std::ifstream in("/proc/thread-self/children");
  for (pid_t child = 0; in >> child;) {
    if (!IsForeign(child)) children.push_back(child);
  }
  return children;
}

std::vector<ProcessStat> ProcessTree::Members() const {
  std::multimap<pid_t, ProcessStat> byParent;
  for (const ProcessStat& process : EveryProcess()) byParent.emplace(process.parent, process);
  std::vector<ProcessStat> members;
  const auto add = [&](pid_t parent) {
    const auto [first, last] = byParent.equal_range(parent);
    for (auto child = first; child != last; ++child) {
      if (parent != getpid() || !IsForeign(child->second.pid)) {
        members.push_back(child->second);
      }
    }
    // Once only: ids read at different moments might make a ring.
    byParent.erase(first, last);
  };
  add(getpid());
  for (std::size_t i = 0; i < members.size(); ++i) add(members[i].pid);
  return members;
}

bool ProcessTree::HasForeignChildren() const {
  for (const auto& [child, started] : foreign_) {
    ProcessStat stat;
    if (ReadProcessStat(child, stat) && stat.started == started) return true;
  }
  return false;
}

bool ProcessTree::IsEmpty() const {
  // A descendant is a child or has a parent among the descendants, and passes its children on when it ends.
  // Only the kernel can say, for one moment, that there are none.
  siginfo_t info = {};
  if (waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) != 0) return errno == ECHILD;
  if (info.si_pid != 0 || !HasForeignChildren()) return false;
  // With foreign children around it cannot say so; then we look a few times.
  for (int look = 0; look < kLooks; ++look) {
    if (!Children().empty() || !Members().empty()) return false;
  }
  return true;
}

void ProcessTree::Signal(int signal, bool onlyOwnGroup) const {
  for (const ProcessStat& member : Members()) {
    if (onlyOwnGroup && member.group != getpgrp()) continue;
    kill(member.pid, signal);
    kill(member.pid, SIGCONT);
  }
}

bool ProcessTree::Kill() const {
  bool refused = false, killed = false;
  const auto end = [&](pid_t pid) { (kill(pid, SIGKILL) == 0 || errno == ESRCH ? killed : refused) = true; };
  for (const pid_t child : Children()) end(child);
  for (const ProcessStat& member : Members()) end(member.pid);
  return killed || !refused;
}

}  // namespace cli
