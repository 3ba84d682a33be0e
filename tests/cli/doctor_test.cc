// SPDX-License-Identifier: MIT
// tovkit doctor: what it looks at, and what it says when something is missing.
#include <tovkit/imaging.h>
#include <tovkit/json.h>
#include <tovmx/codec.h>

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "image_support.h"
#include "run_command.h"
#include "scratch_dir.h"

namespace {

using tovkit::Json;

TEST(Doctor, JsonHasTheOrderOfTheTable) {
  const std::string table = RunCommand({"doctor"}).out;
  const std::string json = RunCommand({"doctor", "--json"}).out;
  const auto report = Json::Parse(json.data(), static_cast<unsigned>(json.size()), nullptr);
  ASSERT_TRUE(report);
  const auto findings = report->GetMember("findings");
  ASSERT_GT(findings->Size(), 5U);
  std::size_t at = 0;
  for (std::uint32_t i = 0; i < findings->Size(); ++i) {
    const std::string check = findings->GetAt(static_cast<int>(i))->GetMemberString("check", "");
    at = table.find("  " + check + " ", at);
    ASSERT_NE(at, std::string::npos) << check;
  }
}

struct Line {
  std::string state;
  std::string text;
  std::string advice;
};

struct Visit {
  CommandResult result;
  std::map<std::string, Line> lines;  // the first of each name
  bool ok = false;
};

Visit Doctor(const Environment& environment = {}) {
  Visit visit;
  visit.result = RunCommand({"doctor", "--json"}, "", environment);
  const std::string& out = visit.result.out;
  const auto report = Json::Parse(out.data(), static_cast<unsigned>(out.size()), nullptr);
  if (!report) {
    ADD_FAILURE() << out << visit.result.err;
    return visit;
  }
  visit.ok = report->GetMemberBool("ok", false);
  const auto findings = report->GetMember("findings");
  for (std::uint32_t i = 0; i < findings->Size(); ++i) {
    const auto finding = findings->GetAt(static_cast<std::int32_t>(i));
    visit.lines.try_emplace(finding->GetMemberString("check", ""),
                            Line{finding->GetMemberString("state", ""), finding->GetMemberString("text", ""),
                                 finding->GetMemberString("advice", "")});
  }
  return visit;
}

TEST(Doctor, LooksAtEverything) {
  const Visit visit = Doctor({{"LC_ALL", "C.UTF-8"}});
  EXPECT_EQ(visit.result.status, 0) << visit.result.out;
  EXPECT_TRUE(visit.ok);
  for (const char* check : {"font for Latin",
                            "font for Chinese",
                            "font for Japanese",
                            "font for Korean",
                            "font for Arabic",
                            "font for Hebrew",
                            "font for Devanagari",
                            "font for Thai",
                            "font for emoji",
                            "SimSun",
                            "Arial",
                            "Times New Roman",
                            "PNG",
                            "JPEG",
                            "TIFF",
                            "WebP",
                            "JPEG 2000",
                            "BMP",
                            "GIF",
                            "vector level",
                            "locale",
                            "codeset",
                            "temporary directory",
                            "shared memory",
                            "segments left behind",
                            "/proc",
                            "tovkit",
                            "library"}) {
    EXPECT_EQ(visit.lines.count(check), 1U) << check;
  }
  EXPECT_EQ(visit.lines.at("font for Latin").state, "ok");
  EXPECT_EQ(visit.lines.at("PNG").text, "there and back, exact");
  for (const char* codec : {"PNG", "JPEG", "TIFF", "WebP", "JPEG 2000", "BMP", "GIF"}) {
    EXPECT_EQ(visit.lines.at(codec).state, "ok") << codec << ": " << visit.lines.at(codec).text;
  }
  EXPECT_EQ(visit.lines.at("codeset").text, "UTF-8");
}

// How far the format takes a small smooth picture from itself, in the farthest color of any pixel.
int LostBy(CoreImageFormat format) {
  CoreDib picture;
  EXPECT_TRUE(picture.Create(16, 16, 24));
  for (int y = 0; y < 16; ++y) {
    for (int x = 0; x < 16; ++x) {
      const int colors[] = {4 * (x + y), 8 * y + 60, 8 * x + 60};
      for (int c = 0; c < 3; ++c) picture.GetRow(y)[3 * x + c] = static_cast<std::uint8_t>(colors[c]);
    }
  }
  CoreMemoryOutputStream bytes;
  EXPECT_NE(tovkit::ImageEncode(&picture, format, &bytes), 0);
  CoreMemoryInputStream in(bytes.GetData(), bytes.GetSize());
  const std::unique_ptr<CoreDib> back(tovkit::ImageDecode(&in));
  int lost = 0;
  while (image::Difference(picture, *back, lost) != "") ++lost;
  return lost;
}

TEST(Doctor, TellsHowFarAFormatIsOff) {
  const Visit visit = Doctor();
  int lossy = 0;
  for (const CoreImageFormat format : image::kWritable) {
    const int lost = LostBy(format);
    lossy += lost > 0 ? 1 : 0;
    EXPECT_EQ(
        visit.lines.at(CoreImageFormatName(format)).text,
        lost == 0 ? "there and back, exact" : "there and back, off by " + std::to_string(lost) + " of 255");
  }
  EXPECT_GT(lossy, 0);
  EXPECT_EQ(visit.lines.at("GIF").text, "read");
}

TEST(Doctor, WhatIsAsItShouldBeNeedsNoAdvice) {
  const Visit visit = Doctor({{"LC_ALL", "C.UTF-8"}});
  for (const auto& [check, line] : visit.lines) {
    if (line.state == "ok") {
      EXPECT_EQ(line.advice, "") << check;
    } else {
      EXPECT_NE(line.advice, "") << check;
    }
  }
  EXPECT_EQ(visit.lines.at("Arial").state, "ok");
  EXPECT_EQ(visit.lines.at("SimSun").text, "AR PL UMing CN stands in for it");
  EXPECT_EQ(visit.lines.at("temporary directory").state, "ok");
}

TEST(Doctor, PeopleGetALineForEach) {
  const CommandResult result = RunCommand({"doctor"}, "", {{"LC_ALL", "C.UTF-8"}});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out.rfind("ok       font for Latin        ", 0), 0U) << result.out;
  EXPECT_EQ(result.out.find('\033'), std::string::npos);
}

