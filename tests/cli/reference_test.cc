// SPDX-License-Identifier: MIT
// The man page and the completions: those made of a small surface, and what the real ones answer.
#include <gtest/gtest.h>
#include <CLI/CLI.hpp>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "../../cli/reference/surface.h"
#include "run_command.h"
#include "scratch_dir.h"

namespace {

using reference::ReadSurface;

// A command with a group of options, checks behind types, and a command below a command.
void Define(CLI::App& app) {
  app.name("tovkit");
  app.description("A command.");
  CLI::App* const draw = app.add_subcommand("draw", "Draw what's there. More follows");
  draw->add_option("FILE")->description("What to draw")->required();
  draw->add_option("MORE")->description("What else");
  draw->add_option("-s,--size")
      ->description("Pixels\n.not a request")
      ->type_name("INT")
      ->check(CLI::Range(1, 9))
      ->default_str("4");
  auto* const group = draw->add_option_group("job");
  group->add_option("--to")->description("Where to")->type_name("FILE");
  group->add_flag("--quick")->description("Soon");
  draw->add_flag("--tell{-}")->description("Say it")->type_name("FILE");
  draw->footer("'tis all");
  CLI::App* const outer = app.add_subcommand("outer", "Holds one");
  outer->add_subcommand("inner", "Is held");
}

reference::Surface SmallSurface() {
  CLI::App app;
  Define(app);
  return ReadSurface(app);
}

bool Has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

TEST(Reference, OptionsOfAGroupBelongToTheirCommand) {
  const reference::Surface surface = SmallSurface();
  ASSERT_EQ(surface.root.subcommands.size(), 2U);
  const reference::Command& draw = surface.root.subcommands[0];
  EXPECT_TRUE(draw.subcommands.empty());
  ASSERT_EQ(draw.options.size(), 5U);  // with --help
  EXPECT_EQ(draw.options[3].names, std::vector<std::string>{"--to"});
  EXPECT_EQ(draw.options[3].kind, reference::ValueKind::kFile);
  EXPECT_EQ(draw.options[4].value, "");
}

// Else shells would take the next word for it.
TEST(Reference, AValueBehindAnEqualsSignIsNoWordOfItsOwn) {
  const reference::Option option = SmallSurface().root.subcommands[0].options[2];
  EXPECT_EQ(option.names, std::vector<std::string>{"--tell"});
  EXPECT_EQ(option.value, "");
  EXPECT_EQ(option.attached, "FILE");
  EXPECT_TRUE(Has(reference::ManPage(SmallSurface()), "\\fB\\-\\-tell\\fR[=\\fIFILE\\fR]\nSay it\n"));
  EXPECT_TRUE(Has(reference::FishCompletion(SmallSurface()), "-l tell -d 'Say it'\n"));
}

TEST(Reference, AValueIsCalledByItsTypeWithoutTheChecks) {
  EXPECT_EQ(SmallSurface().root.subcommands[0].options[1].value, "INT");
}

TEST(Reference, TheManPageProtectsWhatRoffWouldRead) {
  const std::string page = reference::ManPage(SmallSurface());
  EXPECT_TRUE(Has(page, ".SS \\fBtovkit draw\\fR [\\fIOPTIONS\\fR] \\fIFILE\\fR [\\fIMORE\\fR]\n")) << page;
  EXPECT_TRUE(
      Has(page, "\\fB\\-s\\fR, \\fB\\-\\-size\\fR \\fIINT\\fR\nPixels\n\\&.not a request (default: 4)\n"))
      << page;
  EXPECT_TRUE(Has(page, "\n\\&'tis all\n")) << page;
  EXPECT_TRUE(Has(page, ".SS \\fBtovkit outer inner\\fR")) << page;
  EXPECT_FALSE(Has(page, ".SS \\fBtovkit outer\\fR")) << page;
}

TEST(Reference, FishGetsTheFirstSentenceInQuotes) {
  const std::string script = reference::FishCompletion(SmallSurface());
  EXPECT_TRUE(Has(script, "-a draw -d 'Draw what\\'s there'\n")) << script;
  EXPECT_TRUE(Has(script, "-s s -l size -x -d 'Pixels'\n")) << script;
  EXPECT_TRUE(Has(script, "-l to -r -F -d 'Where to'\n")) << script;
}

// What a command prints in all, behind its exit status when that is not 0.
std::string Printed(const std::string& command) {
  std::FILE* const out = popen(("{ " + command + "\n} 2>&1").c_str(), "r");
  std::string text;
  char piece[512];
  while (const std::size_t length = std::fread(piece, 1, sizeof piece, out)) text.append(piece, length);
  const int status = pclose(out);
  return status == 0 ? text : "status " + std::to_string(status) + ": " + text;
}

std::string Bash(const std::string& script) { return Printed("bash -c '" + script + "'"); }

void Write(const std::string& path, const std::string& text) {
  std::FILE* const file = std::fopen(path.c_str(), "w");
  ASSERT_NE(file, nullptr);
  std::fputs(text.c_str(), file);
  std::fclose(file);
}

TEST(Reference, ACommandWithoutSubcommandsMakesScriptsThatBashReads) {
  CLI::App app;
  app.name("tovkit");
  const ScratchDir dir;
  Write(dir.path() + "/bash", reference::BashCompletion(ReadSurface(app)));
  EXPECT_EQ(Bash("bash -n " + dir.path() + "/bash"), "");
}

// A folder with something for every kind of argument, and a program in PATH.
class Place {
 public:
  Place() {
    Write(dir_.path() + "/a picture.png", "");
    std::filesystem::create_directories(dir_.path() + "/a folder");
    std::filesystem::create_directories(dir_.path() + "/bin");
    Write(dir_.path() + "/bin/tovkit-test-program", "#!/bin/sh\n");
    std::filesystem::permissions(dir_.path() + "/bin/tovkit-test-program", std::filesystem::perms::owner_all);
  }
  std::string Enter() const { return "cd " + dir_.path() + "; PATH=$PWD/bin:$PATH; "; }

