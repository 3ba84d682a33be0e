// SPDX-License-Identifier: MIT
// Runs the tovkit command as a person would, and returns what it printed.
#pragma once

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

struct CommandResult {
  int status = -1;  // the exit status, -1 when a signal ended the command
  std::string out;
  std::string err;
};

using Environment = std::vector<std::pair<std::string, std::string>>;

// Starts `tovkit` with the given descriptors. Does not return in the child.
inline pid_t StartCommand(std::vector<std::string> arguments, int in, int out, int err,
                          const Environment& environment = {}) {
  std::fflush(nullptr);
  arguments.insert(arguments.begin(), TOVKIT_COMMAND);
  const pid_t child = fork();
  if (child != 0) return child;
  for (const auto& [name, value] : environment) setenv(name.c_str(), value.c_str(), 1);
  dup2(in, STDIN_FILENO);
  dup2(out, STDOUT_FILENO);
  dup2(err, STDERR_FILENO);
  std::vector<char*> pointers;
  pointers.reserve(arguments.size() + 1);
  for (std::string& argument : arguments) pointers.push_back(argument.data());
  pointers.push_back(nullptr);
  execv(pointers[0], pointers.data());
  _exit(127);
}

inline std::string ContentsOf(std::FILE* file) {
  std::string text;
  char piece[4096];
  std::rewind(file);
  while (const std::size_t length = std::fread(piece, 1, sizeof piece, file)) text.append(piece, length);
  return text;
}

inline CommandResult RunCommand(const std::vector<std::string>& arguments, const std::string& input = "",
                                const Environment& environment = {}) {
  std::FILE* const in = std::tmpfile();
  std::FILE* const out = std::tmpfile();
  std::FILE* const err = std::tmpfile();
  std::fwrite(input.data(), 1, input.size(), in);
  std::fflush(in);
  lseek(fileno(in), 0, SEEK_SET);
  const pid_t child = StartCommand(arguments, fileno(in), fileno(out), fileno(err), environment);
  int status = 0;
  waitpid(child, &status, 0);
  CommandResult result{WIFEXITED(status) ? WEXITSTATUS(status) : -1, ContentsOf(out), ContentsOf(err)};
  for (std::FILE* file : {in, out, err}) std::fclose(file);
  return result;
}
