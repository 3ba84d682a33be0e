// SPDX-License-Identifier: MIT
// Folder: what names lead to below it, and files that come whole.
#include "jobs/folder.h"
#include "jobs/id_index.h"
#include "jobs/sha256.h"

#include "failing_call.h"
#include "scratch_files.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace {

namespace fs = std::filesystem;
using jobs::Folder;

class FolderTest : public ScratchFiles {};

TEST_F(FolderTest, TheSizeIsThatOfARegularFile) {
  Write("empty", "");
  Write("five", "12345");
  fs::create_directory(Path("folder"));
  Write("folder/three", "123");
  fs::create_symlink("five", Path("link"));
  fs::create_directory_symlink("folder", Path("inside"));
  fs::create_directory_symlink("/usr", Path("outside"));
  ASSERT_EQ(mkfifo(Path("pipe").c_str(), 0600), 0);
  const Folder folder(scratch_.path(), jobs::ErrorKind::kOutput);
  EXPECT_EQ(folder.SizeOf("empty"), 0);
  EXPECT_EQ(folder.SizeOf("five"), 5);
  EXPECT_EQ(folder.SizeOf("folder/three"), 3);
  EXPECT_EQ(folder.SizeOf("inside/three"), 3);
  for (const char* name : {"missing", "folder", "link", "pipe", "five/x", "outside/bin/env", "../x", "."}) {
    EXPECT_EQ(folder.SizeOf(name), -1) << name;
  }
}

TEST_F(FolderTest, NamesThatLeadNowhereAreToldApart) {
  const Folder folder(scratch_.path(), jobs::ErrorKind::kOutput);
  const auto refusal = [&folder](const std::string& name) {
    return FailureOf([&] { folder.CheckName(name); });
  };
  EXPECT_EQ(refusal(""), "'': the name is empty");
  EXPECT_EQ(refusal("/a"), "/a: the name is absolute");
  for (const char* name : {"a//b", "a/", "a//"}) {
    EXPECT_EQ(refusal(name), name + std::string(": the name has an empty component"));
  }
  for (const char* name : {".", "..", "./a", "../a", "a/.", "a/..", "a/../b", "a/./b"}) {
    EXPECT_EQ(refusal(name), name + std::string(": the name holds . or .."));
  }
  for (const char* name : {"a", "...", ".a", "a.", "..a", "a/b", "a b", "\xff"}) EXPECT_EQ(refusal(name), "");
  const std::string longest(NAME_MAX, 'n');
  EXPECT_EQ(refusal(longest), "");
  EXPECT_EQ(refusal("a/" + longest + "/b"), "");
  EXPECT_EQ(refusal(longest + "n"), longest + "n: the name is too long");
  EXPECT_EQ(refusal("a/" + longest + "n/b"), "a/" + longest + "n/b: the name is too long");
  std::string path;
  while (path.size() + 2 <= PATH_MAX - 1) path += "a/";
  path += path.size() < PATH_MAX - 1 ? "a" : "";
  if (path.back() == '/') path.pop_back();
  EXPECT_EQ(refusal(path), "");
  EXPECT_EQ(refusal(path + "b"), path + "b: the name is too long");
  EXPECT_EQ(refusal(path + "bb"), path + "bb: the name is too long");
  EXPECT_EQ(FailureOf([&] { folder.CheckName(std::string("a\0b", 3)); }).substr(0, 1), "a");
}

TEST_F(FolderTest, AFolderThatIsNotThereFailsWhenItIsUsed) {
  const Folder folder(Path("none"), jobs::ErrorKind::kOutput);
  const std::string expected = Path("none") + ": cannot open the folder: No such file or directory";
  EXPECT_EQ(FailureOf([&] {
              errno = EIO;  // of another call
              folder.Check();
            }),
            expected);
  EXPECT_EQ(FailureOf([&] { (void)folder.OpenFile("a"); }), expected);
  EXPECT_EQ(folder.SizeOf("a"), -1);
  Write("file", "");
  EXPECT_EQ(FailureOf([&] { Folder(Path("file"), jobs::ErrorKind::kOutput).Check(); }),
            Path("file") + ": cannot open the folder: Not a directory");
  EXPECT_EQ(FailureOf([&] { Folder(scratch_.path(), jobs::ErrorKind::kOutput).Check(); }), "");
}

