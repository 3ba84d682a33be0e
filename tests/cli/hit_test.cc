// SPDX-License-Identifier: MIT
// tovkit hit: answers, exit statuses, maps.
#include "run_command.h"
#include "scratch_dir.h"
#include "terminal.h"

#include <gtest/gtest.h>
#include <tovmx/codec.h>
#include <tovmx/stream.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

namespace {

const std::string kPaths = TOVKIT_SOURCE_DIR "/examples/paths/";
const std::string kPictures = TOVKIT_SOURCE_DIR "/tests/data/hit_map/";

std::unique_ptr<CoreDib> ReadPng(const std::string& file) {
  CoreFileInputStream in(file.c_str());
  const auto decoder = CoreCodecRegistry::Get().GetFactory().CreateDecoder(kCoreImagePng);
  if (decoder->Open(&in, kCoreOpenReadAhead) == 0) return nullptr;
  return decoder->GetBitmap(0, 0, 0);
}

int FarthestChannel(std::uint32_t a, std::uint32_t b) {
  int farthest = 0;
  for (int shift = 0; shift < 24; shift += 8) {
    const int apart = std::abs(static_cast<int>((a >> shift) & 255) - static_cast<int>((b >> shift) & 255));
    if (apart > farthest) farthest = apart;
  }
  return farthest;
}

}  // namespace

TEST(HitCommand, AnswersAndExits) {
  struct Case {
    const char* path;
    std::vector<std::string> arguments;
    bool hit;
  };
  const Case cases[] = {
      {"square", {"--point", "50,50"}, false},
      {"square", {"--point", "50,50", "--fill"}, true},
      {"square", {"--point", "50,50", "--tolerance", "50"}, true},
      {"square", {"--point", "50,0", "--tolerance", "0"}, true},
      {"square", {"--point", "-30,-3e1", "--fill"}, false},
      {"square", {"--point=-0.5,50"}, true},
      {"u", {"--point", "50,50", "--fill"}, false},
      {"circle", {"--point", "20,30", "--fill"}, true},
      {"circle", {"--point", "49.2,0"}, true},
      {"circle", {"--point", "45,45", "--fill"}, false},
      {"spiral", {"--point", "4,0", "--tolerance", "0.01"}, true},
  };
  for (const Case& c : cases) {
    std::vector<std::string> arguments = {"hit", kPaths + c.path + ".svgpath"};
    arguments.insert(arguments.end(), c.arguments.begin(), c.arguments.end());
    const CommandResult result = RunCommand(arguments);
    EXPECT_EQ(result.out, c.hit ? "hit\n" : "miss\n") << c.path << " " << c.arguments[0];
    EXPECT_EQ(result.status, c.hit ? 0 : 3) << c.path << " " << c.arguments[0];
    EXPECT_EQ(result.err, "");
  }
}

TEST(HitCommand, ReadsStandardInput) {
  EXPECT_EQ(RunCommand({"hit", "-", "--point", "5,5"}, "M0 0L10 10").out, "hit\n");
  EXPECT_EQ(RunCommand({"hit", "-", "--point", "5,5"}, "").out, "miss\n") << "an empty path";
  EXPECT_EQ(RunCommand({"hit", "--point", "5,5"}, "M0 0L10 10").out, "hit\n") << "without a name";
}

TEST(HitCommand, AnErrorIsOneLineWithTheFile) {
  const ScratchDir scratch;
  const std::string bad = scratch.path() + "/bad.svgpath";
  std::ofstream(bad) << "M 0 0\nL 10";
  const std::string missing = scratch.path() + "/missing";
  struct Case {
    std::vector<std::string> arguments;
    std::string error;
  };
  const Case cases[] = {
      {{"hit", bad, "--point", "1,1"}, bad + ": line 2, column 5: a number is expected"},
      {{"hit", missing, "--point", "1,1"}, missing + ": No such file or directory"},
      {{"hit", scratch.path(), "--point", "1,1"}, scratch.path() + ": Is a directory"},
      {{"hit", "/dev/zero", "--point", "1,1"}, "/dev/zero: the path is longer than 16 MiB"},
      {{"hit", "/dev/null", "--map", scratch.path() + "/x.png"}, "/dev/null: the path is empty"},
      {{"hit", kPaths + "u.svgpath", "--map", scratch.path() + "/no/x.png"},
       scratch.path() + "/no/x.png: cannot create the file: No such file or directory"},
      {{"hit", kPaths + "u.svgpath", "--map", "/dev/full", "--format", "png"},
       "/dev/full: cannot write: No space left on device"},
  };
  for (const Case& c : cases) {
    const CommandResult result = RunCommand(c.arguments);
    EXPECT_EQ(result.status, 1) << c.error;
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "tovkit: " + c.error + "\n");
  }
  EXPECT_FALSE(std::filesystem::exists(scratch.path() + "/x.png"));
}

