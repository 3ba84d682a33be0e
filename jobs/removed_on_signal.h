// SPDX-License-Identifier: MIT
// RemovedOnSignal: a file that does not outlive the process when a signal ends it.
//
// For as long as the object lives, a signal that would end the process (Ctrl-C, a hang-up, a broken pipe)
// removes the file first; the process still ends by that signal, as its parent can see. Signals that the
// process ignores or handles stay as they are. No more than a few files at a time: further ones are not
// removed.
//
//   const RemovedOnSignal removed(path, fd);
//   rename(path.c_str(), target);
#pragma once

#include <cstddef>
#include <string>

namespace jobs {

class RemovedOnSignal {
 public:
  // The file that `fd` is open on, should it stand at `path`. Whatever else stands there is left alone, so
  // the file may come to its name, and lose it, later.
  RemovedOnSignal(const std::string& path, int fd);
  ~RemovedOnSignal();
  RemovedOnSignal(const RemovedOnSignal&) = delete;
  RemovedOnSignal& operator=(const RemovedOnSignal&) = delete;

 private:
  std::size_t place_;
};

}  // namespace jobs
