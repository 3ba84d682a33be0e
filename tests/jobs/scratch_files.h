// SPDX-License-Identifier: MIT
// Files of a test in a folder of its own, and what goes wrong with them.
#pragma once

#include "jobs/error.h"

#include "scratch_dir.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

class ScratchFiles : public testing::Test {
 protected:
  std::string Path(const std::string& name) const { return scratch_.path() + "/" + name; }
  void Write(const std::string& name, const std::string& text) const { std::ofstream(Path(name)) << text; }
  std::string Read(const std::string& name) const {
    std::ifstream in(Path(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }

  ScratchDir scratch_;
};

// The text of the error that the action throws, empty without one.
template <typename Action>
std::string FailureOf(Action action) {
  try {
    action();
    return "";
  } catch (const jobs::Error& e) {
    return e.what();
  }
}
