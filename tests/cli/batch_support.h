// SPDX-License-Identifier: MIT
// A batch in a folder of its own: jobs for it, and what its results and outputs are.
#pragma once

#include "run_command.h"
#include "scratch_dir.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <system_error>
#include <vector>

namespace batch {

namespace fs = std::filesystem;

inline std::string ContentsOfPath(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

inline std::vector<std::string> LinesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

// The text member of a result.
inline std::string Member(const std::string& line, const std::string& name) {
  const std::string start = "\"" + name + "\":\"";
  const std::size_t at = line.find(start);
  if (at == std::string::npos) return "";
  const std::size_t from = at + start.size();
  return line.substr(from, line.find('"', from) - from);
}

// How often each id has each state.
inline std::map<std::string, int> StatesOf(const std::string& results) {
  std::map<std::string, int> states;
  for (const std::string& line : LinesOf(results)) ++states[Member(line, "id") + " " + Member(line, "state")];
  return states;
}

inline std::string Jobs(int count) {
  std::string text;
  for (int i = 0; i < count; ++i) {
    const std::string number = std::to_string(i);
    text += R"({"id": ")" + number + R"(", "draw": {"Content": "No. )" + number +
            R"("}, "size": "120x40", "out": ")" + std::to_string(i % 10) + "/" + number + ".png\"}\n";
  }
  return text;
}

inline std::map<std::string, std::string> FilesBelow(const std::string& folder) {
  std::map<std::string, std::string> files;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    if (!entry.is_directory())
      files[fs::relative(entry.path(), folder).string()] = ContentsOfPath(entry.path());
  }
  return files;
}

// For as long as the object lives, processes that lose their parent become children of the test.
class Orphanage {
 public:
  Orphanage() { prctl(PR_SET_CHILD_SUBREAPER, 1); }
  ~Orphanage() { prctl(PR_SET_CHILD_SUBREAPER, 0); }
  Orphanage(const Orphanage&) = delete;
  Orphanage& operator=(const Orphanage&) = delete;

  // Whether every process of the test ends by itself.
  static bool AwaitEmpty() {
    constexpr int kPatience = 20000;  // milliseconds
    for (int turn = 0; turn < kPatience; ++turn) {
      const pid_t ended = waitpid(-1, nullptr, WNOHANG);
      if (ended < 0) return true;
      if (ended == 0) poll(nullptr, 0, 1);
    }
    return false;
  }
};

class Batch : public testing::Test {
 protected:
  Batch() { fs::create_directory(Out()); }

  std::string Path(const std::string& name) const { return scratch_.path() + "/" + name; }
  std::string Out() const { return Path("out"); }

  CommandResult Run(std::vector<std::string> arguments, const std::string& jobs,
                    const Environment& environment = {}) const {
    arguments.insert(arguments.begin(), {"batch", "--directory", Out()});
    return RunCommand(arguments, jobs, environment);
  }

  // Starts a batch whose results go to a file; the parent's process.
  pid_t Start(const std::string& jobs, const std::vector<std::string>& more) const {
    std::vector<std::string> arguments = {"batch", jobs, "--directory", Out()};
    arguments.insert(arguments.end(), more.begin(), more.end());
    const int null = open("/dev/null", O_RDWR | O_CLOEXEC);
    const pid_t child = StartCommand(arguments, null, null, null);
    close(null);
    return child;
  }

  // Waits until the file has so many bytes, or the process has ended.
  static void AwaitSize(const std::string& path, std::uintmax_t size, pid_t child) {
    std::error_code error;
    siginfo_t info = {};
    while (fs::file_size(path, error) < size || error) {
      if (waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
          info.si_pid != 0)
        return;
      poll(nullptr, 0, 1);
    }
  }

  ScratchDir scratch_;
};

}  // namespace batch
