// SPDX-License-Identifier: MIT
// What a positional FILE means: a path, or "-" for standard input.
#include "input_file.h"

#include "error.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

namespace cli {

std::string InputName(const std::string& file) { return file == "-" ? "standard input" : file; }

std::string ChosenInput(const std::string& file) {
  if (!file.empty()) return file;
  if (isatty(STDIN_FILENO) == 1) throw UsageError("no file is named, and standard input is a terminal");
  return "-";
}

bool IsSameFile(const std::string& one, const std::string& other) {
  std::error_code error;
  return one == other || std::filesystem::equivalent(one, other, error);
}

InputFile OpenInput(const std::string& file) {
  InputFile input(file == "-" ? stdin : std::fopen(file.c_str(), "re"));
  if (input == nullptr) throw CommandError(InputName(file) + ": " + std::strerror(errno));
  return input;
}

jobs::Input JobInput(const std::string& file) {
  return file == "-" ? jobs::Input::Descriptor(STDIN_FILENO, InputName(file)) : jobs::Input::File(file);
}

}  // namespace cli
