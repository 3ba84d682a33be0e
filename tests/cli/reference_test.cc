// The man page and the completions: what a small surface gives, and what the real ones answer.
#include <gtest/gtest.h>
#include <CLI/CLI.hpp>

#include <cstdio>
#include <string>

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
      ->check(CLI::Range(1, 9));
  auto* const group = draw->add_option_group("job");
  group->add_option("--to")->description("Where to")->type_name("FILE");
  group->add_flag("--quick")->description("Soon");
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
  ASSERT_EQ(draw.options.size(), 4U);  // with --help
  EXPECT_EQ(draw.options[2].names, std::vector<std::string>{"--to"});
  EXPECT_TRUE(draw.options[2].takesFile);
  EXPECT_EQ(draw.options[3].value, "");
}

TEST(Reference, AValueIsCalledByItsTypeWithoutTheChecks) {
  EXPECT_EQ(SmallSurface().root.subcommands[0].options[1].value, "INT");
}

TEST(Reference, TheManPageProtectsWhatRoffWouldRead) {
  const std::string page = reference::ManPage(SmallSurface());
  EXPECT_TRUE(Has(page, ".SS \\fBtovkit draw\\fR [\\fIOPTIONS\\fR] \\fIFILE\\fR [\\fIMORE\\fR]\n")) << page;
  EXPECT_TRUE(Has(page, "\\fB\\-s\\fR, \\fB\\-\\-size\\fR \\fIINT\\fR\nPixels\n\\&.not a request\n")) << page;
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

// What `bash -c` prints, or the exit status when it is not 0.
std::string Bash(const std::string& script) {
  std::FILE* const out = popen(("bash -c '" + script + "' 2>&1").c_str(), "r");
  std::string text;
  char piece[512];
  while (const std::size_t length = std::fread(piece, 1, sizeof piece, out)) text.append(piece, length);
  const int status = pclose(out);
  return status == 0 ? text : "status " + std::to_string(status) + ": " + text;
}

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

// What bash offers behind `words`, the last of which is being typed, in a folder with the file "a
// picture.png".
std::string Offered(const std::string& words) {
  const ScratchDir dir;
  Write(dir.path() + "/a picture.png", "");
  return Bash("source " TOVKIT_BASH_COMPLETION "; cd " + dir.path() + "; COMP_WORDS=(tovkit " + words +
              "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _tovkit; printf \"%s|\" \"${COMPREPLY[@]}\"");
}

TEST(Reference, BashCompletesTheWordsOfTheCommand) {
  EXPECT_EQ(Offered("bas"), "base64|");
  EXPECT_EQ(Offered("base64 --de"), "--decode|");
  EXPECT_EQ(Offered("shm cr"), "create|");
  EXPECT_EQ(Offered("shm create --read"), "--read-only|");
  EXPECT_EQ(Offered("hit --po"), "--point|") << "an option of a group";
  EXPECT_EQ(Offered("nothing-like-it --vers"), "--version|") << "no command yet";
}

TEST(Reference, BashCompletesFileNamesWherePathsAreExpected) {
  EXPECT_EQ(Offered("base64 \"a p\""), "a picture.png|");
  EXPECT_EQ(Offered("image in.png --output a"), "a picture.png|");
  EXPECT_EQ(Offered("image in.png --quality a"), "|") << "a number follows";
  EXPECT_EQ(Offered("monitor a"), "|") << "no paths";
}

}  // namespace
