// SPDX-License-Identifier: MIT
#include "page_files.h"

#include <algorithm>

namespace page {

const File* FindFile(std::string_view path) {
  const std::span<const File> files = Files();
  const auto found =
      std::find_if(files.begin(), files.end(), [&](const File& file) { return file.path == path; });
  return found == files.end() ? nullptr : &*found;
}

}  // namespace page
