// SPDX-License-Identifier: MIT
// What is said about a command line that is wrong.
#pragma once

#include <string>

namespace CLI {
class App;
class Error;
}  // namespace CLI

namespace cli {

// Says that `word` is no subcommand of `command`: names the one that was meant, or all when none is near.
std::string UnknownSubcommand(const CLI::App& command, const std::string& word);

// Says that `word`, which begins with a dash, is no option of `command`, and names the one that was meant
// when one is near.
std::string UnknownOption(const CLI::App& command, const std::string& word);

// The parser's complaint, in our words where the parser's hide what is wrong.
std::string WhatIsWrong(const CLI::App& root, const CLI::Error& error);

// The lines that a usage error is printed as.
std::string UsageMessage(const std::string& what);

}  // namespace cli
