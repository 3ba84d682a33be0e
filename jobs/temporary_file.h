// SPDX-License-Identifier: MIT
// TemporaryFile: the new file beside a target, until it takes the target's place.
//
// Where the file system can do so the file has no name, so that nothing is left of it however the process
// ends. To replace a target it needs a name for an instant; on other file systems it has one from the
// beginning. Such a name goes with the object, and with a signal that ends the process. What a killed process
// leaves behind is removed by the next TemporaryFile for the same target.
//
//   name   .tovkit-HASH-N in the target's folder: HASH is that of the target's file name, N counts from 0
//   owner  holds the file's lock (flock) for as long as it lives; who gets the lock of a file under such a
//          name knows that its owner is dead, and nobody but the holder removes or renames it
//
//   TemporaryFile file("out/page.png", 0644);
//   if (file.fd() >= 0 && Write(file.path())) file.Replace();
#pragma once

#include "removed_on_signal.h"

#include <sys/types.h>

#include <optional>
#include <string>

namespace jobs {

class TemporaryFile {
 public:
  static constexpr char kPrefix[] = ".tovkit-";  // of every name

  // Creates an empty file with these permissions in the folder of `target`; links are not followed. On
  // failure fd() is -1 and errno says why.
  TemporaryFile(std::string target, mode_t mode);
  // Removes what killed processes left beside the target.
  static void RemoveAbandoned(const std::string& target);
  // Removes the file, unless it has taken the target's place.
  ~TemporaryFile();
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  int fd() const { return fd_; }
  // The path to open for writing, in this process only.
  const std::string& path() const { return path_; }

  // Puts the file in the target's place. False when that fails, with the reason in errno; the target is then
  // as it was.
  [[nodiscard]] bool Replace();

 private:
  std::string NameAt(int number) const;
  void OpenNameless(mode_t mode);
  void OpenNamed(mode_t mode);
  [[nodiscard]] bool OpenAt(const std::string& name, mode_t mode);
  // False with errno when the target stands already, or there is another error.
  [[nodiscard]] bool LinkTo(const std::string& name) const;
  [[nodiscard]] bool GiveName();

  std::string target_;
  std::string prefix_;  // of the names beside the target
  std::string path_;
  std::string name_;  // empty as long as the file has none
  int fd_ = -1;
  std::optional<RemovedOnSignal> removed_;
};

}  // namespace jobs
