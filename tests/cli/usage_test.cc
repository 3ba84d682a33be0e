// SPDX-License-Identifier: MIT
// What a person is told who mistypes, or asks for help.
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

#include "run_command.h"

namespace {

const std::string kTry = "Try 'tovkit --help' or 'tovkit SUBCOMMAND --help'.\n";

void ExpectUsage(const std::vector<std::string>& arguments, const std::string& what) {
  const CommandResult result = RunCommand(arguments);
  EXPECT_EQ(result.status, 2) << what;
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "tovkit: " + what + "\n" + kTry);
}

// Those that --help lists: some are built only where their libraries are.
std::string Subcommands() {
  std::istringstream help(RunCommand({"--help"}).out);
  std::string names;
  bool isList = false;
  for (std::string line; std::getline(help, line);) {
    if (isList && line.size() > 2 && line.compare(0, 2, "  ") == 0 && line[2] != ' ') {
      names += (names.empty() ? "" : ", ") + line.substr(2, line.find(' ', 2) - 2);
    }
    isList = isList || line == "Subcommands:";
  }
  return names;
}

TEST(Usage, AnUnknownSubcommandIsNamedWithTheNearest) {
  const char* const kTable[][2] = {
      {"drw", "draw"},   {"darw", "draw"},  {"DRAW", ""},       {"imgae", "image"},
      {"jsn", "json"},   {"b64", ""},       {"base", "base64"}, {"mon", "monitor"},
      {"page", "pages"}, {"paths", "path"}, {"sp", "ps"},       {"helpp", "help"},
      {"ron", "run"},    {"shmem", "shm"},  {"convert", ""},    {"monitro", "monitor"}};
  const std::string all = Subcommands();
  EXPECT_EQ(
      all.rfind("base64, batch, doctor, draw, help, hit, info, image, json, monitor, pages, path, ps, run, ",
                0),
      0u)
      << all;
  for (const auto& row : kTable) {
    const std::string nearest = row[1];
    ExpectUsage({row[0], "x.json", "-o", "y"},
                "'" + std::string(row[0]) + "' is no subcommand; " +
                    (nearest.empty() ? "there are " + all : "did you mean '" + nearest + "'?"));
  }
}

TEST(Usage, AnUnknownSubcommandOfASubcommandIsNamedToo) {
  ExpectUsage({"shm", "creat", "x", "64M"}, "'creat' is no subcommand; did you mean 'create'?");
  ExpectUsage({"shm", "zzz"}, "'zzz' is no subcommand; there are create, write, read, list, remove");
}

TEST(Usage, AnUnknownOptionInItsPlaceIsNamed) {
  ExpectUsage({"--verison"}, "'--verison' is no option; did you mean '--version'?");
  ExpectUsage({}, "A subcommand is required");
}

TEST(Usage, AMistypedOptionIsNamedWithTheNearest) {
  const struct {
    std::vector<std::string> arguments;
    std::string what;
  } kTable[] = {
      {{"draw", "x.json", "--outptu", "y.png"},
       "'--outptu' is no option of 'tovkit draw'; did you mean '--output'?"},
      {{"draw", "x.json", "-o", "y.png", "--fontname=x"},
       "'--fontname' is no option of 'tovkit draw'; did you mean '--font-name'?"},
      {{"image", "x.png", "--inof"}, "'--inof' is no option of 'tovkit image'; did you mean '--info'?"},
      {{"image", "x.png", "--resise", "50%"},
       "'--resise' is no option of 'tovkit image'; did you mean '--resize'?"},
      {{"hit", "x", "--pont", "1,2"}, "'--pont' is no option of 'tovkit hit'; did you mean '--point'?"},
      {{"shm", "create", "x", "--readonly"},
       "'--readonly' is no option of 'tovkit shm create'; did you mean '--read-only'?"},
      {{"run", "--timout", "5", "--", "true"},
       "'--timout' is no option of 'tovkit run'; did you mean '--timeout'?"},
      {{"ps", "--zzzzzz"}, "'--zzzzzz' is no option of 'tovkit ps'"},
      {{"ps", "-x"}, "'-x' is no option of 'tovkit ps'"},
      {{"json", "--rwa", "x"}, "'--rwa' is no option of 'tovkit json'; did you mean '--raw'?"}};
  for (const auto& row : kTable) ExpectUsage(row.arguments, row.what);
}

