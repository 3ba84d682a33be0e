// SPDX-License-Identifier: MIT
// Outputs of subcommands that make a file of each input, in one folder.
#pragma once

#include <string>
#include <vector>

namespace cli {

// Whether an output names a folder: it is one, or ends with a slash.
[[nodiscard]] bool IsFolder(const std::string& output);

// The file in `folder` for each input: the input's name with `extension` in place of its own, or with its own
// when that is empty. Throws UsageError for standard input, which has no name, and when two inputs would be
// the same file.
std::vector<std::string> FilesInFolder(const std::string& folder, const std::vector<std::string>& inputs,
                                       const std::string& extension);

// Makes the folder when it is not there. Throws CommandError.
void MakeFolder(const std::string& folder);

}  // namespace cli