TEST_F(FolderTest, OnlyRegularFilesBelowAreOpened) {
  Write("five", "12345");
  fs::create_symlink("five", Path("link"));
  fs::create_symlink("/etc/passwd", Path("away"));
  fs::create_directory(Path("folder"));
  ASSERT_EQ(mkfifo(Path("pipe").c_str(), 0600), 0);
  const Folder folder(scratch_.path(), jobs::ErrorKind::kInput);
  for (const char* name : {"five", "link"}) {
    const jobs::OpenDescriptor file = folder.OpenFile(name);
    char text[9] = {};
    EXPECT_EQ(read(file.get(), text, sizeof text), 5) << name;
    EXPECT_STREQ(text, "12345");
    EXPECT_EQ(fcntl(file.get(), F_GETFD), FD_CLOEXEC);
  }
  const auto failure = [&folder](const char* name) {
    return FailureOf([&] { (void)folder.OpenFile(name); });
  };
  EXPECT_EQ(failure("away"), "away: leads out of the folder");
  EXPECT_EQ(failure("folder"), "folder: no regular file");
  EXPECT_EQ(failure("pipe"), "pipe: no regular file");
  EXPECT_EQ(failure("none"), "none: cannot open the file: No such file or directory");
  EXPECT_EQ(failure("five/x"), "five/x: cannot open the file: Not a directory");
  EXPECT_EQ(failure("../five"), "../five: the name holds . or ..");
}

TEST_F(FolderTest, FilesComeWithTheFoldersOnTheirWay) {
  const Folder folder(scratch_.path(), jobs::ErrorKind::kOutput);
  const std::string large(300000, 'x');
  for (const char* name : {"a", "b/c", "d/e/f/g", "d/e/h"}) {
    folder.WriteFile(name, name);
    EXPECT_EQ(Read(name), name);
    folder.WriteFile(name, large);
    EXPECT_EQ(Read(name), large) << name;
    folder.WriteFile(name, "");
    EXPECT_EQ(folder.SizeOf(name), 0);
  }
  int files = 0;
  for (const auto& entry : fs::recursive_directory_iterator(scratch_.path())) files += !entry.is_directory();
  EXPECT_EQ(files, 4) << "and nothing beside them";
}

TEST_F(FolderTest, AFileKeepsItsModeAndANewOneHasTheUsualOne) {
  const mode_t mask = umask(0);
  umask(mask);
  const Folder folder(scratch_.path(), jobs::ErrorKind::kOutput);
  const auto mode = [this](const char* name) {
    struct stat status = {};
    EXPECT_EQ(stat(Path(name).c_str(), &status), 0);
    return status.st_mode & 07777;
  };
  folder.WriteFile("new", "1");
  EXPECT_EQ(mode("new"), 0666 & ~mask);
  folder.WriteFile("a/b/new", "1");
  EXPECT_EQ(mode("a"), 0777 & ~mask);
  EXPECT_EQ(mode("a/b"), 0777 & ~mask);
  chmod(Path("new").c_str(), 0640);
  folder.WriteFile("new", "2");
  EXPECT_EQ(mode("new"), 0640u);
  EXPECT_EQ(Read("new"), "2");
}

TEST_F(FolderTest, WhatStandsThereAndIsNoFileStays) {
  fs::create_directory(Path("folder"));
  Write("file", "kept");
  fs::create_symlink("file", Path("link"));
  fs::create_directory_symlink("/tmp", Path("away"));
  const Folder folder(scratch_.path(), jobs::ErrorKind::kOutput);
  const auto failure = [&folder](const char* name) {
    return FailureOf([&] { folder.WriteFile(name, "new"); });
  };
  EXPECT_EQ(failure("folder"), "folder: something that is no regular file stands there");
  EXPECT_EQ(failure("link"), "link: something that is no regular file stands there");
  EXPECT_EQ(failure("file/a"), "file/a: cannot open its folder: Not a directory");
  EXPECT_EQ(failure("file/a/b"), "file/a/b: cannot open its folder: Not a directory");
  EXPECT_EQ(failure("away/a"), "away/a: leads out of the folder");
  EXPECT_EQ(failure("away/tovkit-none/a"), "away/tovkit-none/a: leads out of the folder");
  EXPECT_EQ(failure("a/../b"), "a/../b: the name holds . or ..");
  EXPECT_EQ(Read("file"), "kept");
  EXPECT_FALSE(fs::exists("/tmp/tovkit-none"));
}

// Runs with standard input closed, so that the next file is descriptor 0, which is as good as any.
template <typename Action>
void WithoutInput(Action action) {
  const int input = fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3);
  close(STDIN_FILENO);
  action();
  EXPECT_EQ(fcntl(STDIN_FILENO, F_GETFD), -1) << "it was closed again";
  dup2(input, STDIN_FILENO);
  close(input);
}

