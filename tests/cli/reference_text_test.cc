// SPDX-License-Identifier: MIT
// The man page and the completions of a small surface, every character of them.
#include "reference/surface.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using reference::Command;
using reference::Surface;
using reference::ValueKind;

// One of everything: options with and without values, files and folders, a program, a command below another.
Surface SmallSurface() {
  Command draw{"draw",
               "Draw what's there. More follows",
               "'tis all",
               {{{"-h", "--help"}, "", "Help\nand more", false, "", ValueKind::kOther},
                {{"-s", "--size"}, "INT", "Pixels\n.not a request", false, "4", ValueKind::kOther},
                {{"--to"}, "FILE", "Where to", false, "", ValueKind::kFile},
                {{"--in"}, "DIR", "Back\\slash", false, "", ValueKind::kDirectory}},
               {{{}, "FILE", "What to draw", true, "", ValueKind::kFile},
                {{}, "MORE...", "What else", false, "2-3", ValueKind::kOther}},
               {}};
  Command run{"run", "Run it", "", {}, {{{}, "PROGRAM", "It", true, "", ValueKind::kProgram}}, {}};
  Command inner{"inner", "Is held", "", {{{"-q"}, "", "Soon", false, "", ValueKind::kOther}}, {}, {}};
  Command outer{"outer", "Holds one", "never shown", {}, {}, {inner}};
  Command root{"tovkit", "A tool-box.",     "", {{{"--version"}, "", "Which", false, "", ValueKind::kOther}},
               {},       {draw, run, outer}};
  return {"1.2", root};
}

// What follows are the sections that are the same for every surface.
TEST(ReferenceText, TheManPagesCommands) {
  const std::string page = reference::ManPage(SmallSurface());
  EXPECT_EQ(page.substr(0, page.find(".SH DESCRIPTIONS OF TEXT")),
            R"(.TH TOVKIT 1 "" "tovkit 1.2" "User Commands"
.SH NAME
tovkit \- A tool\-box.
.SH SYNOPSIS
\fBtovkit\fR \fISUBCOMMAND\fR [\fIOPTIONS\fR] [\fIARGUMENTS\fR]
.SH OPTIONS
.TP
\fB\-\-version\fR
Which
.SH SUBCOMMANDS
.SS \fBtovkit draw\fR [\fIOPTIONS\fR] \fIFILE\fR [\fIMORE...\fR]
Draw what's there. More follows
.TP
\fIFILE\fR
What to draw
.TP
\fIMORE...\fR
What else (default: 2\-3)
.TP
\fB\-h\fR, \fB\-\-help\fR
Help
and more
.TP
\fB\-s\fR, \fB\-\-size\fR \fIINT\fR
Pixels
\&.not a request (default: 4)
.TP
\fB\-\-to\fR \fIFILE\fR
Where to
.TP
\fB\-\-in\fR \fIDIR\fR
Back\eslash
.PP
\&'tis all
.SS \fBtovkit run\fR \-\- \fIPROGRAM\fR [\fIARGUMENT\fR]...
Run it
.TP
\fIPROGRAM\fR
It
.SS \fBtovkit outer inner\fR [\fIOPTIONS\fR]
Is held
.TP
\fB\-q\fR
Soon
)");
}

// One entry of each kind with what stands before and behind it.
TEST(ReferenceText, TheManPagesSections) {
  const std::string page = reference::ManPage(SmallSurface());
  const auto section = [&page](const std::string& from, const std::string& to) {
    const std::size_t at = page.find(from);
    return at == std::string::npos ? "" : page.substr(at, to.empty() ? to.npos : page.find(to, at) - at);
  };
  EXPECT_EQ(
      section(".SH DESCRIPTIONS OF TEXT", ".TP\n\\fBDeltaX"),
      ".SH DESCRIPTIONS OF TEXT\n.PP\nWhat draw reads is a JSON object for one line of text, an array of "
      "them for a page, or an array of such arrays for several pages. Every key may be left "
      "out.\n.TP\n\\fBContent\\fR\nThe text, UTF\\-8. Without it nothing "
      "is drawn.\n");
  EXPECT_EQ(
      section(".PP\nDoes a point", ".PP\nWhich pages"),
      ".PP\nDoes a point touch a path?\n.PP\n.in +4n\n.EX\necho \\(aqM0 0 H10 V10 H0 Z\\(aq | tovkit hit "
      "\\- \\-\\-point 5,5 \\-\\-fill\n.EE\n.in\n");
  EXPECT_EQ(section(".SH SEE ALSO", ""),
            ".SH SEE ALSO\n\\fBbase64\\fR(1),\n\\fBfc\\-list\\fR(1),\n\\fBipcs\\fR(1),\n\\fBps\\fR(1),\n"
            "\\fBtimeout\\fR(1),\n\\fBfonts\\-conf\\fR(5),\n\\fBproc\\fR(5),\n\\fBsvipc\\fR(7)\n");
}

