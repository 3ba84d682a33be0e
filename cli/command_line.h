// SPDX-License-Identifier: MIT
// The command's whole surface in one place: main runs it, the man page and completions are made from it.
#pragma once

namespace CLI {
class App;
}

namespace cli {

// Gives an empty `app` its name, its global options and every subcommand.
void DefineCommand(CLI::App& app);

// Does what the arguments ask for. Returns the exit status; everything was printed.
int RunCommandLine(int argc, char** argv);

}  // namespace cli
