// SPDX-License-Identifier: MIT
#include <tovkit/util.h>

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <thread>

#include "scratch_dir.h"

namespace {

using tovkit::CopyFile;

class CopyFileTest : public testing::Test {
 protected:
  std::string Path(const std::string& name) const { return scratch_.path() + "/" + name; }

  void Write(const std::string& name, const std::string& content) const {
    std::ofstream(Path(name), std::ios::binary) << content;
  }

  // Nothing when there is no such file.
  std::optional<std::string> Read(const std::string& name) const {
    std::ifstream in(Path(name), std::ios::binary);
    if (!in) return std::nullopt;
    return std::string(std::istreambuf_iterator<char>(in), {});
  }

  void Copy(const std::string& source, const std::string& target) const {
    CopyFile(Path(source).c_str(), Path(target).c_str());
  }

  const ScratchDir scratch_;
};

TEST_F(CopyFileTest, CopiesTheBytesOfEverySizeAroundTheBlocks) {
  for (const std::size_t size : {0, 1, 4095, 4096, 4097, 8191, 8192, 8193, 65536, 1000003, (1 << 20) - 1,
                                 1 << 20, (1 << 20) + 1, 3 << 20}) {
    std::string content(size, '\0');
    for (std::size_t i = 0; i < size; ++i) content[i] = static_cast<char>(i * 31 + i / 4096);
    Write("source", content);
    Copy("source", "target");
    EXPECT_EQ(Read("target"), content) << size;
  }
}

TEST_F(CopyFileTest, EmptySourceCreatesAnEmptyTarget) {
  Write("source", "");
  Copy("source", "target");
  EXPECT_EQ(Read("target"), "");
}

TEST_F(CopyFileTest, ASourceThatCannotBeOpenedLeavesTheTargetUntouched) {
  Write("target", "kept");
  Copy("missing", "target");
  EXPECT_EQ(Read("target"), "kept");
  Copy("missing", "new");
  EXPECT_EQ(Read("new"), std::nullopt);
}

TEST_F(CopyFileTest, TheBytesOfTheSourceReplaceATargetWhichIsEmptiedFirst) {
  Write("source", "short");
  Write("target", std::string(10000, 'x'));
  Copy("source", "target");
  EXPECT_EQ(Read("target"), "short");
}

TEST_F(CopyFileTest, TargetThatCannotBeOpenedChangesNothing) {
  Write("source", "content");
  Copy("source", "missing/target");
  EXPECT_FALSE(std::filesystem::exists(Path("missing")));
  EXPECT_EQ(Read("source"), "content");
  Copy("source", "");  // the directory itself
  EXPECT_EQ(Read("source"), "content");
}

TEST_F(CopyFileTest, DirectoryAsSourceGivesAnEmptyTarget) {
  std::filesystem::create_directory(Path("directory"));
  Write("target", "old");
  Copy("directory", "target");
  EXPECT_EQ(Read("target"), "");
}

TEST_F(CopyFileTest, AFileCopiedOntoItselfBecomesEmpty) {
  Write("file", "content");
  Copy("file", "file");
  EXPECT_EQ(Read("file"), "");
}

TEST_F(CopyFileTest, NothingIsReportedOfAFailedWriteOrASourceThatCannotBeOpened) {
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  Write("source", "x");
  CopyFile(Path("source").c_str(), "/dev/full");
  Copy("no such file", "target");
  Copy("source", "no such folder/target");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(CopyFileTest, FailedWriteGoesUnnoticed) {
  Write("source", std::string(100000, 'x'));
  CopyFile(Path("source").c_str(), "/dev/full");
  EXPECT_EQ(Read("source"), std::string(100000, 'x'));
}

TEST_F(CopyFileTest, WriteThatStopsHalfwayGoesUnnoticed) {
  Write("source", std::string(100000, 'x'));
  const pid_t child = fork();
  if (child == 0) {
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit = {10000, 10000};
    setrlimit(RLIMIT_FSIZE, &limit);
    Copy("source", "target");
    _exit(0);
  }
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(Read("target"), std::string(10000, 'x'));
}

TEST_F(CopyFileTest, KernelFilesOfUnknownSizeAreCopied) {
  CopyFile("/proc/self/maps", Path("maps").c_str());
  const auto maps = Read("maps");
  ASSERT_TRUE(maps);
  EXPECT_NE(maps->find("libtovkit"), std::string::npos);
}

TEST_F(CopyFileTest, PipeIsReadToItsEndThroughShortWrites) {
  ASSERT_EQ(mkfifo(Path("pipe").c_str(), 0600), 0);
  std::thread writer([&] {
    std::ofstream out(Path("pipe"), std::ios::binary);
    for (int i = 0; i < 1000; ++i) out << "0123456789" << std::flush;
  });
  Copy("pipe", "target");
  writer.join();
  const auto content = Read("target");
  ASSERT_TRUE(content);
  EXPECT_EQ(content->size(), 10000U);
}

TEST_F(CopyFileTest, NamesOfAnyBytesWork) {
  Write("\xff\xfe", "content");
  Copy("\xff\xfe", "\xE5\xAE");
  EXPECT_EQ(Read("\xE5\xAE"), "content");
}

TEST_F(CopyFileTest, BackslashIsPartOfTheName) {
  Write("a\\b", "content");
  Copy("a\\b", "c\\d");
  EXPECT_EQ(Read("c\\d"), "content");
}

TEST_F(CopyFileTest, PermissionsAreNotCopied) {
  Write("source", "content");
  ASSERT_EQ(chmod(Path("source").c_str(), 0700), 0);
  Copy("source", "target");
  struct stat status = {};
  ASSERT_EQ(stat(Path("target").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0111, 0U);
  ASSERT_EQ(chmod(Path("target").c_str(), 0640), 0);
  Copy("source", "target");
  ASSERT_EQ(stat(Path("target").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0640U) << "a target that is there keeps its own";
}

TEST_F(CopyFileTest, NullEmptyAndEndlessNamesDoNothing) {
  Write("source", "content");
  const std::string endless(1 << 20, 'x');
  for (const char* bad : {static_cast<const char*>(nullptr), "", endless.c_str()}) {
    CopyFile(bad, Path("source").c_str());
    CopyFile(Path("source").c_str(), bad);
    CopyFile(bad, bad);
  }
  EXPECT_EQ(Read("source"), "content");
}

}  // namespace
