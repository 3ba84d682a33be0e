// SPDX-License-Identifier: MIT
// Three scripts from one surface. bash and zsh are asked about the words before the cursor, so both get case
// statements over those words. fish asks about one option at a time, so it gets a line for each.
#include "surface.h"

#include <algorithm>

namespace reference {

namespace {

// Every command, with the words that lead to it.
struct Leaf {
  std::string words;
  const Command* command;
};

void Collect(const std::string& prefix, const Command& command, std::vector<Leaf>& leaves) {
  const std::string words = prefix.empty() ? command.name : prefix + " " + command.name;
  leaves.push_back({words, &command});
  for (const Command& sub : command.subcommands) Collect(words, sub, leaves);
}

// A command whose arguments are the names of others, such as help.
bool TakesCommands(const Command& command) {
  return std::any_of(command.positionals.begin(), command.positionals.end(),
                     [](const Option& positional) { return positional.kind == ValueKind::kCommand; });
}

// The names of the commands alone.
Command NamesOf(const Command& command) {
  Command names;
  names.name = command.name;
  names.description = command.description;
  for (const Command& sub : command.subcommands) names.subcommands.push_back(NamesOf(sub));
  return names;
}

// The surface as shells see it: a command that takes the names of others, such as help, has them as
// subcommands.
Surface Offered(Surface surface) {
  const std::vector<Command> names = NamesOf(surface.root).subcommands;
  for (Command& command : surface.root.subcommands) {
    if (TakesCommands(command)) command.subcommands = names;
  }
  return surface;
}

std::vector<Leaf> Leaves(const Surface& surface) {
  std::vector<Leaf> leaves;
  for (const Command& command : surface.root.subcommands) Collect("", command, leaves);
  return leaves;
}

std::string Words(const Command& command) {
  std::string words;
  const auto add = [&words](const std::string& word) { words += (words.empty() ? "" : " ") + word; };
  for (const Command& sub : command.subcommands) add(sub.name);
  for (const Option& option : command.options) {
    for (const std::string& name : option.names) add(name);
  }
  if (TakesProgram(command)) add("--");
  return words;
}

bool TakesFiles(const Command& command) {
  return std::any_of(command.positionals.begin(), command.positionals.end(),
                     [](const Option& positional) { return positional.kind == ValueKind::kFile; });
}

// One pattern of a shell's case statement, 'a'|'b'|'c'.
class Pattern {
 public:
  void Add(const std::string& text) { text_ += (text_.empty() ? "'" : "|'") + text + "'"; }

  // The branch as a line of the script; empty without anything to match, since shells refuse an empty
  // pattern.
  std::string Branch(const std::string& indent, const std::string& action) const {
    return text_.empty() ? "" : indent + text_ + ") " + action + " ;;\n";
  }

