// SPDX-License-Identifier: MIT
// The command's surface as plain data: what the man page and the completions are made from.
//
//   const Surface surface = ReadSurface(app);
//   std::fputs(ManPage(surface).c_str(), stdout);
#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace reference {

// What shells can offer for a value.
enum class ValueKind { kOther, kFile, kDirectory, kProgram, kCommand };

struct Option {
  std::vector<std::string> names;  // with their dashes; empty for a positional argument
  std::string value;               // how the value is called, empty for a flag
  std::string description;
  bool required = false;
  std::string defaultValue;  // empty for none
  ValueKind kind = ValueKind::kOther;
  std::string attached = {};  // how a value is called that may follow "=" only; empty for none
};

struct Command {
  std::string name;
  std::string description;
  std::string footer;
  std::vector<Option> options;
  std::vector<Option> positionals;
  std::vector<Command> subcommands;
};

struct Surface {
  std::string version;
  Command root;
};

Surface ReadSurface(const CLI::App& app);

// The surface of the tovkit command.
Surface CommandSurface();

// The command runs a program: behind "--" come the program and its arguments.
bool TakesProgram(const Command& command);

// The page in the roff language of man(7), section 1.
std::string ManPage(const Surface& surface);

std::string BashCompletion(const Surface& surface);
std::string ZshCompletion(const Surface& surface);
std::string FishCompletion(const Surface& surface);

}  // namespace reference
