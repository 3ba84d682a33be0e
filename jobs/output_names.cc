// SPDX-License-Identifier: MIT
// Many outputs lie in few folders, so the folders are remembered and the system is rarely asked.
#include "output_names.h"

namespace jobs {

namespace {

constexpr std::size_t kMostFolders = 1024;

}  // namespace

std::string OutputNames::WithoutLinks(const std::string& name) {
  const std::size_t slash = name.rfind('/');
  if (slash == std::string::npos) return name;
  const std::string folder = name.substr(0, slash);
  auto found = folders_.find(folder);
  if (found == folders_.end()) {
    if (folders_.size() == kMostFolders) folders_.clear();
    found = folders_.emplace(folder, directory_.FolderWithoutLinks(folder)).first;
  }
  return found->second.empty() ? name.substr(slash + 1) : found->second + name.substr(slash);
}

}  // namespace jobs