 private:
  std::string text_;
};

// What bash and zsh ask about the words before the cursor.
struct Patterns {
  Pattern commands;          // the words so far are a command
  Pattern fileOptions;       // command and option before the cursor: a path follows
  Pattern directoryOptions;  // the same: a directory follows
  Pattern valueOptions;      // the same: another value follows, and nothing is known of it
  Pattern fileCommands;      // the command's arguments are paths
  Pattern programCommands;   // behind "--" come a program and its arguments
};

Patterns ReadPatterns(const Surface& surface) {
  Patterns patterns;
  for (const Leaf& leaf : Leaves(surface)) {
    patterns.commands.Add(leaf.words);
    if (TakesFiles(*leaf.command)) patterns.fileCommands.Add(leaf.words);
    if (TakesProgram(*leaf.command)) patterns.programCommands.Add(leaf.words);
    for (const Option& option : leaf.command->options) {
      if (option.value.empty()) continue;
      Pattern& pattern = option.kind == ValueKind::kFile        ? patterns.fileOptions
                         : option.kind == ValueKind::kDirectory ? patterns.directoryOptions
                                                                : patterns.valueOptions;
      for (const std::string& name : option.names) pattern.Add(leaf.words + " " + name);
    }
  }
  return patterns;
}

// The first sentence in single quotes, as fish reads them.
std::string FishQuoted(const std::string& text) {
  const std::string sentence = text.substr(0, std::min(text.find('\n'), text.find(". ")));
  std::string result = "'";
  for (const char c : sentence) {
    if (c == '\'' || c == '\\') result += '\\';
    result += c;
  }
  return result + "'";
}

// How fish is told of an option's value.
std::string FishValue(const Option& option) {
  if (option.value.empty()) return "";
  if (option.kind == ValueKind::kFile) return " -r -F";
  if (option.kind == ValueKind::kDirectory) return " -x -a '(__fish_complete_directories)'";
  return " -x";
}

}  // namespace

std::string BashCompletion(const Surface& described) {
  const Surface surface = Offered(described);
  const Patterns patterns = ReadPatterns(surface);
  // The shell hands "--option=value" to the function as three words. `behind` counts from the word "--" on.
  std::string script =
      "# bash completion for tovkit\n"
      "_tovkit() {\n"
      "  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]} path='' word words='' "
      "i\n"
      "  local -i behind=0 program=0\n"
      "  if [[ $current == = ]]; then current=''; fi\n"
      "  if [[ $previous == = ]]; then previous=${COMP_WORDS[COMP_CWORD-2]}; fi\n"
      "  for ((i = 1; i < COMP_CWORD; ++i)); do\n"
      "    word=${COMP_WORDS[i]}\n"
      "    if ((behind)); then behind+=1; continue; fi\n"
      "    if [[ $word == -- ]]; then behind=1 program=i+1; continue; fi\n"
      "    case \"${path:+$path }$word\" in\n";
  script += patterns.commands.Branch("      ", "path=\"${path:+$path }$word\"");
  script += "    esac\n  done\n  if ((behind)); then\n    case \"$path\" in\n";
  script += patterns.programCommands.Branch(
      "      ",
      "if ((behind == 1)); then mapfile -t COMPREPLY < <(compgen -c -- \"$current\" | sort -u)\n"
      "        elif declare -F _command_offset > /dev/null; then _command_offset \"$program\"\n"
      "        else mapfile -t COMPREPLY < <(compgen -f -- \"$current\"); fi");
  script += patterns.fileCommands.Branch("      ", "mapfile -t COMPREPLY < <(compgen -f -- \"$current\")");
  script += "    esac\n    return\n  fi\n  case \"$path $previous\" in\n";
  script +=
      patterns.fileOptions.Branch("    ", "mapfile -t COMPREPLY < <(compgen -f -- \"$current\"); return");
  script += patterns.directoryOptions.Branch("    ",
                                             "mapfile -t COMPREPLY < <(compgen -d -- \"$current\"); return");
  script += patterns.valueOptions.Branch("    ", "COMPREPLY=(); return");
  script += "  esac\n  case \"$path\" in\n    '') words='" + Words(surface.root) + "' ;;\n";
  for (const Leaf& leaf : Leaves(surface)) {
    script += "    '" + leaf.words + "') words='" + Words(*leaf.command) + "' ;;\n";
  }
  script +=
      "  esac\n  mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"$current\")\n  case \"$path\" in\n";
  script += patterns.fileCommands.Branch(
      "    ", "mapfile -t -O ${#COMPREPLY[@]} COMPREPLY < <(compgen -f -- \"$current\")");
  script += "  esac\n}\ncomplete -o filenames -F _tovkit tovkit\n";
  return script;
}

std::string ZshCompletion(const Surface& described) {
  const Surface surface = Offered(described);
  const Patterns patterns = ReadPatterns(surface);
  std::string script =
      "#compdef tovkit\n"
      "local previous=${words[CURRENT-1]} leading='' word\n"
      "local -a offered\n"
      "local -i i behind=0\n"
      "if [[ $PREFIX == --*=* ]]; then previous=${PREFIX%%=*}; compset -P '*='; fi\n"
      "for ((i = 2; i < CURRENT; ++i)); do\n"
      "  word=${words[i]}\n"
      "  if [[ $word == -- ]]; then behind=i; break; fi\n"
      "  case \"${leading:+$leading }$word\" in\n";
  script += patterns.commands.Branch("    ", "leading=\"${leading:+$leading }$word\"");
  script += "  esac\ndone\nif ((behind)); then\n  case \"$leading\" in\n";
  script += patterns.programCommands.Branch(
      "    ", "words=(\"${(@)words[behind+1,-1]}\"); ((CURRENT -= behind)); _normal; return");
  script += patterns.fileCommands.Branch("    ", "_files; return");
  script += "  esac\n  return 1\nfi\ncase \"$leading $previous\" in\n";
  script += patterns.fileOptions.Branch("  ", "_files; return");
  script += patterns.directoryOptions.Branch("  ", "_files -/; return");
  script += patterns.valueOptions.Branch("  ", "return 1");
  script += "esac\ncase \"$leading\" in\n  '') offered=(" + Words(surface.root) + ") ;;\n";
  for (const Leaf& leaf : Leaves(surface)) {
    script += "  '" + leaf.words + "') offered=(" + Words(*leaf.command) + ") ;;\n";
  }
  script += "esac\ncompadd -- $offered\ncase \"$leading\" in\n";
  script += patterns.fileCommands.Branch("  ", "_files");
  script += "esac\n";
  return script;
}

std::string FishCompletion(const Surface& surface) {
  std::string script =
      "# fish completion for tovkit\n"
      "function __tovkit_behind_dashes\n"
      "  contains -- -- (commandline -opc)\n"
      "end\n"
      "# What the program behind -- would be offered.\n"
      "function __tovkit_program\n"
      "  set -l words (commandline -opc)\n"
      "  set -l program $words[(math (contains -i -- -- $words) + 1)..-1]\n"
      "  complete -C (string join ' ' (string escape -- $program) (commandline -ct))\n"
      "end\n";
  for (const Command& command : surface.root.subcommands) {
    script += "complete -c tovkit -f -n __fish_use_subcommand -a " + command.name + " -d " +
              FishQuoted(command.description) + "\n";
  }
  for (const Leaf& leaf : Leaves(surface)) {
    const std::string seen = "__fish_seen_subcommand_from " + leaf.words.substr(leaf.words.rfind(' ') + 1);
    const std::string condition = " -n '" + seen + "'";
    if (!TakesFiles(*leaf.command)) script += "complete -c tovkit -f" + condition + "\n";
    if (TakesProgram(*leaf.command)) {
      script +=
          "complete -c tovkit -f -n '" + seen + "; and __tovkit_behind_dashes' -a '(__tovkit_program)'\n";
    }
    // Below these commands fish decides by the last word, whatever stands before it.
    const bool takesCommands = TakesCommands(*leaf.command);
    for (const Command& sub : takesCommands ? surface.root.subcommands : leaf.command->subcommands) {
      script += "complete -c tovkit -f" + condition + " -a " + sub.name + " -d " +
                FishQuoted(sub.description) + "\n";
    }
    for (const Option& option : leaf.command->options) {
      script += "complete -c tovkit" + condition;
      for (const std::string& name : option.names) {
        script += name.compare(0, 2, "--") == 0 ? " -l " + name.substr(2) : " -s " + name.substr(1);
      }
      script += FishValue(option) + " -d " + FishQuoted(option.description) + "\n";
    }
  }
  return script;
}

}  // namespace reference
