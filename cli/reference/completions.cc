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
  return words;
}

bool TakesFiles(const Command& command) {
  for (const Option& positional : command.positionals) {
    if (positional.takesFile) return true;
  }
  return false;
}

// One pattern of a shell's case statement, 'a'|'b'|'c'.
class Pattern {
 public:
  void Add(const std::string& text) { text_ += (text_.empty() ? "'" : "|'") + text + "'"; }

  // The branch as a line of the script; nothing when there is nothing to match, since an empty pattern is
  // none.
  std::string Branch(const std::string& indent, const std::string& action) const {
    return text_.empty() ? "" : indent + text_ + ") " + action + " ;;\n";
  }

 private:
  std::string text_;
};

// What bash and zsh ask about the words before the cursor.
struct Patterns {
  Pattern commands;      // the words so far are a command
  Pattern fileOptions;   // command and option before the cursor: a path follows
  Pattern valueOptions;  // the same: another value follows, and nothing is known of it
  Pattern fileCommands;  // the command's arguments are paths
};

Patterns ReadPatterns(const Surface& surface) {
  Patterns patterns;
  for (const Leaf& leaf : Leaves(surface)) {
    patterns.commands.Add(leaf.words);
    if (TakesFiles(*leaf.command)) patterns.fileCommands.Add(leaf.words);
    for (const Option& option : leaf.command->options) {
      if (option.value.empty()) continue;
      Pattern& pattern = option.takesFile ? patterns.fileOptions : patterns.valueOptions;
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

}  // namespace

std::string BashCompletion(const Surface& surface) {
  const Patterns patterns = ReadPatterns(surface);
  std::string script =
      "# bash completion for tovkit\n"
      "_tovkit() {\n"
      "  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]} path='' word words=''\n"
      "  for word in \"${COMP_WORDS[@]:1:COMP_CWORD-1}\"; do\n"
      "    case \"${path:+$path }$word\" in\n";
  script += patterns.commands.Branch("      ", "path=\"${path:+$path }$word\"");
  script += "    esac\n  done\n  case \"$path $previous\" in\n";
  script +=
      patterns.fileOptions.Branch("    ", "mapfile -t COMPREPLY < <(compgen -f -- \"$current\"); return");
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

std::string ZshCompletion(const Surface& surface) {
  const Patterns patterns = ReadPatterns(surface);
  std::string script =
      "#compdef tovkit\n"
      "local previous=${words[CURRENT-1]} leading='' word\n"
      "local -a offered\n"
      "for word in ${words[2,CURRENT-1]}; do\n"
      "  case \"${leading:+$leading }$word\" in\n";
  script += patterns.commands.Branch("    ", "leading=\"${leading:+$leading }$word\"");
  script += "  esac\ndone\ncase \"$leading $previous\" in\n";
  script += patterns.fileOptions.Branch("  ", "_files; return");
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
  std::string script = "# fish completion for tovkit\n";
  for (const Command& command : surface.root.subcommands) {
    script += "complete -c tovkit -f -n __fish_use_subcommand -a " + command.name + " -d " +
              FishQuoted(command.description) + "\n";
  }
  for (const Leaf& leaf : Leaves(surface)) {
    const std::string condition =
        " -n '__fish_seen_subcommand_from " + leaf.words.substr(leaf.words.rfind(' ') + 1) + "'";
    if (!TakesFiles(*leaf.command)) script += "complete -c tovkit -f" + condition + "\n";
    for (const Command& sub : leaf.command->subcommands) {
      script += "complete -c tovkit -f" + condition + " -a " + sub.name + " -d " +
                FishQuoted(sub.description) + "\n";
    }
    for (const Option& option : leaf.command->options) {
      script += "complete -c tovkit" + condition;
      for (const std::string& name : option.names) {
        script += name.compare(0, 2, "--") == 0 ? " -l " + name.substr(2) : " -s " + name.substr(1);
      }
      if (!option.value.empty()) script += option.takesFile ? " -r -F" : " -x";
      script += " -d " + FishQuoted(option.description) + "\n";
    }
  }
  return script;
}

}  // namespace reference
