// SPDX-License-Identifier: MIT
#include <tovkit/util.h>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "every_text.h"
#include "scratch_dir.h"

namespace {

namespace fs = std::filesystem;
using tovkit::CreateFileWithParents;

bool Create(const std::string& path) { return CreateFileWithParents(path.c_str()); }

mode_t ModeOf(const std::string& path) {
  struct stat status = {};
  EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
  return status.st_mode;
}

// Every path below `root`, directories with a '/' at their end, in order.
std::vector<std::string> Tree(const std::string& root) {
  std::vector<std::string> paths;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(root)) {
    paths.push_back(entry.path().string().substr(root.size()) + (entry.is_directory() ? "/" : ""));
  }
  std::sort(paths.begin(), paths.end());
  return paths;
}

using Paths = std::vector<std::string>;

TEST(CreateFileWithParents, MakesDirectoriesWithMode0755AndAnEmptyFile) {
  const ScratchDir scratch;
  const mode_t mask = umask(0);
  EXPECT_TRUE(Create(scratch.path() + "/a/b/c.txt"));
  umask(mask);
  EXPECT_EQ(Tree(scratch.path()), (Paths{"/a/", "/a/b/", "/a/b/c.txt"}));
  EXPECT_EQ(ModeOf(scratch.path() + "/a"), static_cast<mode_t>(S_IFDIR | 0755));
  EXPECT_EQ(ModeOf(scratch.path() + "/a/b"), static_cast<mode_t>(S_IFDIR | 0755));
  EXPECT_EQ(fs::file_size(scratch.path() + "/a/b/c.txt"), 0U);
}

TEST(CreateFileWithParents, UmaskApplies) {
  const ScratchDir scratch;
  const mode_t mask = umask(077);
  EXPECT_TRUE(Create(scratch.path() + "/a/c.txt"));
  umask(mask);
  EXPECT_EQ(ModeOf(scratch.path() + "/a"), static_cast<mode_t>(S_IFDIR | 0700));
}

TEST(CreateFileWithParents, PresentFileKeepsItsContents) {
  const ScratchDir scratch;
  std::ofstream(scratch.path() + "/file") << "content";
  EXPECT_TRUE(Create(scratch.path() + "/file"));
  EXPECT_EQ(fs::file_size(scratch.path() + "/file"), 7U);
}

TEST(CreateFileWithParents, BackslashesSeparate) {
  const ScratchDir scratch;
  EXPECT_TRUE(Create(scratch.path() + "\\a\\b\\c"));
  EXPECT_EQ(Tree(scratch.path()), (Paths{"/a/", "/a/b/", "/a/b/c"}));
}

TEST(CreateFileWithParents, FileThatCannotBeOpenedRemovesWhatWasMade) {
  const ScratchDir scratch;
  EXPECT_FALSE(Create(scratch.path() + "/a/b/" + std::string(300, 'c')));
  EXPECT_EQ(Tree(scratch.path()), Paths());
}

TEST(CreateFileWithParents, TrailingSeparatorFailsAndRemovesWhatWasMade) {
  const ScratchDir scratch;
  EXPECT_FALSE(Create(scratch.path() + "/a/b/"));
  EXPECT_EQ(Tree(scratch.path()), Paths());
}

TEST(CreateFileWithParents, DirectoryThatCannotBeMadeRemovesTheOnesAbove) {
  const ScratchDir scratch;
  EXPECT_FALSE(Create(scratch.path() + "/a/b/" + std::string(300, 'c') + "/d"));
  EXPECT_EQ(Tree(scratch.path()), Paths());
}

TEST(CreateFileWithParents, PresentDirectoriesStayAfterAFailure) {
  const ScratchDir scratch;
  fs::create_directories(scratch.path() + "/a/b");
  EXPECT_FALSE(Create(scratch.path() + "/a/b/c/d/"));
  EXPECT_EQ(Tree(scratch.path()), (Paths{"/a/", "/a/b/"}));
}

TEST(CreateFileWithParents, FileInPlaceOfADirectoryFails) {
  const ScratchDir scratch;
  std::ofstream(scratch.path() + "/a") << "content";
  EXPECT_FALSE(Create(scratch.path() + "/a/b"));
  EXPECT_FALSE(Create(scratch.path() + "/a/b/c"));
  EXPECT_EQ(Tree(scratch.path()), Paths{"/a"});
}

TEST(CreateFileWithParents, NullAndEmptyFail) {
  EXPECT_FALSE(CreateFileWithParents(nullptr));
  EXPECT_FALSE(Create(""));
  EXPECT_FALSE(Create("/"));
  EXPECT_FALSE(Create("\\"));
}

TEST(CreateFileWithParents, NamesOfAnyBytesWork) {
  const ScratchDir scratch;
  EXPECT_TRUE(Create(scratch.path() + "/\xff/\xE5\xAE"));
  EXPECT_EQ(Tree(scratch.path()), (Paths{"/\xff/", "/\xff/\xE5\xAE"}));
}

