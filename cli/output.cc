// SPDX-License-Identifier: MIT
// Standard output can fail like any file (a full disk, a closed pipe). It is flushed and looked at before
// the command says that it is done.
#include "output.h"

#include "error.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

namespace cli {

namespace {

std::string OutputName(const std::string& file) { return file == "-" ? "standard output" : file; }

bool IsTerminal(const std::string& file) {
  if (file == "-") return isatty(STDOUT_FILENO) == 1;
  struct stat status = {};
  if (stat(file.c_str(), &status) != 0 || !S_ISCHR(status.st_mode)) return false;
  const int fd = open(file.c_str(), O_WRONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) return false;
  const bool terminal = isatty(fd) == 1;
  close(fd);
  return terminal;
}

}  // namespace

jobs::OutputFormat ChooseFormat(const OutputOptions& output, jobs::OutputKind kind) {
  if (output.file.empty()) throw UsageError("the output's name is empty");
  const std::string name = output.format.empty() ? jobs::ExtensionOf(output.file) : output.format;
  const std::string there = "the formats are " + jobs::OutputFormatNames(kind);
  if (name.empty()) {
    throw UsageError(output.file == "-" ? "standard output needs --format; " + there
                                        : output.file + ": no extension names its format; " + there);
  }
  const auto format = jobs::FindOutputFormat(name, kind);
  if (!format) {
    throw UsageError((output.format.empty() ? output.file : "--format") + ": " +
                     jobs::WhyNoOutputFormat(name) + "; " + there);
  }
  if (output.effort != 0 && !jobs::HasEffort(*format)) {
    throw UsageError("--effort: there is no choice of it for " + name);
  }
  if (IsTerminal(output.file)) {
    throw UsageError(OutputName(output.file) + " is a terminal, which is no place for a picture");
  }
  return *format;
}

jobs::Output JobOutput::Target() {
  return file_ == "-" ? jobs::Output::Memory(&bytes_, OutputName(file_)) : jobs::Output::File(file_);
}

void JobOutput::Finish() {
  if (bytes_.GetSize() != 0) std::fwrite(bytes_.GetData(), 1, bytes_.GetSize(), stdout);
}

}  // namespace cli