TEST(Usage, AnOutputAmongTheFilesIsNamed) {
  ExpectUsage({"draw", "x.json", "x.png"}, "--output is required; did you mean -o x.png?");
  ExpectUsage({"draw", "x.json", "y.json", "x.pdf"}, "--output is required; did you mean -o x.pdf?");
  ExpectUsage({"draw", "x.json", "y.json"}, "--output is required");
  ExpectUsage({"draw", "x.png"}, "--output is required");
  ExpectUsage({"draw", "x.json"}, "--output is required");
}

TEST(Usage, OddWordsAreNoTrouble) {
  const std::string all = Subcommands();
  ExpectUsage({""}, "'' is no subcommand; there are " + all);
  ExpectUsage({"a\nb\x1b[31m"}, "'a\\nb\\x1b[31m' is no subcommand; there are " + all);
  EXPECT_EQ(RunCommand({std::string(100'000, 'x')}).status, 2);
}

TEST(Usage, HelpBeginsWithWhatTheCommandIsFor) {
  EXPECT_EQ(RunCommand({"--help"})
                .out.rfind("Documents, pictures, text, paths and processes from the command line.\n", 0),
            0U);
}

TEST(Usage, HelpPrintsWhatTheOptionPrints) {
  EXPECT_EQ(RunCommand({"help"}).out, RunCommand({"--help"}).out);
  for (const std::string command : {"base64", "draw", "help", "hit", "info", "image", "json", "monitor",
                                    "pages", "path", "ps", "run", "shm"}) {
    const CommandResult result = RunCommand({"help", command});
    EXPECT_EQ(result.status, 0) << command;
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.out, RunCommand({command, "--help"}).out) << command;
    EXPECT_NE(result.out.find("Usage: tovkit " + command), std::string::npos) << result.out;
  }
  EXPECT_EQ(RunCommand({"help", "shm", "create"}).out, RunCommand({"shm", "create", "--help"}).out);
}

std::string HelpOf(const std::vector<std::string>& command) {
  std::vector<std::string> arguments = command;
  arguments.emplace_back("--help");
  return RunCommand(arguments).out;
}

// Of what the argument parser writes into its help by default.
TEST(Usage, HelpSpeaksOfOptionsAsTheManualDoes) {
  for (const std::vector<std::string>& command : std::vector<std::vector<std::string>>{{},
                                                                                       {"base64"},
                                                                                       {"batch"},
                                                                                       {"doctor"},
                                                                                       {"draw"},
                                                                                       {"help"},
                                                                                       {"hit"},
                                                                                       {"image"},
                                                                                       {"info"},
                                                                                       {"json"},
                                                                                       {"monitor"},
                                                                                       {"pages"},
                                                                                       {"path"},
                                                                                       {"ps"},
                                                                                       {"run"},
                                                                                       {"shm"},
                                                                                       {"shm", "create"},
                                                                                       {"shm", "write"},
                                                                                       {"shm", "read"},
                                                                                       {"shm", "list"},
                                                                                       {"shm", "remove"}}) {
    const std::string help = HelpOf(command);
    EXPECT_NE(help.find("-h,--help"), std::string::npos) << help;
    for (const char* odd : {"Needs:", "Excludes:", ":INT", ":UINT", ":NONNEG", " in [", "Option Group",
                            "REQUIRED", "{-}", "{all}", "TEXT ...", "of the following"}) {
      EXPECT_EQ(help.find(odd), std::string::npos) << odd << " in " << help;
    }
  }
  const std::string draw = HelpOf({"draw"});
  EXPECT_NE(draw.find("\n  --report[=FILE]  "), std::string::npos) << draw;
  EXPECT_NE(draw.find("\n  --strict[=KINDS]  "), std::string::npos) << draw;
  EXPECT_NE(draw.find("\n  FILE... "), std::string::npos) << draw;
  EXPECT_NE(draw.find("(not with --background, --size)"), std::string::npos) << draw;
  EXPECT_NE(HelpOf({"image"}).find("nearest, linear, cubic or lanczos (default: lanczos; with --resize)"),
            std::string::npos);
  EXPECT_NE(HelpOf({"pages"}).find("  --count INT  "), std::string::npos);
  EXPECT_NE(HelpOf({"run"}).find("tovkit run [OPTIONS] -- PROGRAM [ARGUMENT]...\n"), std::string::npos);
  EXPECT_NE(HelpOf({"hit"}).find("\nOne of these:\n  --point "), std::string::npos) << HelpOf({"hit"});
}

TEST(Usage, HelpEndsWithWhatNoOptionTells) {
  const char* const kTable[][2] = {
      {"batch", "Exit status: 0 all jobs are done, 1 some failed, 75 interrupted with jobs left."},
      {"doctor", "The exit status is 1 when something failed; a warning is no failure."},
      {"hit", "Prints \"hit\" (exit status 0) or \"miss\" (exit status 3)."},
      {"image", "What changes a picture happens in the order of the options:"},
      {"run", "A TIME is a number with a unit: 500ms, 2s, 1.5m, 1h."}};
  for (const auto& row : kTable) {
    const std::string help = RunCommand({row[0], "--help"}).out;
    EXPECT_NE(help.find(row[1]), std::string::npos) << help;
    EXPECT_GT(help.find(row[1]), help.find("--help")) << help;
  }
}

TEST(Usage, HelpForWhatThereIsNot) {
  ExpectUsage({"help", "dra"}, "'dra' is no subcommand; did you mean 'draw'?");
  ExpectUsage({"help", "shm", "cretae"}, "'cretae' is no subcommand; did you mean 'create'?");
  ExpectUsage({"help", "draw", "lines"}, "'lines' is no subcommand");
  ExpectUsage({"help", ""}, "'' is no subcommand; there are " + Subcommands());
}

TEST(Usage, NoMessageHoldsANumberOfHundredsOfDigits) {
  const std::string many(300, '7');
  const std::vector<std::string> kTable[] = {
      {"shm", "create", "x", "64X"},
      {"shm", "create", "x", "-1"},
      {"shm", "create", "x", many},
      {"shm", "read", "x", "--offset", many},
      {"pages", "all", "--count", many},
      {"pages", "all", "--count", "3", "--base", many},
      {"pages", many, "--count", "3"},
      {"image", "x.png", "-o", "y.png", "--quality", many},
      {"image", "x.png", "-o", "y.png", "--frame", many},
      {"draw", "x.json", "-o", "y.png", "--dpi", many},
      {"draw", "x.json", "-o", "y.png", "--size", many + "x1"},
      {"hit", "x", "--point", many + ",1"},
      {"hit", "x", "--point", "1,1", "--tolerance", many},
      {"hit", "x", "--map", "x.png", "--size", many},
      {"monitor", "1", "--max-mem", "-1"},
      {"monitor", many},
      {"run", "--timeout", many, "true"},
      {"ps", many},
      {many},
  };
  for (const auto& arguments : kTable) {
    const CommandResult result = RunCommand(arguments);
    EXPECT_NE(result.status, 0) << arguments[0];
    EXPECT_NE(result.err, "") << arguments[0];
    std::size_t longest = 0, digits = 0;
    for (const char c : result.err) {
      digits = c >= '0' && c <= '9' ? digits + 1 : 0;
      longest = std::max(longest, digits);
    }
    EXPECT_LE(longest, 40U) << result.err;
  }
}

}  // namespace