TEST(HitCommand, BadUsageIsToldApart) {
  const std::string file = kPaths + "u.svgpath";
  const std::vector<std::string> bad[] = {{"hit"},
                                          {"hit", file},
                                          {"hit", file, "--point", "1"},
                                          {"hit", file, "--point", "1,x"},
                                          {"hit", file, "--point", "1,2,3"},
                                          {"hit", file, "--point", ",2"},
                                          {"hit", file, "--point", "1,2", "--tolerance", "much"},
                                          {"hit", file, "--point", "1,2", "--tolerance", "nan"},
                                          {"hit", file, "--point", "1,2", "--tolerance", "1e39"},
                                          {"hit", file, "--point", "nan,nan"},
                                          {"hit", file, "--point=-nan,1"},
                                          {"hit", file, "--point", "1,-nan(x)"},
                                          {"hit", file, "--point", "inf,1"},
                                          {"hit", file, "--point", "1e39,1"},
                                          {"hit", file, "--point", "1,2", "--format", "png"},
                                          {"hit", file, "--map", ""},
                                          {"hit", file, "--point", "1,2", "--map", "x.png"},
                                          {"hit", file, "--point", "1,2", "--size", "9"},
                                          {"hit", file, "--map", "x.png", "--fill"},
                                          {"hit", file, "--map", "x.png", "--size", "0"}};
  for (const auto& arguments : bad) {
    const CommandResult result = RunCommand(arguments);
    EXPECT_EQ(result.status, 2) << arguments.back();
    EXPECT_EQ(result.out, "");
  }
}

TEST(HitCommand, WhatIsNoNumberIsNamed) {
  const std::string file = kPaths + "u.svgpath";
  EXPECT_EQ(RunCommand({"hit", file, "--point", "nan,nan"})
                .err.rfind("tovkit: --point: 'nan,nan' is not X,Y, two finite numbers\n", 0),
            0u);
  EXPECT_EQ(RunCommand({"hit", file, "--point", "1,2", "--tolerance=-nan"})
                .err.rfind("tovkit: --tolerance: '-nan' is no number\n", 0),
            0u);
  for (const std::string path : {"M-nan 0", "M0 0L-nan(x) 3", "M0 -inf"}) {
    const CommandResult result = RunCommand({"hit", "--point", "0,0"}, path);
    EXPECT_EQ(result.status, 1) << path;
    EXPECT_NE(result.err.find(": a number is expected\n"), std::string::npos) << path << result.err;
  }
}

TEST(HitCommand, ANumberTooSmallToTellFromZeroIsZero) {
  EXPECT_EQ(RunCommand({"hit", "--point", "1e-400,-1e-400"}, "M-5 0L5 1e-400").out, "hit\n");
  EXPECT_EQ(RunCommand({"hit", "--point", "0,0", "--tolerance", "1e-400"}, "M-5 0L5 0").out, "hit\n");
}

TEST(HitCommand, TheMapsExtensionIsItsFormat) {
  const ScratchDir scratch;
  const struct {
    const char* extension;
    CoreImageFormat format;
  } cases[] = {{"png", kCoreImagePng},  {"jpg", kCoreImageJpeg},  {"JPEG", kCoreImageJpeg},
               {"tif", kCoreImageTiff}, {"webp", kCoreImageWebp}, {"jp2", kCoreImageJpeg2000},
               {"bmp", kCoreImageBmp}};
  for (const auto& c : cases) {
    const std::string file = scratch.path() + "/map." + c.extension;
    EXPECT_EQ(RunCommand({"hit", kPaths + "u.svgpath", "--size", "20", "--map", file}).status, 0) << file;
    CoreFileInputStream in(file.c_str());
    EXPECT_EQ(CoreDetectImageFormat(&in), c.format) << file;
  }
  for (const std::string extension : {".gif", ".pdf", ".xyz", ""}) {
    const std::string file = scratch.path() + "/none" + extension;
    const CommandResult result = RunCommand({"hit", kPaths + "u.svgpath", "--map", file});
    EXPECT_EQ(result.status, 2) << file;
    EXPECT_NE(result.err.find("; the formats are png, jpg, tif, webp, jp2, bmp\n"), std::string::npos)
        << result.err;
    EXPECT_FALSE(std::filesystem::exists(file));
  }
}

