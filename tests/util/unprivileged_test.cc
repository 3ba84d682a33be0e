// SPDX-License-Identifier: MIT
// The file functions for a user who may not do everything. Tests often run as root, so a child becomes
// nobody.
#include <tovkit/util.h>

#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "holds.h"
#include "scratch_dir.h"

namespace {

constexpr unsigned kNobody = 65534;

// Ends without a leak check: its tracer may not attach to a process that gave its rights away.
template <typename Check>
[[noreturn]] void CheckAsNobody(Check check) {
  if (geteuid() == 0) {
    HOLDS(setgroups(0, nullptr) == 0 && setgid(kNobody) == 0 && setuid(kNobody) == 0);
  }
  check();
  _exit(0);
}

#define EXPECT_AS_NOBODY(check) EXPECT_EXIT(CheckAsNobody(check), testing::ExitedWithCode(0), "")

// A directory with the file "f" in it, open to everyone but for what a test takes away.
class Unprivileged : public testing::Test {
 protected:
  void SetUp() override {
    chmod(scratch_.path().c_str(), 0755);
    directory_ = scratch_.path() + "/d";
    ASSERT_EQ(mkdir(directory_.c_str(), 0755), 0);
    std::ofstream(directory_ + "/f") << "content";
  }
  void TearDown() override { chmod(directory_.c_str(), 0755); }

  const ScratchDir scratch_;
  std::string directory_;
};

TEST_F(Unprivileged, ADirectoryThatMayNotBeWrittenTakesNoFile) {
  ASSERT_EQ(chmod(directory_.c_str(), 0555), 0);
  EXPECT_AS_NOBODY([this] {
    HOLDS(!tovkit::CreateFileWithParents((directory_ + "/new").c_str()));
    HOLDS(!tovkit::CreateFileWithParents((directory_ + "/a/b/new").c_str()));
    tovkit::CopyFile("/etc/passwd", (directory_ + "/new").c_str());
    HOLDS(tovkit::GetPathFlags((directory_ + "/new").c_str()) == 0);
  });
  EXPECT_FALSE(std::filesystem::exists(directory_ + "/a"));
}

TEST_F(Unprivileged, NothingExistsInADirectoryThatMayNotBeEntered) {
  ASSERT_EQ(chmod(directory_.c_str(), 0000), 0);
  EXPECT_AS_NOBODY([this] {
    HOLDS(tovkit::GetPathFlags((directory_ + "/f").c_str()) == 0);
    HOLDS(!tovkit::FileInfo((directory_ + "/f").c_str(), -1).Exists());
    HOLDS(tovkit::GetPathFlags(directory_.c_str()) == tovkit::PathIsDirectory);
    HOLDS(!tovkit::CreateFileWithParents((directory_ + "/f").c_str()));
  });
}

TEST_F(Unprivileged, ASourceThatMayNotBeReadLeavesTheTargetUntouched) {
  const std::string target = scratch_.path() + "/target";
  ASSERT_EQ(chmod((directory_ + "/f").c_str(), 0000), 0);
  EXPECT_AS_NOBODY([&] {
    tovkit::CopyFile((directory_ + "/f").c_str(), target.c_str());
    HOLDS(tovkit::GetPathFlags(target.c_str()) == 0);
  });
}

TEST_F(Unprivileged, TheOwnersBitsTellWhoeverAsks) {
  const std::string file = directory_ + "/f";
  ASSERT_EQ(chmod(file.c_str(), 0600), 0);
  EXPECT_AS_NOBODY([&file] {
    struct stat status = {};
    HOLDS(stat(file.c_str(), &status) == 0);
    HOLDS(status.st_uid == geteuid() || open(file.c_str(), O_RDONLY) < 0);
    HOLDS(tovkit::GetPathFlags(file.c_str()) ==
          (tovkit::PathIsFile | tovkit::PathReadable | tovkit::PathWritable));
    const tovkit::FileInfo info(file.c_str(), -1);
    HOLDS(info.IsReadable() && info.IsWritable());
  });
}

}  // namespace
