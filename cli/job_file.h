// SPDX-License-Identifier: MIT
// The file of jobs or data that a batch reads, as a descriptor.
#pragma once

#include "jobs/folder.h"

#include <cstdint>
#include <string>

namespace cli {

struct JobFile {
  jobs::OpenDescriptor opened;  // none for standard input
  int fd = -1;
  std::string name;
  std::uint64_t size = 0;  // 0 for what is no regular file
};

// Opens the file, or standard input for "-". Throws CommandError naming it when that fails.
[[nodiscard]] JobFile OpenJobFile(const std::string& file);

}  // namespace cli
