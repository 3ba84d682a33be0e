// SPDX-License-Identifier: MIT
// Looks for the program as execvp would, but before the fork: the library's child reports a failed exec as
// success, so afterwards nobody could say what was wrong.
#include "program.h"

#include "error.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

namespace cli {

namespace {

// 0, or the errno that executing the file would meet.
int WhyNotExecutable(const std::string& file) {
  struct stat info {};
  if (stat(file.c_str(), &info) != 0) return errno;
  if (S_ISDIR(info.st_mode)) return EISDIR;
  if (!S_ISREG(info.st_mode)) return EACCES;
  return access(file.c_str(), X_OK) == 0 ? 0 : errno;
}

std::string SearchPath(const std::string& name) {
  const char* path = std::getenv("PATH");
  bool denied = false;
  // The colon at the end makes an empty last entry count too.
  std::istringstream entries((path == nullptr ? std::string("/usr/local/bin:/usr/bin:/bin") : path) + ":");
  for (std::string entry; std::getline(entries, entry, ':');) {
    // Absolute, since the child may start in another directory.
    std::error_code error;
    const std::filesystem::path folder = std::filesystem::absolute(entry.empty() ? "." : entry, error);
    if (error) continue;
    std::string file = folder / name;
    const int reason = WhyNotExecutable(file);
    if (reason == 0) return file;
    denied |= reason == EACCES && std::filesystem::is_regular_file(file, error);
  }
  if (denied) throw CommandError(name + ": Permission denied", kCannotExecute);
  throw CommandError(name + ": not found in PATH", kNotFound);
}

// A child whose exec fails reports success, so the format is checked beforehand. Of an unreadable file the
// kernel decides.
void CheckFormat(const std::string& file, const std::string& name) {
  const auto refuse = [&name](const std::string& why) {
    throw CommandError(name + ": " + why, kCannotExecute);
  };
  std::ifstream in(file, std::ios::binary);
  char magic[4] = {};
  if (!in.read(magic, 2)) {
    if (in.gcount() == 0 && in.eof()) refuse("an empty file is no program");
    if (in.eof()) refuse("neither a binary nor a script that begins with #!");
    return;
  }
  if (std::memcmp(magic, "#!", 2) == 0) {
    std::string line, interpreter;
    std::getline(in, line);
    std::istringstream(line) >> interpreter;
    if (const int error = WhyNotExecutable(interpreter)) {
      refuse("interpreter " + interpreter + ": " + std::strerror(error));
    }
    return;
  }
  if (!in.read(magic + 2, 2) || std::memcmp(magic, "\177ELF", 4) != 0) {
    refuse("neither a binary nor a script that begins with #!");
  }
}

}  // namespace

std::string FindProgram(const std::string& name, const std::string& directory) {
  if (name.empty()) throw CommandError("the program's name is empty", kNotFound);
  const bool searched = name.find('/') == std::string::npos;
  std::string program = searched ? SearchPath(name) : name;
  const bool fromDirectory = program.front() != '/' && !directory.empty();
  const std::string file = fromDirectory ? directory + "/" + program : program;
  if (const int error = WhyNotExecutable(file)) {
    throw CommandError(name + ": " + std::strerror(error), error == ENOENT ? kNotFound : kCannotExecute);
  }
  CheckFormat(file, name);
  return program;
}

}  // namespace cli
