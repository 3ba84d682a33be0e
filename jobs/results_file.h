// SPDX-License-Identifier: MIT
// Results in a file: appended by one process at a time, read to go on where an earlier run ended, merged.
#pragma once

#include "folder.h"
#include "id_index.h"
#include "result.h"

#include <functional>

#include <string>
#include <vector>

namespace jobs {

// A results file that this process holds the lock of, for as long as the object lives.
class ResultsFile {
 public:
  // Opens or makes the file, and cuts off a last line that is not complete, which a killed run has left.
  // Throws Error when that fails, or when another process holds the lock.
  explicit ResultsFile(const std::string& path);

  int descriptor() const { return file_.get(); }
  // Whether it was there before: an earlier run may have left something.
  bool stood() const { return stood_; }

  // Adds to the index, for each job that was done, hash and bytes of its output.
  void ReadInto(IdIndex& index) const;

  // Appends whole lines. Throws Error when not all of them can be written; the file is then as before.
  void Append(const std::string& lines);

 private:
  std::string path_;
  bool stood_;
  OpenDescriptor file_;
};

// Passes the last result of each job in the files, a line with its line feed, to `take`. For a job that was
// done at any time, that is the last result that says so; a result that says skipped counts only where there
// is no other. Lines that are not complete are left out. Throws Error for a file that cannot be read or a
// line that is no result.
void MergeResults(const std::vector<std::string>& paths, const std::function<void(const std::string&)>& take);

}  // namespace jobs
