// SPDX-License-Identifier: MIT
// What a shell command prints on standard output. It has to end with status 0.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

inline std::string Printed(const std::string& command) {
  std::FILE* const pipe = popen(command.c_str(), "r");
  std::string text;
  for (int c = std::fgetc(pipe); c != EOF; c = std::fgetc(pipe)) text += static_cast<char>(c);
  EXPECT_EQ(pclose(pipe), 0) << command;
  return text;
}