TEST(CreateFileWithParents, MegabytePathsFailAndLeaveNothing) {
  const ScratchDir scratch;
  std::string deep = scratch.path();
  while (deep.size() < (1 << 20)) deep += "/d";
  EXPECT_FALSE(Create(deep));
  EXPECT_FALSE(Create(scratch.path() + "/" + std::string(1 << 20, 'x')));
  EXPECT_FALSE(Create(scratch.path() + "/a" + std::string(1 << 20, '/') + "b"));
  EXPECT_EQ(Tree(scratch.path()), Paths());
}

TEST(CreateFileWithParents, DeepestPathThatTheSystemTakes) {
  const ScratchDir scratch;
  std::string deep = scratch.path();
  while (deep.size() + 4 < 4095) deep += "/d";
  EXPECT_TRUE(Create(deep + "/f"));
  EXPECT_TRUE(fs::exists(deep + "/f"));
}

// The rule as it is told, level by level.
bool Step(const std::string& path, std::size_t position) {
  const std::size_t slash = path.find('/', position + 1);
  if (slash == std::string::npos) {
    std::FILE* file = std::fopen(path.c_str(), "a");
    if (file == nullptr) return false;
    std::fclose(file);
    return true;
  }
  const std::string prefix = path.substr(0, slash);
  if (access(prefix.c_str(), F_OK) == 0) return Step(path, slash);
  if (mkdir(prefix.c_str(), 0755) != 0) return false;
  if (Step(path, slash)) return true;
  rmdir(prefix.c_str());
  return false;
}

// Runs `create` on every short relative path, each in a fresh tree below `root`, and returns result and tree.
template <typename CreateFile>
Paths Outcomes(const std::string& root, CreateFile create) {
  const fs::path before = fs::current_path();
  Paths outcomes;
  ForEveryText("a./\\", 5, [&](const std::string& path) {
    if (!path.empty() && (path[0] == '/' || path[0] == '\\')) return;  // would leave the root
    fs::create_directories(root + "/x/y/z/a");                         // ".." leads here and no further
    fs::current_path(root + "/x/y/z");
    std::string outcome = path + (create(path) ? " true" : " false");
    for (const std::string& found : Tree(root)) outcome += " " + found;
    outcomes.push_back(outcome);
    fs::remove_all(root + "/x");
  });
  fs::current_path(before);
  return outcomes;
}

TEST(CreateFileWithParents, EveryShortPathAgreesWithTheRecursiveRule) {
  const ScratchDir first;
  const ScratchDir second;
  const Paths outcomes = Outcomes(first.path(), Create);
  const Paths expected = Outcomes(second.path(), [](std::string path) {
    std::replace(path.begin(), path.end(), '\\', '/');
    return Step(path, 0);
  });
  ASSERT_EQ(outcomes.size(), expected.size());
  for (std::size_t i = 0; i < outcomes.size(); ++i) EXPECT_EQ(outcomes[i], expected[i]);
}

// Starts one process for each path at the same moment and returns which of them succeeded.
std::vector<bool> CreateAtOnce(const Paths& paths) {
  std::array<int, 2> gate = {};
  EXPECT_EQ(pipe(gate.data()), 0);
  std::vector<pid_t> children;
  for (const std::string& path : paths) {
    const pid_t child = fork();
    if (child == 0) {
      close(gate[1]);
      char byte = 0;
      while (read(gate[0], &byte, 1) > 0) {
      }
      _exit(Create(path) ? 0 : 1);
    }
    children.push_back(child);
  }
  close(gate[0]);
  close(gate[1]);  // opens the gate
  std::vector<bool> succeeded;
  for (const pid_t child : children) {
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status));
    succeeded.push_back(status == 0);
  }
  return succeeded;
}

TEST(CreateFileWithParents, ProcessesOnOneTreeRemoveNothingForeign) {
  for (int round = 0; round < 20; ++round) {
    const ScratchDir scratch;
    fs::create_directory(scratch.path() + "/present");
    Paths paths;
    for (int i = 0; i < 8; ++i) {
      // Every other one fails at its end and rolls back while the rest are still at work.
      paths.push_back(scratch.path() + "/present/a/b/c/d/f" + std::to_string(i) + (i % 2 == 0 ? "" : "/"));
    }
    const std::vector<bool> succeeded = CreateAtOnce(paths);
    for (std::size_t i = 0; i < paths.size(); ++i) {
      if (i % 2 != 0) {
        EXPECT_FALSE(succeeded[i]) << paths[i];
      } else if (succeeded[i]) {
        EXPECT_TRUE(fs::is_regular_file(paths[i])) << paths[i];
      }
    }
    EXPECT_TRUE(fs::is_directory(scratch.path() + "/present"));
  }
}

}  // namespace
