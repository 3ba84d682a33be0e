// SPDX-License-Identifier: MIT
// Inputs of the subcommands: a file, or standard input for "-".
#pragma once

#include "jobs/input.h"

#include <cstdio>
#include <memory>
#include <string>

namespace cli {

struct CloseInput {
  void operator()(std::FILE* file) const {
    if (file != stdin) std::fclose(file);
  }
};
using InputFile = std::unique_ptr<std::FILE, CloseInput>;

// What messages call an input: its path, or "standard input" for "-".
std::string InputName(const std::string& file);

// The file that was named, else "-" for standard input. Throws UsageError when none was named and standard
// input is a terminal: a person would see a command that hangs.
std::string ChosenInput(const std::string& file);

// Whether the names are the same or lead to the same file that is there.
[[nodiscard]] bool IsSameFile(const std::string& one, const std::string& other);

// Opens an input for reading. Throws CommandError naming it when it cannot be opened.
[[nodiscard]] InputFile OpenInput(const std::string& file);

// An input as jobs take it. Do not use it together with OpenInput, which reads ahead of standard input.
[[nodiscard]] jobs::Input JobInput(const std::string& file);

}  // namespace cli
