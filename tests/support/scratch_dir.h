// SPDX-License-Identifier: MIT
// ScratchDir: an empty directory of the test's own, removed with all it holds at the end.
//
//   const ScratchDir scratch;
//   Save(scratch.path() + "/page.png");
#pragma once

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>

class ScratchDir {
 public:
  ScratchDir() : path_((std::filesystem::temp_directory_path() / "tovkit_test_XXXXXX").string()) {
    if (mkdtemp(path_.data()) == nullptr) throw std::runtime_error("cannot make " + path_);
  }
  ~ScratchDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  ScratchDir(const ScratchDir&) = delete;
  ScratchDir& operator=(const ScratchDir&) = delete;

  // Absolute, without a '/' at its end.
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};