TEST(ReferenceText, BashCompletion) {
  EXPECT_EQ(reference::BashCompletion(SmallSurface()), R"(# bash completion for tovkit
_tovkit() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]} path='' word words='' i
  local -i behind=0 program=0
  if [[ $current == = ]]; then current=''; fi
  if [[ $previous == = ]]; then previous=${COMP_WORDS[COMP_CWORD-2]}; fi
  for ((i = 1; i < COMP_CWORD; ++i)); do
    word=${COMP_WORDS[i]}
    if ((behind)); then behind+=1; continue; fi
    if [[ $word == -- ]]; then behind=1 program=i+1; continue; fi
    case "${path:+$path }$word" in
      'draw'|'run'|'outer'|'outer inner') path="${path:+$path }$word" ;;
    esac
  done
  if ((behind)); then
    case "$path" in
      'run') if ((behind == 1)); then mapfile -t COMPREPLY < <(compgen -c -- "$current" | sort -u)
        elif declare -F _command_offset > /dev/null; then _command_offset "$program"
        else mapfile -t COMPREPLY < <(compgen -f -- "$current"); fi ;;
      'draw') mapfile -t COMPREPLY < <(compgen -f -- "$current") ;;
    esac
    return
  fi
  case "$path $previous" in
    'draw --to') mapfile -t COMPREPLY < <(compgen -f -- "$current"); return ;;
    'draw --in') mapfile -t COMPREPLY < <(compgen -d -- "$current"); return ;;
    'draw -s'|'draw --size') COMPREPLY=(); return ;;
  esac
  case "$path" in
    '') words='draw run outer --version' ;;
    'draw') words='-h --help -s --size --to --in' ;;
    'run') words='--' ;;
    'outer') words='inner' ;;
    'outer inner') words='-q' ;;
  esac
  mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
  case "$path" in
    'draw') mapfile -t -O ${#COMPREPLY[@]} COMPREPLY < <(compgen -f -- "$current") ;;
  esac
}
complete -o filenames -F _tovkit tovkit
)");
}

TEST(ReferenceText, ZshCompletion) {
  EXPECT_EQ(reference::ZshCompletion(SmallSurface()), R"(#compdef tovkit
local previous=${words[CURRENT-1]} leading='' word
local -a offered
local -i i behind=0
if [[ $PREFIX == --*=* ]]; then previous=${PREFIX%%=*}; compset -P '*='; fi
for ((i = 2; i < CURRENT; ++i)); do
  word=${words[i]}
  if [[ $word == -- ]]; then behind=i; break; fi
  case "${leading:+$leading }$word" in
    'draw'|'run'|'outer'|'outer inner') leading="${leading:+$leading }$word" ;;
  esac
done
if ((behind)); then
  case "$leading" in
    'run') words=("${(@)words[behind+1,-1]}"); ((CURRENT -= behind)); _normal; return ;;
    'draw') _files; return ;;
  esac
  return 1
fi
case "$leading $previous" in
  'draw --to') _files; return ;;
  'draw --in') _files -/; return ;;
  'draw -s'|'draw --size') return 1 ;;
esac
case "$leading" in
  '') offered=(draw run outer --version) ;;
  'draw') offered=(-h --help -s --size --to --in) ;;
  'run') offered=(--) ;;
  'outer') offered=(inner) ;;
  'outer inner') offered=(-q) ;;
esac
compadd -- $offered
case "$leading" in
  'draw') _files ;;
esac
)");
}

TEST(ReferenceText, FishCompletion) {
  const std::string script = reference::FishCompletion(SmallSurface());
  const std::size_t commands = script.find("complete -c tovkit");
  EXPECT_EQ(script.substr(0, commands), R"(# fish completion for tovkit
function __tovkit_behind_dashes
  contains -- -- (commandline -opc)
end
# What the program behind -- would be offered.
function __tovkit_program
  set -l words (commandline -opc)
  set -l program $words[(math (contains -i -- -- $words) + 1)..-1]
  complete -C (string join ' ' (string escape -- $program) (commandline -ct))
end
)");
  EXPECT_EQ(script.substr(commands),
            R"(complete -c tovkit -f -n __fish_use_subcommand -a draw -d 'Draw what\'s there'
complete -c tovkit -f -n __fish_use_subcommand -a run -d 'Run it'
complete -c tovkit -f -n __fish_use_subcommand -a outer -d 'Holds one'
complete -c tovkit -n '__fish_seen_subcommand_from draw' -s h -l help -d 'Help'
complete -c tovkit -n '__fish_seen_subcommand_from draw' -s s -l size -x -d 'Pixels'
complete -c tovkit -n '__fish_seen_subcommand_from draw' -l to -r -F -d 'Where to'
complete -c tovkit -n '__fish_seen_subcommand_from draw' -l in -x -a '(__fish_complete_directories)' -d 'Back\\slash'
complete -c tovkit -f -n '__fish_seen_subcommand_from run'
complete -c tovkit -f -n '__fish_seen_subcommand_from run; and __tovkit_behind_dashes' -a '(__tovkit_program)'
complete -c tovkit -f -n '__fish_seen_subcommand_from outer'
complete -c tovkit -f -n '__fish_seen_subcommand_from outer' -a inner -d 'Is held'
complete -c tovkit -f -n '__fish_seen_subcommand_from inner'
complete -c tovkit -n '__fish_seen_subcommand_from inner' -s q -d 'Soon'
)");
}

// Without anything to match there is no branch, and no word too many.
TEST(ReferenceText, ASurfaceWithoutSubcommands) {
  const Surface bare = {"1",
                        {"tovkit", "", "", {{{"-q"}, "", "Soon", false, "", ValueKind::kOther}}, {}, {}}};
  const std::string bash = reference::BashCompletion(bare);
  EXPECT_NE(
      bash.find(
          "\" in\n    esac\n  done\n  if ((behind)); then\n    case \"$path\" in\n    esac\n    return\n"
          "  fi\n  case \"$path $previous\" in\n  esac\n  case \"$path\" in\n    '') words='-q' ;;\n"
          "  esac\n"),
      std::string::npos)
      << bash;
}

}  // namespace
