// SPDX-License-Identifier: MIT
// What the tests of Process share.
#pragma once

#include "faults.h"
#include "scratch_dir.h"

#include <tovkit/system.h>

#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

constexpr int kPatience = 120000;

// The exit code of a process that has not been waited for.
constexpr std::int64_t kNoExitCode = 523124044;

inline bool StartShell(tovkit::Process& process, const std::string& script) {
  const char* arguments[] = {"-c", script.c_str()};
  return process.start("/bin/sh", 2, arguments);
}

inline std::string Contents(const std::string& file) {
  std::ifstream in(file);
  return {std::istreambuf_iterator<char>(in), {}};
}

// Descriptors of a child for its output, in files.
class OutputFiles {
 public:
  OutputFiles()
      : out_(open(outPath().c_str(), O_CREAT | O_WRONLY | O_TRUNC | O_CLOEXEC, 0600)),
        err_(open(errPath().c_str(), O_CREAT | O_WRONLY | O_TRUNC | O_CLOEXEC, 0600)) {}
  ~OutputFiles() {
    close(out_);
    close(err_);
  }
  int out() const { return out_; }
  int err() const { return err_; }
  std::string outPath() const { return scratch_.path() + "/out"; }
  std::string errPath() const { return scratch_.path() + "/err"; }
  std::string outText() const { return Contents(outPath()); }
  std::string errText() const { return Contents(errPath()); }

 private:
  ScratchDir scratch_;
  int out_;
  int err_;
};

inline std::set<int> OpenDescriptors() {
  std::set<int> found;
  DIR* directory = opendir("/proc/self/fd");
  while (const dirent* entry = readdir(directory)) {
    const int fd = std::atoi(entry->d_name);
    if (fd != dirfd(directory)) found.insert(fd);
  }
  closedir(directory);
  return found;
}

class ProcessTest : public testing::Test {
 protected:
  void SetUp() override { faults::Reset(); }
  void TearDown() override { faults::Reset(); }
};