// The pictures were looked at; a line of the outline may move a shade from one compiler to another.
TEST(HitCommand, MapsLookAsTheyDid) {
  const ScratchDir scratch;
  for (const std::string name : {"square", "u", "circle", "spiral"}) {
    const std::string file = scratch.path() + "/" + name + ".png";
    const CommandResult result =
        RunCommand({"hit", kPaths + name + ".svgpath", "--map", file, "--size", "160", "--tolerance", "4"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.err, "") << "no progress where no terminal is";
    const auto drawn = ReadPng(file);
    const auto wanted = ReadPng(kPictures + name + ".png");
    ASSERT_TRUE(drawn && wanted) << name;
    ASSERT_EQ(drawn->GetWidth(), wanted->GetWidth());
    ASSERT_EQ(drawn->GetHeight(), wanted->GetHeight());
    int different = 0;
    for (int y = 0; y < drawn->GetHeight(); ++y) {
      for (int x = 0; x < drawn->GetWidth(); ++x)
        different += FarthestChannel(drawn->GetArgb(x, y), wanted->GetArgb(x, y)) > 8 ? 1 : 0;
    }
    EXPECT_LE(different, 10) << name;
  }
}

TEST(HitCommand, MapsOfExtremePaths) {
  const ScratchDir scratch;
  const std::string file = scratch.path() + "/map.png";
  for (const std::string path :
       {"M1 1", "M-3e38 -3e38L3e38 3e38", "M0 0L1e-40 1e-40", "M0 0L1000 0", "M0 0A1e-30 1e30 0 01 5 5"}) {
    for (const std::string tolerance : {"0", "-1", "inf", "1e38", "1e-400"}) {
      const CommandResult result =
          RunCommand({"hit", "-", "--map", file, "--size", "9", "--tolerance=" + tolerance}, path);
      EXPECT_EQ(result.status, 0) << path << " " << tolerance << " " << result.err;
    }
  }
}

namespace {

// Starts the map of a spiral with the terminal as its standard error, which then is the command's alone.
pid_t StartMap(Terminal& terminal, int size, const Environment& environment = {}) {
  const pid_t child = StartCommand({"hit", kPaths + "spiral.svgpath", "--map", "/dev/null", "--format", "png",
                                    "--size", std::to_string(size)},
                                   STDIN_FILENO, STDOUT_FILENO, terminal.theirs, environment);
  terminal.HangUp();
  return child;
}

}  // namespace

TEST(HitCommand, ProgressIsShownOnATerminalWithoutColorWhenAsked) {
  for (const bool color : {true, false}) {
    Terminal terminal;
    // A map that takes minutes; the command is stopped as soon as the bar has been seen.
    const pid_t child = StartMap(terminal, 8192, {{"NO_COLOR", color ? "" : "1"}});
    std::string shown;
    for (char c = 0; shown.find('%') == std::string::npos && read(terminal.ours, &c, 1) == 1;) shown += c;
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    EXPECT_EQ(shown.rfind("\rmap [", 0), 0u) << shown;
    EXPECT_EQ(shown.find("\033[32m") != std::string::npos, color);
  }
}

// A machine may be too fast for a bar, so the map grows until one was shown.
TEST(HitCommand, ProgressIsClearedWhenTheMapIsDone) {
  std::string shown;
  for (int size = 512; shown.empty() && size <= 8192; size *= 2) {
    Terminal terminal;
    const pid_t child = StartMap(terminal, size);
    for (char c = 0; read(terminal.ours, &c, 1) == 1;) shown += c;
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
  }
  EXPECT_EQ(shown.rfind("\rmap [", 0), 0u) << shown;
  const std::string cleared = "\r\033[K";
  ASSERT_GT(shown.size(), cleared.size());
  EXPECT_EQ(shown.substr(shown.size() - cleared.size()), cleared);
}
