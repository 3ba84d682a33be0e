// SPDX-License-Identifier: MIT
// OutputFile: a file that appears whole or not at all.
//
// The bytes go to a new file (temporary_file.h); Commit() puts it in the target's place. Without Commit() the
// new file is removed and the target stays as it was, whatever ends the process. A link stays: the file that
// it leads to is replaced. A target that exists and is no regular file (a device, a pipe) is written
// directly, since it cannot be replaced.
//
//   OutputFile out("page.png");
//   WritePage(out.path());
//   out.Commit();
#pragma once

#include "temporary_file.h"

#include <optional>
#include <string>

namespace jobs {

class OutputFile {
 public:
  // Creates the new file. Throws Error naming the target when that fails.
  explicit OutputFile(std::string target);
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  // Where to write, in this process: an existing empty file, or the target itself when it is no regular file.
  const std::string& path() const { return file_ ? file_->path() : target_; }

  // Puts the new file in the target's place. Throws Error when that fails.
  void Commit();

 private:
  std::string target_;                 // as it was given
  std::optional<TemporaryFile> file_;  // of a target that can be replaced
};

}  // namespace jobs
