#include "input_file.h"

#include "job_error.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace cli {

std::string InputName(const std::string& file) { return file == "-" ? "standard input" : file; }

std::string ChosenInput(const std::string& file) {
  if (!file.empty()) return file;
  if (isatty(STDIN_FILENO) == 1) throw UsageError("no file is named, and standard input is a terminal");
  return "-";
}

void CheckReadable(const std::string& file) {
  const InputFile input = OpenInput(file);
  if (std::fgetc(input.get()) == EOF && std::ferror(input.get()) != 0) {
    throw JobError(InputName(file) + ": " + std::strerror(errno));
  }
}

InputFile OpenInput(const std::string& file) {
  InputFile input(file == "-" ? stdin : std::fopen(file.c_str(), "re"));
  if (input == nullptr) throw JobError(InputName(file) + ": " + std::strerror(errno));
  return input;
}

std::string ReadInputFile(const std::string& file, std::size_t limit, const char* excess) {
  const InputFile input = OpenInput(file);
  std::string text;
  char piece[65536];
  while (const std::size_t length = std::fread(piece, 1, sizeof piece, input.get())) {
    text.append(piece, length);
    if (text.size() > limit) throw JobError(InputName(file) + ": " + excess);
  }
  if (std::ferror(input.get()) != 0) throw JobError(InputName(file) + ": " + std::strerror(errno));
  return text;
}

}  // namespace cli
