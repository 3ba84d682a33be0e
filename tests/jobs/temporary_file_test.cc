// SPDX-License-Identifier: MIT
// TemporaryFile: files that come whole, with and without a name of their own until then.
#include "jobs/temporary_file.h"

#include "failing_call.h"
#include "scratch_files.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using jobs::TemporaryFile;

class TemporaryFiles : public ScratchFiles {
 protected:
  std::vector<std::string> Names() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(scratch_.path()))
      names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
  }
  // The name of temporary file number N of the target "t".
  static std::string Name(int number) {
    static const std::string prefix = [] {
      const ScratchDir scratch;
      std::string name;
      WithoutNames([&] {
        const TemporaryFile file(scratch.path() + "/t", 0600);
        name = fs::path(file.path()).filename();
        std::ofstream(scratch.path() + "/name") << name.substr(0, name.size() - 1);
      });
      std::ifstream(scratch.path() + "/name") >> name;
      return name;
    }();
    return prefix + std::to_string(number);
  }
  // On a file system that has no files without a name.
  static void WithoutNames(const std::function<void()>& body) {
    constexpr std::uint32_t kNameless = O_TMPFILE & ~O_DIRECTORY;
    WithoutCall({SYS_openat, EOPNOTSUPP, 2, kNameless}, body);
  }
  static void InBothWays(const std::function<void()>& body) {
    body();
    WithoutNames(body);
  }
  static void Fill(const TemporaryFile& file, const std::string& text) {
    ASSERT_GE(file.fd(), 0);
    EXPECT_EQ(write(file.fd(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
  }
};

TEST_F(TemporaryFiles, AFileTakesTheTargetsPlaceOrVanishes) {
  InBothWays([this] {
    {
      const TemporaryFile file(Path("t"), 0640);
      Fill(file, "lost");
      EXPECT_FALSE(fs::exists(Path("t")));
      EXPECT_EQ(fcntl(file.fd(), F_GETFD), FD_CLOEXEC);
    }
    EXPECT_TRUE(Names().empty());
    for (const mode_t mode : {0640U, 0600U, 0666U, 0751U}) {
      TemporaryFile file(Path("t"), mode);
      Fill(file, std::to_string(mode));
      EXPECT_TRUE(file.Replace());
      EXPECT_EQ(Read("t"), std::to_string(mode));
      struct stat info = {};
      EXPECT_EQ(stat(Path("t").c_str(), &info), 0);
      EXPECT_EQ(info.st_mode & 07777, mode) << "whatever the umask is";
    }
    EXPECT_EQ(Names(), std::vector<std::string>{"t"});
    fs::remove(Path("t"));
  });
}

// The name says whose it is: the hash is FNV-1a of the target's name, on every machine that shares the
// folder.
TEST_F(TemporaryFiles, TheNameFollowsFromTheTargets) {
  EXPECT_EQ(Name(7), ".tovkit-af63e94c860202a3-7");
  WithoutNames([this] {
    const TemporaryFile file(Path("foobar"), 0600);
    EXPECT_EQ(Names(), std::vector<std::string>{".tovkit-85944171f73967e8-0"});
  });
}

TEST_F(TemporaryFiles, ItsPathIsOpenToThisProcess) {
  InBothWays([this] {
    TemporaryFile file(Path("t"), 0600);
    std::ofstream(file.path()) << "by path";
    EXPECT_TRUE(file.Replace());
    EXPECT_EQ(Read("t"), "by path");
    fs::remove(Path("t"));
  });
}

TEST_F(TemporaryFiles, ALinkIsReplacedAndWhatItLeadsToStays) {
  Write("other", "kept");
  InBothWays([this] {
    fs::create_symlink("other", Path("t"));
    TemporaryFile file(Path("t"), 0600);
    Fill(file, "new");
    EXPECT_TRUE(file.Replace());
    EXPECT_FALSE(fs::is_symlink(Path("t")));
    EXPECT_EQ(Read("t"), "new");
    EXPECT_EQ(Read("other"), "kept");
    fs::remove(Path("t"));
  });
}

TEST_F(TemporaryFiles, WhatCannotBeReplacedStaysAndNothingBesideIt) {
  fs::create_directories(Path("t/inside"));
  InBothWays([this] {
    TemporaryFile file(Path("t"), 0600);
    EXPECT_FALSE(file.Replace());
    EXPECT_EQ(errno, EISDIR);
  });
  EXPECT_EQ(Names(), std::vector<std::string>{"t"});
  EXPECT_TRUE(fs::exists(Path("t/inside")));
  InBothWays([this] {
    TemporaryFile none(Path("none/t"), 0600);
    EXPECT_EQ(none.fd(), -1);
  });
}

TEST_F(TemporaryFiles, ABareNameIsInTheWorkingDirectory) {
  InBothWays([this] {
    const fs::path before = fs::current_path();
    fs::current_path(scratch_.path());
    {
      TemporaryFile file("t", 0600);
      Fill(file, "here");
      EXPECT_TRUE(file.Replace());
    }
    fs::current_path(before);
    EXPECT_EQ(Read("t"), "here");
    EXPECT_EQ(Names(), std::vector<std::string>{"t"});
    fs::remove(Path("t"));
  });
}

// What killed processes have left is cleared away: of the first sixteen, and on without a gap.
TEST_F(TemporaryFiles, AbandonedFilesAreClearedAway) {
  const auto leave = [this] {
    for (const int number : {0, 1, 2, 14, 15, 16, 17}) Write(Name(number), "abandoned");
    Write(Name(19), "beyond a gap");
    Write("other", "kept");
  };
  InBothWays([&] {
    leave();
    { const TemporaryFile file(Path("t"), 0600); }
    EXPECT_EQ(Names(), (std::vector<std::string>{Name(19), "other"}));
    leave();
    TemporaryFile::RemoveAbandoned(Path("t"));
    EXPECT_EQ(Names(), (std::vector<std::string>{Name(19), "other"}));
    fs::remove(Path(Name(19)));
    fs::remove(Path("other"));
  });
}

// Where no name is needed only the first is looked at, and all from there on when it stands.
TEST_F(TemporaryFiles, NamesAreLookedForWhereOneIsNeeded) {
  Write(Name(5), "abandoned");
  { const TemporaryFile file(Path("t"), 0600); }
  EXPECT_EQ(Names(), std::vector<std::string>{Name(5)});
  WithoutNames([this] {
    const TemporaryFile file(Path("t"), 0600);
    EXPECT_EQ(Names(), std::vector<std::string>{Name(0)});
  });
  Write(Name(15), "abandoned");
  TemporaryFile::RemoveAbandoned(Path("t"));
  EXPECT_TRUE(Names().empty()) << "the sixteenth";
  Write(Name(16), "abandoned");
  TemporaryFile::RemoveAbandoned(Path("t"));
  EXPECT_EQ(Names(), std::vector<std::string>{Name(16)}) << "the seventeenth";
}

TEST_F(TemporaryFiles, FilesThatAreInUseAndOtherThingsStay) {
  InBothWays([this] {
    Write(Name(0), "in use");
    const int used = open(Path(Name(0)).c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(flock(used, LOCK_SH), 0);
    EXPECT_EQ(mkfifo(Path(Name(1)).c_str(), 0600), 0);
    fs::create_symlink(Name(0), Path(Name(2)));
    fs::create_directory(Path(Name(3)));
    const std::vector<std::string> all = {Name(0), Name(1), Name(2), Name(3)};
    {
      const TemporaryFile first(Path("t"), 0600), second(Path("t"), 0600);
      EXPECT_GE(first.fd(), 0);
      EXPECT_GE(second.fd(), 0);
      EXPECT_NE(first.path(), second.path());
    }
    EXPECT_EQ(Names(), all);
    TemporaryFile::RemoveAbandoned(Path("t"));
    EXPECT_EQ(Names(), all);
    // One that needs a name to replace the target takes the next that is free.
    Write("t", "old");
    TemporaryFile file(Path("t"), 0600);
    Fill(file, "new");
    EXPECT_TRUE(file.Replace());
    EXPECT_EQ(Read("t"), "new");
    fs::remove(Path("t"));
    EXPECT_EQ(Names(), all);
    close(used);
    for (const std::string& name : all) fs::remove(Path(name));
  });
}

// A file of this process is in use as well.
TEST_F(TemporaryFiles, SeveralForOneTargetDoNotDisturbEachOther) {
  InBothWays([this] {
    TemporaryFile first(Path("t"), 0600), second(Path("t"), 0600), third(Path("t"), 0600);
    Fill(first, "1");
    Fill(second, "2");
    EXPECT_TRUE(second.Replace());
    EXPECT_EQ(Read("t"), "2");
    EXPECT_TRUE(first.Replace());
    EXPECT_EQ(Read("t"), "1");
    fs::remove(Path("t"));
  });
  EXPECT_TRUE(Names().empty());
}

TEST_F(TemporaryFiles, AThousandAtATimeAreAllThatThereMayBe) {
  for (int number = 0; number < 1000; ++number) fs::create_directory(Path(Name(number)));
  Write("t", "old");
  InBothWays([this] {
    TemporaryFile file(Path("t"), 0600);
    EXPECT_TRUE(file.fd() < 0 || !file.Replace());
    EXPECT_EQ(errno, EEXIST);
    EXPECT_EQ(Read("t"), "old");
  });
  fs::remove(Path(Name(999)));
  InBothWays([this] {
    TemporaryFile file(Path("t"), 0600);
    Fill(file, "new");
    EXPECT_TRUE(file.Replace());
    EXPECT_EQ(Read("t"), "new");
  });
}

TEST_F(TemporaryFiles, StandardInputMayBeClosed) {
  InBothWays([this] {
    const int input = fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3);
    Write(Name(0), "abandoned");
    close(STDIN_FILENO);
    {
      TemporaryFile file(Path("t"), 0600);
      EXPECT_EQ(file.fd(), 0);
      Fill(file, "zero");
      EXPECT_TRUE(file.Replace());
    }
    EXPECT_EQ(fcntl(STDIN_FILENO, F_GETFD), -1) << "it was closed again";
    dup2(input, STDIN_FILENO);
    close(input);
    EXPECT_EQ(Read("t"), "zero");
    EXPECT_EQ(Names(), std::vector<std::string>{"t"});
    fs::remove(Path("t"));
  });
}

}  // namespace
