// OutputFile: a file that appears whole or not at all.
//
// The bytes go to a new file beside the target; Commit() renames it over the target. Without Commit() the new
// file is removed and the target stays as it was. A link stays: the file that it leads to is replaced. A
// target that exists and is no regular file (a device, a pipe) is written directly, since it cannot be
// replaced.
//
//   OutputFile out("page.png");
//   WritePage(out.path());
//   out.Commit();
#pragma once

#include <string>

namespace cli {

class OutputFile {
 public:
  // Creates the new file. Throws JobError naming the target when that fails.
  explicit OutputFile(std::string target);
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  // Where to write: an existing empty file beside the target, or the target itself when it is no regular
  // file.
  const std::string& path() const { return path_; }

  // Puts the new file in the target's place. Throws JobError when the bytes cannot be flushed or the rename
  // fails.
  void Commit();

 private:
  std::string target_;    // as it was given
  std::string replaced_;  // behind every link
  std::string path_;
  bool beside_ = false;
  bool committed_ = false;
};

}  // namespace cli