TEST(Doctor, WithoutFontsItFailsAndNamesThePackage) {
  const ScratchDir dir;
  std::ofstream(dir.path() + "/fonts.conf")
      << "<?xml version=\"1.0\"?><!DOCTYPE fontconfig SYSTEM \"urn:fontconfig:fonts.dtd\"><fontconfig><dir>"
      << dir.path() << "/none</dir></fontconfig>";
  const Visit visit = Doctor({{"FONTCONFIG_FILE", dir.path() + "/fonts.conf"}});
  EXPECT_EQ(visit.result.status, 1);
  EXPECT_FALSE(visit.ok);
  EXPECT_EQ(visit.lines.at("font for Latin").state, "failed");
  EXPECT_EQ(visit.lines.at("font for Latin").advice, "apt install fonts-dejavu-core");
  EXPECT_EQ(visit.lines.at("SimSun").state, "failed");
}

TEST(Doctor, AScriptWithoutAFontIsAWarningWithItsPackage) {
  const ScratchDir dir;
  std::ofstream(dir.path() + "/fonts.conf")
      << "<?xml version=\"1.0\"?><!DOCTYPE fontconfig SYSTEM \"urn:fontconfig:fonts.dtd\"><fontconfig>"
         "<dir>/usr/share/fonts/truetype/dejavu</dir><cachedir>"
      << dir.path() << "</cachedir></fontconfig>";
  const Visit visit = Doctor({{"FONTCONFIG_FILE", dir.path() + "/fonts.conf"}, {"LC_ALL", "C.UTF-8"}});
  EXPECT_EQ(visit.result.status, 0);
  EXPECT_EQ(visit.lines.at("font for Latin").text.rfind("DejaVu ", 0), 0U);
  EXPECT_EQ(visit.lines.at("font for Chinese").state, "warning");
  EXPECT_EQ(visit.lines.at("font for Chinese").advice, "apt install fonts-arphic-uming");
  EXPECT_EQ(visit.lines.at("SimSun").state, "warning");
  EXPECT_EQ(visit.lines.at("Arial").state, "warning");
  EXPECT_NE(visit.lines.at("Arial").text.find(" stands in for it"), std::string::npos);
  EXPECT_EQ(visit.lines.at("Arial").advice,
            "apt install fonts-liberation for Liberation Sans, which is closer");
}

TEST(Doctor, AnUnknownLocaleAndALowerVectorLevelAreWarnings) {
  const Visit visit = Doctor({{"LC_ALL", "xx_YY.UTF-8"}, {"TOVKIT_SIMD", "scalar"}});
  EXPECT_EQ(visit.lines.at("locale").state, "warning");
  EXPECT_EQ(visit.lines.at("locale").text, "LC_ALL=xx_YY.UTF-8 is not installed");
  const std::string level = visit.lines.at("vector level").text;
  EXPECT_EQ(level.rfind("scalar", 0), 0U) << level;
  if (__builtin_cpu_supports("avx2") != 0) {
    EXPECT_EQ(visit.lines.at("vector level").state, "warning");
  }
}

TEST(Doctor, ATemporaryDirectoryThatIsNotThereFails) {
  const Visit visit = Doctor({{"TMPDIR", "/no/such/folder"}});
  EXPECT_EQ(visit.result.status, 1);
  EXPECT_EQ(visit.lines.at("temporary directory").state, "failed");
  EXPECT_EQ(visit.lines.at("temporary directory").text, "/no/such/folder: No such file or directory");
}

