// SPDX-License-Identifier: MIT
// The scripts that a person runs print their help, and do nothing else, when asked for it.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <string>

#include "scratch_dir.h"

namespace {

namespace fs = std::filesystem;

struct Ended {
  int status;
  std::string out;
};

Ended Shell(const std::string& command) {
  std::FILE* const out = popen((command + " 2>&1").c_str(), "r");
  std::string text;
  std::array<char, 4096> piece;
  while (const std::size_t length = std::fread(piece.data(), 1, piece.size(), out))
    text.append(piece.data(), length);
  const int status = pclose(out);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, text};
}

std::set<std::string> Everything(const fs::path& folder) {
  std::set<std::string> names;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) names.insert(entry.path().string());
  return names;
}

// In a copy, where no tool is found that could install, build or run anything.
TEST(Scripts, HelpIsPrintedAndNothingIsDone) {
  const ScratchDir scratch;
  const fs::path copy = fs::path(scratch.path()) / "copy";
  const fs::path tools = fs::path(scratch.path()) / "tools";
  fs::create_directories(tools);
  fs::create_directories(copy);
  fs::copy(fs::path(TOVKIT_SOURCE_DIR) / "scripts", copy / "scripts", fs::copy_options::recursive);
  for (const char* tool : {"bash", "dirname", "env", "sed"})
    fs::create_symlink(fs::path("/usr/bin") / tool, tools / tool);
  const std::set<std::string> before = Everything(copy);

  int scripts = 0;
  for (const auto& entry : fs::directory_iterator(copy / "scripts")) {
    if (!entry.is_regular_file()) continue;
    ++scripts;
    const std::string name = "scripts/" + entry.path().filename().string();
    // From the folder above, from its own, and by its whole path.
    const std::string calls[] = {
        "cd " + copy.string() + " && " + name,
        "cd " + (copy / "scripts").string() + " && ./" + entry.path().filename().string(),
        "cd / && " + entry.path().string()};
    for (const std::string& call : calls) {
      for (const char* const option : {" --help", " -h"}) {
        const Ended ended = Shell("export PATH=" + tools.string() + "; " + call + option);
        EXPECT_EQ(ended.status, 0) << call << option << "\n" << ended.out;
        EXPECT_GT(ended.out.size(), 40U) << call;
        EXPECT_EQ(ended.out.find("not found"), std::string::npos) << ended.out;
        EXPECT_EQ(ended.out.find("set -euo"), std::string::npos) << ended.out;
      }
    }
  }
  EXPECT_GE(scripts, 7);
  EXPECT_EQ(Everything(copy), before);
}

}  // namespace
