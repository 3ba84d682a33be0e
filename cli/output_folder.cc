// SPDX-License-Identifier: MIT
// Names are compared before anything is written: two pictures of one name would overwrite each other.
#include "output_folder.h"

#include "error.h"

#include <cstddef>
#include <filesystem>
#include <map>
#include <system_error>

namespace cli {

namespace fs = std::filesystem;

bool IsFolder(const std::string& output) {
  std::error_code error;
  return !output.empty() && (output.back() == '/' || fs::is_directory(output, error));
}

std::vector<std::string> FilesInFolder(const std::string& folder, const std::vector<std::string>& inputs,
                                       const std::string& extension) {
  std::vector<std::string> files;
  std::map<std::string, std::string> inputOf;
  for (const std::string& input : inputs) {
    if (input == "-") throw UsageError("standard input has no name for a file in " + folder);
    fs::path name = fs::path(input).filename();
    if (!extension.empty()) name.replace_extension(extension);
    const auto [first, fresh] = inputOf.emplace(name.string(), input);
    files.push_back((fs::path(folder) / name).string());
    if (!fresh) throw UsageError(first->second + " and " + input + " would both become " + files.back());
  }
  return files;
}

void MakeFolder(const std::string& folder) {
  std::error_code error;
  fs::create_directories(folder, error);
  if (error) throw CommandError(folder + ": " + error.message());
}

}  // namespace cli