TEST(Doctor, ASegmentWhoseMakerIsGoneIsToldWithItsRemoval) {
  int pipeEnds[2];
  ASSERT_EQ(pipe(pipeEnds), 0);
  const pid_t maker = fork();
  if (maker == 0) {
    const int made = shmget(IPC_PRIVATE, 4096, IPC_CREAT | 0600);
    _exit(write(pipeEnds[1], &made, sizeof made) == sizeof made ? 0 : 1);
  }
  waitpid(maker, nullptr, 0);
  int id = -1;
  ASSERT_EQ(read(pipeEnds[0], &id, sizeof id), static_cast<ssize_t>(sizeof id));
  close(pipeEnds[0]);
  close(pipeEnds[1]);
  ASSERT_GE(id, 0);
  const Visit visit = Doctor();
  shmctl(id, IPC_RMID, nullptr);
  const Line& line = visit.lines.at("segments left behind");
  EXPECT_EQ(line.state, "warning");
  EXPECT_NE(line.advice.find("ipcrm"), std::string::npos) << line.advice;
  EXPECT_NE(line.advice.find(" -m " + std::to_string(id)), std::string::npos) << line.advice;
}

// In a process that shares no memory with others: exact numbers.
TEST(Doctor, SegmentsLeftBehindAreCountedAndTenOfThemNamed) {
  std::fflush(nullptr);
  const pid_t alone = fork();
  ASSERT_GE(alone, 0);
  if (alone == 0) {
    if (unshare(CLONE_NEWIPC) != 0 && unshare(CLONE_NEWUSER | CLONE_NEWIPC) != 0) _exit(77);
    // Neither one that is in use nor one whose maker lives is left behind.
    shmget(IPC_PRIVATE, 9000000, IPC_CREAT | 0600);
    int left = 0;
    for (const int more : {0, 1, 1, 8, 1}) {
      left += more;
      const pid_t maker = fork();
      if (maker == 0) {
        for (int i = 0; i < more; ++i) shmget(IPC_PRIVATE, 5000, IPC_CREAT | 0600);
        _exit(0);
      }
      waitpid(maker, nullptr, 0);
      const Line line = Doctor().lines.at("segments left behind");
      if (left == 0) {
        EXPECT_EQ(line.state, "ok");
        EXPECT_EQ(line.text, "none");
        EXPECT_EQ(line.advice, "");
        continue;
      }
      EXPECT_EQ(line.state, "warning");
      EXPECT_EQ(line.text, std::to_string(left) + (left == 1 ? " segment, " : " segments, ") +
                               std::to_string(left * 5000 / 1024) + " KiB, of processes that are gone");
      EXPECT_EQ(line.advice.rfind("when nobody needs them: ipcrm -m ", 0), 0u) << line.advice;
      int named = 0;
      for (std::size_t at = 0; (at = line.advice.find(" -m ", at)) != std::string::npos; ++at) ++named;
      EXPECT_EQ(named, std::min(left, 10));
      EXPECT_EQ(line.advice.find(" ...") != std::string::npos, left > 10);
    }
    std::fflush(nullptr);
    _exit(testing::Test::HasFailure() ? 1 : 0);
  }
  int status = 0;
  waitpid(alone, &status, 0);
  ASSERT_TRUE(WIFEXITED(status));
  if (WEXITSTATUS(status) == 77) GTEST_SKIP() << "no namespace can be made here";
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

double NumberOf(const char* file) {
  double number = 0;
  std::ifstream(file) >> number;
  return number;
}

TEST(Doctor, TheLimitsOfSharedMemoryAreTheKernels) {
  const Visit visit = Doctor();
  const auto units = [](double bytes) {
    const auto whole = static_cast<std::uint64_t>(bytes);
    return bytes < 10 * 1048576.0 ? std::to_string(whole / 1024) + " KiB"
                                  : std::to_string(whole / 1048576) + " MiB";
  };
  const double largest = NumberOf("/proc/sys/kernel/shmmax");
  const double all = NumberOf("/proc/sys/kernel/shmall") * static_cast<double>(sysconf(_SC_PAGESIZE));
  std::string expected = "segments of " + (largest < 1e18 ? "up to " + units(largest) : "any size");
  if (all < 1e18) expected += ", " + units(all) + " in all";
  expected +=
      ", " + std::to_string(static_cast<long>(NumberOf("/proc/sys/kernel/shmmni"))) + " of them at most";
  EXPECT_EQ(visit.lines.at("shared memory").text, expected);
  EXPECT_EQ(visit.lines.at("shared memory").state, "ok");
  EXPECT_EQ(visit.lines.at("/proc").text, "readable");
}

}  // namespace
