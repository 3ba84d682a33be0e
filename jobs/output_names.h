// SPDX-License-Identifier: MIT
// OutputNames: one name for each output, whatever links inside the folder lead to it.
//
//   OutputNames names("out");           // where out/b is a link to a
//   names.WithoutLinks("b/42.png");     // "a/42.png"
#pragma once

#include "folder.h"

#include <string>
#include <unordered_map>

namespace jobs {

class OutputNames {
 public:
  // Without such a folder every name is as it is.
  explicit OutputNames(const std::string& directory) : directory_(directory, ErrorKind::kOutput) {}

  // A name that no output may have is returned as it is.
  [[nodiscard]] std::string WithoutLinks(const std::string& name);

 private:
  const Folder directory_;
  std::unordered_map<std::string, std::string> folders_;  // without links, some that were met of late
};

}  // namespace jobs
