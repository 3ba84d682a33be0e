// SPDX-License-Identifier: MIT
// Process: from fork to the program's first instruction.
//
// A child that shares the parent's memory does it when all goes well, which costs the same whatever memory
// the parent has. Where it fails, a fork does everything again and tells what was wrong.
//
// Nothing in the child may take a lock, neither the heap's nor a stream's: another thread of the parent may
// have held it at the fork, and in the child nobody would ever release it.
#include <stdio_ext.h>
#include <tovkit/system.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "child_text.h"
#include "inherited_descriptors.h"
#include "shared_start.h"

namespace tovkit {
namespace {

void ReplaceDescriptor(int source, int target) {
  close(target);
  while (dup2(source, target) == -1 && errno == EINTR) {
  }
}

}  // namespace

bool Process::unixStart() {
  if (fields.path == nullptr) return false;
  const auto prepare = [](const void* process) {
    const auto& self = *static_cast<const Process*>(process);
    self.redirectOutput();
    if ((self.fields.flags & inheritParentFds) == 0 && !CloseInheritedRange()) return false;
    if (self.fields.workDir != nullptr && chdir(self.fields.workDir) != 0) errno = 0;
    return true;
  };
  pid_t child = StartSharingMemory(fields.path, fields.argv, prepare, this);
  if (child == -1) child = fork();
  if (child == -1) {
    // Compatibility: the text names vfork.
    std::printf("vfork fail, errno=%d, errmsg=%s\n", errno, std::strerror(errno));
    return false;
  }
  if (child > 0) {
    fields.pid = static_cast<uint64_t>(child);
    return true;
  }
  redirectOutput();
  if ((fields.flags & inheritParentFds) == 0) unixCloseFDInheritFromParent();
  // A bad directory is not reported; the program then starts in the parent's.
  if (fields.workDir != nullptr && chdir(fields.workDir) != 0) errno = 0;
  return executeInChild();
}

// Compatibility: only stdoutFd is tested. A stderrFd that is no descriptor leaves the child without standard
// error.
void Process::redirectOutput() const {
  if (fields.stdoutFd <= 0) return;
  ReplaceDescriptor(fields.stdoutFd, STDOUT_FILENO);
  ReplaceDescriptor(fields.stderrFd, STDERR_FILENO);
}

// Returns only if execv ever returned something else than -1.
bool Process::executeInChild() {
  int result = 0;
  do {
    result = execv(fields.path, fields.argv);
  } while (result == -1 && errno == EINTR);
  const int error = errno;
  // Drops what the parent has printed but not yet written: the parent writes it itself. Takes no lock.
  __fpurge(stdout);
  ChildText line;
  if (result != -1) {
    line << "PROC: execv fail, SHOULD NOT output this log. ret=" << result << ", errno=" << error
         << ", errmsg=" << ErrorText{error} << "\n";
    line.WriteTo(STDOUT_FILENO);
    return true;
  }
  line << "PROC-ERROR: execv fail, errno=" << error << ", errmsg=" << ErrorText{error} << "\n";
  line.WriteTo(STDOUT_FILENO);
  // Compatibility: the exit code is 0. _exit, because exit would run the parent's exit handlers and write its
  // buffered output a second time.
  _exit(0);
}

bool Process::unixCloseFDInheritFromParent() {
  CloseInheritedDescriptors();
  return true;
}

}  // namespace tovkit