 private:
  ScratchDir dir_;
};

// What bash offers behind `words`, the last of which is being typed.
std::string Offered(const std::string& words) {
  const Place place;
  return Bash("source " TOVKIT_BASH_COMPLETION "; " + place.Enter() + "COMP_WORDS=(tovkit " + words +
              "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _tovkit; printf \"%s\\n\" \"${COMPREPLY[@]}\" | "
              "LC_ALL=C sort | tr \"\\n\" \"|\"");
}

TEST(Reference, BashCompletesTheWordsOfTheCommand) {
  EXPECT_EQ(Offered("bas"), "base64|");
  EXPECT_EQ(Offered("base64 --de"), "--decode|");
  EXPECT_EQ(Offered("shm cr"), "create|");
  EXPECT_EQ(Offered("shm create --read"), "--read-only|");
  EXPECT_EQ(Offered("hit --po"), "--point|") << "an option of a group";
  EXPECT_EQ(Offered("nothing-like-it --vers"), "--version|") << "no command yet";
  EXPECT_EQ(Offered("help dr"), "draw|");
  EXPECT_EQ(Offered("help shm \"\""), "create|list|read|remove|write|");
  EXPECT_EQ(Offered("help draw --o"), "|") << "the options of another command";
}

TEST(Reference, BashCompletesFileNamesWherePathsAreExpected) {
  EXPECT_EQ(Offered("base64 \"a p\""), "a picture.png|");
  EXPECT_EQ(Offered("image in.png --output a"), "a folder|a picture.png|");
  EXPECT_EQ(Offered("image in.png --output = a"), "a folder|a picture.png|");
  EXPECT_EQ(Offered("image in.png --output ="), Offered("image in.png --output \"\""));
  EXPECT_EQ(Offered("image -- a"), "a folder|a picture.png|");
  EXPECT_EQ(Offered("run --cwd a"), "a folder|");
  EXPECT_EQ(Offered("image in.png --quality a"), "|") << "a number follows";
  EXPECT_EQ(Offered("image in.png --quality = a"), "|") << "a number follows";
  EXPECT_EQ(Offered("monitor a"), "|") << "no paths";
}

TEST(Reference, BashCompletesProgramsBehindRun) {
  EXPECT_EQ(Offered("run -- tovkit-test-pro"), "tovkit-test-program|");
  EXPECT_EQ(Offered("run --timeout 1s -- tovkit-test-pro"), "tovkit-test-program|");
  EXPECT_EQ(Offered("run -- tovkit-test-program a"), "a folder|a picture.png|");
  EXPECT_EQ(Offered("run -- ps --js"), "|") << "the option of another command";
  EXPECT_EQ(Offered("run --"), "--|--cwd|--help|--inherit-fds|--kill-after|--stderr|--stdout|--timeout|");
}

// What zsh offers behind `words`: what the function asks of the completion system, a line each.
std::string ZshAsks(const std::string& words) {
  const Place place;
  return Printed("zsh -f -c '" + place.Enter() +
                 "ask() { print -r -- \"$*\" }\n"
                 "_files() { ask files \"$@\" }\n"
                 "_normal() { ask normal $CURRENT \"${words[@]}\" }\n"
                 "compset() { PREFIX=${PREFIX#*=} }\n"
                 "compadd() { shift; for offer; do if [[ $offer == $PREFIX* ]]; then ask $offer; fi; done }\n"
                 "words=(tovkit " +
                 words +
                 "); CURRENT=${#words}; PREFIX=${words[-1]}\n"
                 "complete_it() { source " TOVKIT_ZSH_COMPLETION
                 " }\n"
                 "complete_it || ask nothing'");
}

TEST(Reference, ZshCompletesWordsFilesAndPrograms) {
  EXPECT_EQ(ZshAsks("bas"), "base64\n");
  EXPECT_EQ(ZshAsks("shm create --read"), "--read-only\n");
  EXPECT_EQ(ZshAsks("help dr"), "draw\n");
  EXPECT_EQ(ZshAsks("help shm cr"), "create\n");
  EXPECT_EQ(ZshAsks("base64 a"), "files\n");
  EXPECT_EQ(ZshAsks("image in.png --output a"), "files\n");
  EXPECT_EQ(ZshAsks("image in.png --output=a"), "files\n");
  EXPECT_EQ(ZshAsks("image -- a"), "files\n");
  EXPECT_EQ(ZshAsks("run --cwd a"), "files -/\n");
  EXPECT_EQ(ZshAsks("image in.png --quality a"), "nothing\n");
  EXPECT_EQ(ZshAsks("run --timeout 1s -- ta"), "normal 1 ta\n");
  EXPECT_EQ(ZshAsks("run -- tar --ex"), "normal 2 tar --ex\n");
}

// What fish offers for a line, without the descriptions.
std::string FishOffers(const std::string& line) {
  const Place place;
  return Printed(
      place.Enter() +
      "HOME=$PWD XDG_CONFIG_HOME=$PWD XDG_DATA_HOME=$PWD fish --no-config -c 'source " TOVKIT_FISH_COMPLETION
      "; complete -C \"" +
      line + "\"' | cut -f 1");
}

TEST(Reference, FishCompletesWordsFilesAndPrograms) {
  EXPECT_EQ(FishOffers("tovkit bas"), "base64\n");
  EXPECT_EQ(FishOffers("tovkit shm create --read"), "--read-only\n");
  EXPECT_EQ(FishOffers("tovkit help dr"), "draw\n");
  EXPECT_EQ(FishOffers("tovkit help shm cr"), "create\n");
  EXPECT_EQ(FishOffers("tovkit base64 a"), "a folder/\na picture.png\n");
  EXPECT_EQ(FishOffers("tovkit image in.png --output a"), "a folder/\na picture.png\n");
  EXPECT_EQ(FishOffers("tovkit image in.png --output=a"), "--output=a folder/\n--output=a picture.png\n");
  EXPECT_EQ(FishOffers("tovkit run --cwd a"), "a folder/\n");
  EXPECT_EQ(FishOffers("tovkit image in.png --quality a"), "");
  EXPECT_EQ(FishOffers("tovkit monitor a"), "");
  EXPECT_EQ(FishOffers("tovkit run --timeout 1s -- tovkit-test-pro"), "tovkit-test-program\n");
  EXPECT_EQ(FishOffers("tovkit run -- tovkit-test-program a"), "a folder/\na picture.png\n");
}

std::string Page() { return Printed("man --warnings -l " TOVKIT_MAN_PAGE " | col -b"); }

TEST(ManPage, IsReadWithoutAWarning) {
  EXPECT_EQ(Printed("man --warnings -l " TOVKIT_MAN_PAGE " 2>&1 > /dev/null"), "");
  const std::string page = Page();
  std::size_t at = 0;
  for (const char* title : {"NAME", "SYNOPSIS", "OPTIONS", "SUBCOMMANDS", "DESCRIPTIONS OF TEXT", "EXAMPLES",
                            "EXIT STATUS", "ENVIRONMENT", "FILES", "SEE ALSO"}) {
    at = page.find("\n" + std::string(title) + "\n", at);
    ASSERT_NE(at, std::string::npos) << title;
  }
  EXPECT_TRUE(Has(page, "tovkit run [OPTIONS] -- PROGRAM [ARGUMENT]...")) << page;
}

std::string ContentsOfFile(const std::string& path) {
  std::ifstream in(path);
  return {std::istreambuf_iterator<char>(in), {}};
}

// Each in its turn in one folder, as they are printed.
TEST(ManPage, TheExamplesRunAsTheyStand) {
  const std::string page = ContentsOfFile(TOVKIT_MAN_PAGE);
  const ScratchDir dir;
  const std::string command = TOVKIT_COMMAND;
  int count = 0;
  for (std::size_t at = page.find("\n.EX\n"); at != std::string::npos; at = page.find("\n.EX\n", at + 1)) {
    const std::size_t end = page.find("\n.EE\n", at);
    Write(dir.path() + "/source", ".nf\n.ll 500\n" + page.substr(at + 5, end - at - 5) + "\n");
    const std::string text = Printed("nroff -Tascii " + dir.path() + "/source | sed '/^$/d'");
    Write(dir.path() + "/example", text);
    const std::string said = Printed("cd " + dir.path() + "; PATH=" + command.substr(0, command.rfind('/')) +
                                     ":$PATH; bash -e -o pipefail example");
    EXPECT_EQ(said.find("status"), std::string::npos) << text << said;
    ++count;
  }
  EXPECT_GE(count, 9);
  for (const char* made : {"hello.png", "hello.pdf", "hello.jpg", "uname.txt"}) {
    EXPECT_TRUE(std::filesystem::exists(dir.path() + "/" + made)) << made;
  }
  EXPECT_EQ(ContentsOfFile(dir.path() + "/again.png"), ContentsOfFile(dir.path() + "/hello.png"));
}

// Every text that stands between the two marks.
std::vector<std::string> Between(const std::string& text, const std::string& before,
                                 const std::string& behind) {
  std::vector<std::string> found;
  for (std::size_t at = text.find(before); at != std::string::npos; at = text.find(before, at)) {
    at += before.size();
    const std::size_t end = text.find(behind, at);
    if (end == std::string::npos) break;
    found.push_back(text.substr(at, end - at));
    at = end + behind.size();
  }
  return found;
}

// The keys are those of the guide, the variables those that the sources read.
TEST(ManPage, EveryKeyAndEveryVariableIsThere) {
  const std::string page = Page();
  const std::string guide = ContentsOfFile(TOVKIT_SOURCE_DIR "/docs/guide/imaging.md");
  const std::size_t from = guide.find("## Describe a line of text");
  const std::string section = guide.substr(from, guide.find("\n## ", from + 1) - from);
  std::size_t keys = 0;
  for (const std::string& cell : Between(section, "\n| `", " |")) {
    for (const std::string& key : Between("`" + cell, "`", "`")) {
      EXPECT_TRUE(Has(page, key)) << key;
      ++keys;
    }
  }
  EXPECT_GE(keys, 9U);

  const std::string environment = page.substr(page.find("\nENVIRONMENT\n"));
  std::size_t variables = 0;
  for (const char* folder : {"/cli", "/core", "/base"}) {
    for (const auto& entry :
         std::filesystem::recursive_directory_iterator(TOVKIT_SOURCE_DIR + std::string(folder))) {
      if (!entry.is_regular_file()) continue;
      for (const std::string& name : Between(ContentsOfFile(entry.path()), "getenv(\"", "\"")) {
        EXPECT_TRUE(Has(environment, name)) << name;
        ++variables;
      }
    }
  }
  EXPECT_GE(variables, 4U);
}

}  // namespace
