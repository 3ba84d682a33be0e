// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <tovkit/json.h>
#include <tovkit/util.h>

#include <filesystem>
#include <sstream>
#include <string>

#include "run_command.h"

namespace {

// What stands behind `heading`, up to the end of the line; "" when it is not there.
std::string Behind(const std::string& out, const std::string& heading) {
  std::istringstream lines(out);
  for (std::string line; std::getline(lines, line);) {
    if (line.rfind(heading + " ", 0) == 0) return line.substr(line.find_first_not_of(' ', heading.size()));
  }
  return "";
}

TEST(InfoCommand, TellsVersionDirectoriesAndBackEnds) {
  const CommandResult result = RunCommand({"info"}, "", {{"LC_ALL", "C"}});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  const std::string command = TOVKIT_COMMAND;
  EXPECT_EQ(Behind(result.out, "version"), "5.0.23.1211.2158");
  EXPECT_EQ(Behind(result.out, "executable directory"), command.substr(0, command.rfind('/') + 1));
  // This program is linked with the libraries of the same build.
  // The loader names their folders by the program's own, with steps back.
  const auto whole = [](const std::string& folder) { return std::filesystem::canonical(folder); };
  EXPECT_EQ(whole(Behind(result.out, "libtovkit directory")),
            whole(tovkit::GetModuleDirectory("libtovkit.so").c_str()));
  EXPECT_EQ(whole(Behind(result.out, "libtovmx directory")),
            whole(tovkit::GetModuleDirectory("libtovmx.so").c_str()));
  EXPECT_EQ(Behind(result.out, "local text"), "UTF-8");
  EXPECT_EQ(Behind(result.out, "image codecs").rfind("libpng 1.", 0), 0U) << result.out;
  EXPECT_EQ(Behind(result.out, "fonts").rfind("Pango 1.", 0), 0U) << result.out;
  for (const char* library : {"HarfBuzz ", "FreeType ", "fontconfig "}) {
    EXPECT_NE(result.out.find("\n                        " + std::string(library)), std::string::npos)
        << result.out;
  }
}

TEST(InfoCommand, TellsTheVectorLevelThatRuns) {
  EXPECT_EQ(Behind(RunCommand({"info"}, "", {{"TOVKIT_SIMD", "scalar"}}).out, "vector level"), "scalar");
  // Any other wish than a level is ignored: the machine's best.
  const std::string best = Behind(RunCommand({"info"}, "", {{"TOVKIT_SIMD", ""}}).out, "vector level");
  EXPECT_TRUE(best == "scalar" || best == "avx2" || best == "avx512") << best;
  for (const char* level : {"avx2", "avx512"}) {
    const bool supported = best == "avx512" || best == level;
    EXPECT_EQ(Behind(RunCommand({"info"}, "", {{"TOVKIT_SIMD", level}}).out, "vector level"),
              supported ? level : best);
  }
}

TEST(InfoCommand, ArgumentsAreWrongUse) { EXPECT_EQ(RunCommand({"info", "x"}).status, 2); }

TEST(InfoCommand, JsonHoldsWhatTheLinesTell) {
  const std::string lines = RunCommand({"info"}).out;
  const CommandResult result = RunCommand({"info", "--json"});
  EXPECT_EQ(result.status, 0);
  const auto object =
      tovkit::Json::Parse(result.out.data(), static_cast<unsigned>(result.out.size()), nullptr);
  ASSERT_TRUE(object);
  const auto text = [&object](const char* key) { return std::string(object->GetMemberString(key, "")); };
  EXPECT_EQ(text("version"), Behind(lines, "version"));
  EXPECT_EQ(text("executableDirectory"), Behind(lines, "executable directory"));
  EXPECT_EQ(text("libtovkitDirectory"), Behind(lines, "libtovkit directory"));
  EXPECT_EQ(text("libtovmxDirectory"), Behind(lines, "libtovmx directory"));
  EXPECT_EQ(text("localText"), Behind(lines, "local text"));
  EXPECT_EQ(text("vectorLevel"), Behind(lines, "vector level"));
  EXPECT_EQ(object->GetMember("imageCodecs")->GetAt(0)->AsString(nullptr), Behind(lines, "image codecs"));
  EXPECT_EQ(object->GetMember("fonts")->GetAt(0)->AsString(nullptr), Behind(lines, "fonts"));
}

}  // namespace
