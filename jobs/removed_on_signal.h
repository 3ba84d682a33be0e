// SPDX-License-Identifier: MIT
// RemovedOnSignal: a file that does not outlive the process when a signal ends it.
//
// For as long as the object lives, a signal that would end the process (Ctrl-C, a hang-up, a broken pipe)
// removes the file first; the process still ends by that signal, as its parent can see. Signals that the
// process ignores or handles stay as they are. No more than a few files at a time: further ones are not
// removed.
//
//   std::optional<RemovedOnSignal> removed;
//   {
//     const EndHeldBack held;  // from the file's first moment
//     removed.emplace(path, open(path.c_str(), O_CREAT | O_EXCL | O_RDWR, 0600));
//   }
//   rename(path.c_str(), target);
#pragma once

#include <csignal>
#include <cstddef>
#include <string>

namespace jobs {

class RemovedOnSignal {
 public:
  // Removes the file that `fd` is open on, if it is then at `path`. Any other file there is left alone, so
  // the file may get its name, and lose it, later.
  RemovedOnSignal(const std::string& path, int fd);
  ~RemovedOnSignal();
  RemovedOnSignal(const RemovedOnSignal&) = delete;
  RemovedOnSignal& operator=(const RemovedOnSignal&) = delete;

 private:
  std::size_t place_;
};

// For as long as it lives, which is to be a moment, no such signal ends the process: those to this thread
// wait, and another thread that takes one waits in the handler. So a file cannot be left behind between its
// creation and its RemovedOnSignal.
class EndHeldBack {
 public:
  EndHeldBack();
  ~EndHeldBack();
  EndHeldBack(const EndHeldBack&) = delete;
  EndHeldBack& operator=(const EndHeldBack&) = delete;

 private:
  sigset_t before_;
};

}  // namespace jobs
