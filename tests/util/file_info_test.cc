// SPDX-License-Identifier: MIT
#include "local_text.h"

#include <tovkit/util.h>

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <fstream>
#include <limits>
#include <string>
#include <type_traits>
#include <utility>

#include "scratch_dir.h"

namespace {

using tovkit::CheckPath;
using tovkit::FileInfo;
using tovkit::GetPathFlags;

static_assert(!std::is_copy_constructible_v<FileInfo> && !std::is_copy_assignable_v<FileInfo>);
static_assert(std::is_nothrow_move_constructible_v<FileInfo>);
static_assert(sizeof(FileInfo) == sizeof(void*));

class FileStatus : public testing::Test {
 protected:
  std::string Path(const char* name) const { return scratch_.path() + "/" + name; }

  std::string MakeFile(const char* name, mode_t mode) const {
    std::ofstream(Path(name)) << "x";
    EXPECT_EQ(chmod(Path(name).c_str(), mode), 0);
    return Path(name);
  }

  std::string MakeDirectory(const char* name, mode_t mode) const {
    EXPECT_EQ(mkdir(Path(name).c_str(), 0700), 0);
    EXPECT_EQ(chmod(Path(name).c_str(), mode), 0);
    return Path(name);
  }

  static std::wstring Wide(const std::string& text) { return tovkit::Utf8ToWide(text.c_str(), -1); }

