// SPDX-License-Identifier: MIT
#include <tovkit/util.h>

#include <fnmatch.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <string>
#include <type_traits>

#include "environment.h"
#include "scratch_dir.h"

namespace {

using tovkit::TempFile;

static_assert(!std::is_copy_constructible_v<TempFile> && !std::is_copy_assignable_v<TempFile>);

bool Exists(const std::string& path) {
  struct stat status = {};
  return stat(path.c_str(), &status) == 0;
}

void Touch(const std::string& path) {
  std::FILE* file = std::fopen(path.c_str(), "wb");
  ASSERT_NE(file, nullptr);
  std::fclose(file);
}

// Whether `name` is `before`, five digits, `after`.
bool HasFiveDigits(const std::string& name, const std::string& before, const std::string& after) {
  return fnmatch((before + "[0-9][0-9][0-9][0-9][0-9]" + after).c_str(), name.c_str(), 0) == 0;
}

std::string Pid() { return std::to_string(getpid()); }

TEST(TempFile, DirectoryIsTheFirstVariableThatIsSet) {
  struct Row {
    const char* tmpdir;
    const char* tmp;
    const char* temp;
    const char* tempdir;
    const char* directory;
  };
  const Row kTable[] = {
      {"/a", "/b", "/c", "/d", "/a/"},
      {nullptr, "/var/tmp", "/c", "/d", "/var/tmp/"},
      {nullptr, nullptr, "/c", "/d", "/c/"},
      {nullptr, nullptr, nullptr, "/d", "/d/"},
      {nullptr, nullptr, nullptr, nullptr, "/tmp/"},
      {"/a/", "/b", nullptr, nullptr, "/a/"},
      {"", "/b", "/c", "/d", "/"},
      {nullptr, "", "/c", "/d", "/"},
      {"rel\\", nullptr, nullptr, nullptr, "rel\\/"},
  };
  for (const Row& row : kTable) {
    const ScopedVariable tmpdir("TMPDIR", row.tmpdir);
    const ScopedVariable tmp("TMP", row.tmp);
    const ScopedVariable temp("TEMP", row.temp);
    const ScopedVariable tempdir("TEMPDIR", row.tempdir);
    EXPECT_EQ(TempFile::tempDirectory(), row.directory);
    TempFile file;
    file.makePath();
    EXPECT_EQ(std::string(file.path()).rfind(row.directory + Pid() + "_", 0), 0U) << file.path();
  }
}

TEST(TempFile, DefaultNameIsProcessIdAndFiveDigits) {
  EXPECT_TRUE(HasFiveDigits(TempFile().fileName(), Pid() + "_", ""));
}

TEST(TempFile, NameHoldsItsPartsInOrder) {
  TempFile file;
  file.setPrefix("scan");
  file.setSuffix("page1");
  file.setExtension("png");
  EXPECT_TRUE(HasFiveDigits(file.fileName(), "scan_" + Pid() + "_", "_page1.png"));
}

TEST(TempFile, NullPartLeavesTheEarlierOne) {
  TempFile file;
  file.setPrefix("p");
  file.setSuffix("s");
  file.setExtension("e");
  file.setPrefix(nullptr);
  file.setSuffix(nullptr);
  file.setExtension(nullptr);
  EXPECT_TRUE(HasFiveDigits(file.fileName(), "p_" + Pid() + "_", "_s.e"));
}

TEST(TempFile, AnEmptyPartTakesTheEarlierOneAway) {
  TempFile file;
  file.setPrefix("p");
  file.setPrefix("");
  EXPECT_TRUE(HasFiveDigits(file.fileName(), Pid() + "_", ""));
}

// The five digits that the generator returns when seeded with `seed`.
std::string Digits(std::time_t seed) {
  std::srand(static_cast<unsigned>(seed));
  std::string digits;
  for (int i = 0; i < 5; ++i) digits += static_cast<char>('0' + std::rand() % 10);
  return digits;
}

TEST(TempFile, DigitsComeFromTheGeneratorSeededWithTheSecond) {
  const std::time_t before = std::time(nullptr);
  const std::string name = TempFile().fileName();
  const std::time_t after = std::time(nullptr);
  bool found = false;
  for (std::time_t second = before; second <= after; ++second) found |= name == Pid() + "_" + Digits(second);
  EXPECT_TRUE(found) << name;
}

TEST(TempFile, NamesOfOneSecondAreEqualAndResetTheGenerator) {
  for (;;) {
    const std::time_t second = std::time(nullptr);
    const std::string first = TempFile().fileName();
    const int next = std::rand();
    const std::string again = TempFile().fileName();
    const int nextAgain = std::rand();
    if (std::time(nullptr) != second) continue;
    EXPECT_EQ(first, again);
    EXPECT_EQ(next, nextAgain);
    return;
  }
}

TEST(TempFile, NamesArePutDirectlyBehindTheGivenDirectoryWithoutASeparator) {
  TempFile file("/data/spool");
  file.makePath();
  EXPECT_EQ(std::string(file.path()).rfind("/data/spool" + Pid() + "_", 0), 0U) << file.path();
  TempFile bare("");
  bare.makePath();
  EXPECT_EQ(std::string(bare.path()).rfind(Pid() + "_", 0), 0U) << bare.path();
}

TEST(TempFile, NullDirectoryIsTheTemporaryDirectory) {
  TempFile file(nullptr);
  file.makePath();
  EXPECT_EQ(std::string(file.path()).rfind(TempFile::tempDirectory() + Pid(), 0), 0U) << file.path();
}

TEST(TempFile, PathIsMadeOnce) {
  TempFile file("/nowhere/");
  EXPECT_STREQ(file.path(), "");
  file.makePath();
  const std::string made = file.path();
  file.setPrefix("later");
  file.makePath();
  EXPECT_EQ(file.path(), made);
}

TEST(TempFile, MakingThePathCreatesNoFileWhichIsTheClientsPart) {
  const ScratchDir scratch;
  TempFile file((scratch.path() + "/").c_str());
  file.makePath();
  EXPECT_STRNE(file.path(), "");
  EXPECT_TRUE(std::filesystem::is_empty(scratch.path()));
}

TEST(TempFile, DestructionRemovesTheFileAtTheMadePath) {
  const ScratchDir scratch;
  std::string path;
  {
    TempFile file((scratch.path() + "/").c_str());
    file.makePath();
    path = file.path();
    Touch(path);
    ASSERT_TRUE(Exists(path));
  }
  EXPECT_FALSE(Exists(path));
}

TEST(TempFile, DestructionRemovesAnEmptyDirectoryOfThatName) {
  const ScratchDir scratch;
  std::string path;
  {
    TempFile file((scratch.path() + "/").c_str());
    file.makePath();
    path = file.path();
    ASSERT_EQ(mkdir(path.c_str(), 0755), 0);
  }
  EXPECT_FALSE(Exists(path));
}

TEST(TempFile, ARemovalThatFailsIsNotReported) {
  const ScratchDir scratch;
  std::string path;
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  {
    TempFile file((scratch.path() + "/").c_str());
    file.makePath();
    path = file.path();
    ASSERT_EQ(mkdir(path.c_str(), 0755), 0);
    Touch(path + "/inside");
  }
  EXPECT_EQ(testing::internal::GetCapturedStdout() + testing::internal::GetCapturedStderr(), "");
  EXPECT_TRUE(Exists(path + "/inside"));
}

TEST(TempFile, DestructionWithoutAPathOrAFileRemovesNothing) {
  const ScratchDir scratch;
  const std::string directory = scratch.path() + "/";
  Touch(directory + "kept");
  { TempFile never(directory.c_str()); }
  {
    TempFile unused(directory.c_str());
    unused.makePath();
  }
  EXPECT_TRUE(Exists(directory + "kept"));
}

TEST(TempFile, NamesOfAnyBytesWork) {
  const ScratchDir scratch;
  std::string path;
  {
    TempFile file((scratch.path() + "/\xff").c_str());
    file.setPrefix("\xfe");
    file.makePath();
    path = file.path();
    Touch(path);
    EXPECT_TRUE(Exists(path));
  }
  EXPECT_FALSE(Exists(path));
}

}  // namespace