TEST_F(FolderTest, StandardInputMayBeClosed) {
  Write("file", "kept");
  WithoutInput([] {
    jobs::IdIndex index;
    jobs::IdIndex::Entry entry = index.Find("id");
    entry.line = 7;
    index.Store(entry);
    EXPECT_EQ(index.Find("id").line, 7u);
  });
  WithoutInput([this] {
    const Folder folder(scratch_.path(), jobs::ErrorKind::kOutput);
    EXPECT_EQ(FailureOf([&] { folder.Check(); }), "");
    EXPECT_EQ(folder.SizeOf("file"), 4);
  });
  const Folder folder(scratch_.path(), jobs::ErrorKind::kOutput);
  WithoutInput([&] { EXPECT_EQ(folder.SizeOf("file"), 4); });
  WithoutInput([&] { EXPECT_EQ(folder.OpenFile("file").get(), 0); });
  WithoutInput([&] { folder.WriteFile("new", "1"); });
  WithoutInput([&] { folder.WriteFile("a/b/c", "12"); });
  WithoutInput([&] { folder.WriteFile("a/b/c", "123"); });
  EXPECT_EQ(Read("new"), "1");
  EXPECT_EQ(Read("a/b/c"), "123");
}

// What holds with the kernel's own resolution of names.
void UseAFolder(const std::string& path) {
  const Folder folder(path, jobs::ErrorKind::kOutput);
  const auto failure = [](auto action) {
    try {
      action();
      return std::string();
    } catch (const jobs::Error& e) {
      return std::string(e.what());
    }
  };
  folder.WriteFile("file", "12345");
  folder.WriteFile("a/b/c", "123");
  folder.WriteFile("a/b/c", "1234");
  EXPECT_EQ(folder.SizeOf("file"), 5);
  EXPECT_EQ(folder.SizeOf("a/b/c"), 4);
  EXPECT_EQ(folder.SizeOf("a/b"), -1);
  EXPECT_EQ(folder.SizeOf("none"), -1);
  EXPECT_EQ(folder.SizeOf("a/none/c"), -1);
  EXPECT_EQ(failure([&] { (void)folder.OpenFile("a/b/c"); }), "");
  EXPECT_EQ(failure([&] { (void)folder.OpenFile("a/b"); }), "a/b: no regular file");
  EXPECT_EQ(failure([&] { (void)folder.OpenFile("a/none/c"); }),
            "a/none/c: cannot open the file: No such file or directory");
  EXPECT_EQ(failure([&] { folder.WriteFile("file/x", ""); }),
            "file/x: cannot open its folder: Not a directory");
  // No link on the way is followed, wherever it leads.
  for (const char* name : {"inside/c", "outside/env", "a/up/file"}) {
    EXPECT_NE(failure([&] { (void)folder.OpenFile(name); }), "") << name;
    EXPECT_NE(failure([&] { folder.WriteFile(name, "bad"); }), "") << name;
    EXPECT_EQ(folder.SizeOf(name), -1) << name;
  }
  EXPECT_NE(failure([&] { (void)folder.OpenFile("link"); }), "") << "nor at the end";
}

TEST_F(FolderTest, WithoutTheKernelsResolutionNoLinkIsFollowed) {
  fs::create_directories(Path("a/b"));
  fs::create_symlink("file", Path("link"));
  fs::create_directory_symlink("a/b", Path("inside"));
  fs::create_directory_symlink("/usr/bin", Path("outside"));
  fs::create_directory_symlink("..", Path("a/up"));
  for (const int error : {ENOSYS, EPERM}) {
    WithoutCall({SYS_openat2, error}, [this] {
      UseAFolder(scratch_.path());
      WithoutInput(
          [this] { EXPECT_EQ(Folder(scratch_.path(), jobs::ErrorKind::kOutput).SizeOf("a/b/c"), 4); });
    });
    EXPECT_EQ(Read("a/b/c"), "1234");
    EXPECT_EQ(Read("file"), "12345");
    EXPECT_FALSE(fs::exists("/usr/bin/bad"));
  }
}

// Another failure of the call is one.
TEST_F(FolderTest, WhatTheKernelRefusesIsNotTriedAnotherWay) {
  Write("file", "12345");
  WithoutCall({SYS_openat2, EMFILE}, [this] {
    const Folder folder(scratch_.path(), jobs::ErrorKind::kOutput);
    EXPECT_EQ(folder.SizeOf("file"), -1);
    EXPECT_EQ(FailureOf([&] { (void)folder.OpenFile("file"); }),
              "file: cannot open the file: Too many open files");
    EXPECT_EQ(FailureOf([&] { folder.WriteFile("a/b", ""); }),
              "a/b: cannot open its folder: Too many open files");
  });
  EXPECT_FALSE(fs::exists(Path("a")));
}