  const ScratchDir scratch_;
};

// Checks every answer about `path`, asked in both widths, against `flags`.
void ExpectFlags(const std::string& path, int flags) {
  const std::wstring wide = tovkit::Utf8ToWide(path.c_str(), -1);
  EXPECT_EQ(GetPathFlags(path.c_str()), flags) << path;
  EXPECT_EQ(GetPathFlags(wide.c_str()), flags) << path;

  const auto has = [&](int flag) { return (flags & flag) == flag; };
  const auto check = [&](const FileInfo& info) {
    EXPECT_EQ(info.Exists(), has(1)) << path;
    EXPECT_EQ(info.IsFile(), has(3)) << path;
    EXPECT_EQ(info.IsDirectory(), has(5)) << path;
    EXPECT_EQ(info.IsReadable(), has(17)) << path;
    EXPECT_EQ(info.IsWritable(), has(33)) << path;
  };
  check(FileInfo(path.c_str(), -1));
  check(FileInfo(wide.c_str(), -1));

  for (int mask = 0; mask < 128; ++mask) {
    int expected = 0;
    if (has(1) && (mask & 1) != 0) {
      expected = 1;
      for (const int flag : {3, 5, 17, 33}) {
        if ((mask & flag) == flag && has(flag)) expected |= flag;
      }
    }
    EXPECT_EQ(CheckPath(path.c_str(), mask), expected) << path << ", " << mask;
    EXPECT_EQ(CheckPath(wide.c_str(), mask), expected) << path << ", " << mask;
  }
}

TEST_F(FileStatus, EachFlagThatCanHoldForAPathIncludesPathExists) {
  static_assert(tovkit::PathExists == 1 && tovkit::PathIsFile == 3 && tovkit::PathIsDirectory == 5 &&
                tovkit::PathReadable == 17 && tovkit::PathWritable == 33);
  const std::string file = MakeFile("file", 0600);
  EXPECT_EQ(GetPathFlags(file.c_str()), tovkit::PathIsFile | tovkit::PathReadable | tovkit::PathWritable);
  EXPECT_EQ(GetPathFlags(MakeDirectory("d", 0000).c_str()), tovkit::PathIsDirectory);
  for (const int flag : {tovkit::PathIsFile, tovkit::PathReadable, tovkit::PathWritable}) {
    EXPECT_EQ(CheckPath(file.c_str(), flag), flag);
    EXPECT_EQ(CheckPath(file.c_str(), flag) & tovkit::PathExists, tovkit::PathExists);
  }
}

TEST_F(FileStatus, FlagsFollowTypeAndOwnerBits) {
  ExpectFlags(MakeFile("f644", 0644), 3 | 17 | 33);
  ExpectFlags(MakeFile("f400", 0400), 3 | 17);
  ExpectFlags(MakeFile("f200", 0200), 3 | 33);
  ExpectFlags(MakeFile("f077", 0077), 3);  // readable by everyone but the owner
  ExpectFlags(MakeFile("f000", 0000), 3);
  ExpectFlags(MakeDirectory("d755", 0755), 5 | 17 | 33);
  ExpectFlags(MakeDirectory("d555", 0555), 5 | 17);
  ExpectFlags(MakeDirectory("d111", 0111), 5);
}

TEST_F(FileStatus, OtherKindsOnlyExist) {
  ASSERT_EQ(mkfifo(Path("fifo").c_str(), 0600), 0);
  ExpectFlags(Path("fifo"), 1 | 17 | 33);
  // The type bits of a socket are those of a file and of a directory together.
  const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  ASSERT_LT(Path("sock").size(), sizeof(address.sun_path));
  Path("sock").copy(address.sun_path, sizeof(address.sun_path) - 1);
  ASSERT_EQ(bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
  ASSERT_EQ(chmod(Path("sock").c_str(), 0), 0);
  ExpectFlags(Path("sock"), 1);
  close(fd);
}

TEST_F(FileStatus, LinksAreFollowed) {
  MakeFile("file", 0400);
  MakeDirectory("directory", 0500);
  ASSERT_EQ(symlink("file", Path("toFile").c_str()), 0);
  ASSERT_EQ(symlink("directory", Path("toDirectory").c_str()), 0);
  ASSERT_EQ(symlink("nothing", Path("toNothing").c_str()), 0);
  ASSERT_EQ(symlink("loop", Path("loop").c_str()), 0);
  ExpectFlags(Path("toFile"), 3 | 17);
  ExpectFlags(Path("toDirectory"), 5 | 17);
  ExpectFlags(Path("toNothing"), 0);
  ExpectFlags(Path("loop"), 0);
}

TEST_F(FileStatus, WhatCannotBeExaminedHasNoFlags) {
  ExpectFlags(Path("missing"), 0);
  ExpectFlags(MakeFile("file", 0644) + "/below", 0);
  ExpectFlags("", 0);
  ExpectFlags(std::string(1 << 20, 'x'), 0);
  ExpectFlags(std::string(1 << 20, '/'), 0);  // longer than the system takes
}

TEST_F(FileStatus, NullPathHasNoFlags) {
  EXPECT_EQ(GetPathFlags(static_cast<const char*>(nullptr)), 0);
  EXPECT_EQ(GetPathFlags(static_cast<const wchar_t*>(nullptr)), 0);
  EXPECT_EQ(CheckPath(static_cast<const char*>(nullptr), 63), 0);
  EXPECT_EQ(CheckPath(static_cast<const wchar_t*>(nullptr), 63), 0);
  EXPECT_FALSE(FileInfo(static_cast<const char*>(nullptr), -1).Exists());
  EXPECT_FALSE(FileInfo(static_cast<const wchar_t*>(nullptr), 3).Exists());
}

TEST_F(FileStatus, AMaskWithoutTheBitOfPathExistsGivesZeroAndMinusOneEverything) {
  EXPECT_EQ(CheckPath(MakeFile("file", 0600).c_str(), -1), 3 | 17 | 33);
  EXPECT_EQ(CheckPath(Path("file").c_str(), -2), 0);
}

TEST_F(FileStatus, BothSeparatorsAreRead) {
  MakeDirectory("d", 0700);
  MakeFile("d/f", 0600);
  ExpectFlags(Path("d\\f"), 3 | 17 | 33);
  ExpectFlags(Path("d\\"), 5 | 17 | 33);
}

TEST_F(FileStatus, ANegativeLengthMeansUpToTheTerminatingNul) {
  const std::string path = MakeFile("file", 0600);
  for (const int length : {-1, -2, std::numeric_limits<int>::min()}) {
    EXPECT_TRUE(FileInfo(path.c_str(), length).IsFile()) << length;
    EXPECT_TRUE(FileInfo(Wide(path).c_str(), length).IsFile()) << length;
  }
}

TEST_F(FileStatus, LengthCutsThePath) {
  const std::string path = MakeFile("file", 0600) + "tail";
  const std::wstring wide = Wide(path);
  const int length = static_cast<int>(path.size()) - 4;
  EXPECT_TRUE(FileInfo(path.c_str(), length).IsFile());
  EXPECT_TRUE(FileInfo(wide.c_str(), length).IsFile());
  EXPECT_FALSE(FileInfo(path.c_str(), -1).Exists());
  EXPECT_FALSE(FileInfo(wide.c_str(), -1).Exists());
  EXPECT_FALSE(FileInfo(path.c_str(), 0).Exists());
  EXPECT_FALSE(FileInfo(wide.c_str(), 0).Exists());
}

TEST_F(FileStatus, NamesOfAnyBytesAreFound) {
  if (!LocalTextIsUtf8()) GTEST_SKIP() << "local text is no UTF-8 here";
  ExpectFlags(MakeFile("\xff\xfe", 0600), 3 | 17 | 33);
  ExpectFlags(MakeFile("\xE5\xAE\x8B.txt", 0600), 3 | 17 | 33);
  ExpectFlags(MakeFile("\xE5\xAE", 0600), 3 | 17 | 33);
}

TEST_F(FileStatus, TheStatusIsAsItWasWhenTheObjectWasMadeAndNeverRefreshed) {
  const FileInfo info(MakeFile("file", 0600).c_str(), -1);
  ASSERT_EQ(unlink(Path("file").c_str()), 0);
  EXPECT_TRUE(info.IsFile());
}

TEST_F(FileStatus, MovingTakesTheStatusAlong) {
  FileInfo first(MakeFile("file", 0600).c_str(), -1);
  FileInfo second(std::move(first));
  EXPECT_TRUE(second.IsFile());
  EXPECT_FALSE(first.Exists());  // NOLINT(bugprone-use-after-move,clang-analyzer-cplusplus.Move)
  FileInfo third("", -1);
  third = std::move(second);
  EXPECT_TRUE(third.IsFile());
  EXPECT_FALSE(second.Exists());  // NOLINT(bugprone-use-after-move,clang-analyzer-cplusplus.Move)
  second = FileInfo(scratch_.path().c_str(), -1);
  EXPECT_TRUE(second.IsDirectory()) << "assigned to again";
}

}  // namespace