TEST_F(FolderTest, AFolderThatCannotBeMadeIsTold) {
  const Folder folder(scratch_.path(), jobs::ErrorKind::kOutput);
  WithoutCall({SYS_mkdirat, EROFS}, [&] {
    EXPECT_EQ(FailureOf([&] { folder.WriteFile("a/b", ""); }),
              "a/b: cannot open its folder: Read-only file system");
  });
  WithoutCall({SYS_write, ENOSPC, 0, 0}, [&] {
    const std::string failure = FailureOf([&] { folder.WriteFile("c", "text"); });
    if (failure != "c: cannot write: No space left on device") _exit(3);
  });
  EXPECT_TRUE(fs::is_empty(scratch_.path()));
}

// A file system without nameless files: the index has a name for a moment.
TEST(IdIndexFile, HasANameOnlyWhereItMust) {
  const ScratchDir scratch;
  const char* const before = std::getenv("TMPDIR");
  const std::string kept = before == nullptr ? "" : before;
  setenv("TMPDIR", scratch.path().c_str(), 1);
  constexpr std::uint32_t kNameless = O_TMPFILE & ~O_DIRECTORY;
  const auto use = [&scratch] {
    jobs::IdIndex index;
    for (std::uint64_t i = 1; i <= 5000; ++i) {
      jobs::IdIndex::Entry entry = index.Find("id" + std::to_string(i));
      EXPECT_EQ(entry.line, 0u);
      entry.line = i;
      index.Store(entry);
    }
    for (std::uint64_t i = 1; i <= 5000; ++i) EXPECT_EQ(index.Find("id" + std::to_string(i)).line, i);
    EXPECT_TRUE(fs::is_empty(scratch.path()));
  };
  use();
  WithoutCall({SYS_openat, EOPNOTSUPP, 2, kNameless}, use);
  WithoutCall({SYS_openat, EOPNOTSUPP, 2, kNameless}, [&use] { WithoutInput(use); });
  const auto failure = [] {
    try {
      jobs::IdIndex index;
      return std::string();
    } catch (const jobs::Error& e) {
      return std::string(e.what());
    }
  };
  WithoutCall({SYS_openat, ENFILE, 2, O_RDWR},
              [&] { EXPECT_EQ(failure(), "temporary file: cannot be used: Too many open files in system"); });
  WithoutCall({SYS_ftruncate, ENOSPC},
              [&] { EXPECT_EQ(failure(), "temporary file: cannot be used: No space left on device"); });
  EXPECT_TRUE(fs::is_empty(scratch.path()));
  for (const long call : {SYS_pread64, SYS_pwrite64}) {
    WithoutCall({call, EIO}, [] {
      jobs::IdIndex index;
      jobs::IdIndex::Entry entry = {};
      entry.fingerprint = {1, 2};
      EXPECT_THROW(index.Store(entry), jobs::Error);
    });
  }
  before == nullptr ? unsetenv("TMPDIR") : setenv("TMPDIR", kept.c_str(), 1);
}

// An entry stands in a place as soon as any bit of its hash is set: here the halves have none in common.
TEST(IdIndexFile, AnIdWhoseHashHasHalvesWithoutACommonBitKeepsItsPlace) {
  const std::string rare = "56802339";
  const std::array<std::uint64_t, 2> hash = jobs::PackHash(jobs::Sha256(rare));
  ASSERT_EQ(hash[0] & hash[1], 0u);
  jobs::IdIndex index;
  jobs::IdIndex::Entry entry = index.Find(rare);
  entry.line = 7;
  index.Store(entry);
  // The lowest bits choose the place.
  int neighbors = 0;
  for (int i = 0; neighbors < 2; ++i) {
    const std::string id = "id" + std::to_string(i);
    if ((jobs::PackHash(jobs::Sha256(id))[0] ^ hash[0]) % 4096 != 0) continue;
    ++neighbors;
    index.Store(index.Find(id));
  }
  EXPECT_EQ(index.Find(rare).line, 7u);
}

TEST(IdIndexFile, AHashHas32DigitsAndMore) {
  const std::array<std::uint64_t, 2> hash = {0x0123456789abcdef, 0xfedcba9876543210};
  EXPECT_EQ(jobs::PackHash("0123456789abcdeffedcba9876543210"), hash);
  EXPECT_EQ(jobs::PackHash("0123456789abcdeffedcba98765432107"), hash) << "what is behind does not count";
  EXPECT_EQ(jobs::PackHash("0123456789abcdeffedcba987654321"), (std::array<std::uint64_t, 2>{}));
}

}  // namespace
