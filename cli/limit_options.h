// SPDX-License-Identifier: MIT
// Options whose value is a length of time or a size, as people write them: 500ms, 2s, 64K, 1G.
#pragma once

#include "byte_count.h"
#include "duration.h"

#include <CLI/CLI.hpp>

#include <chrono>
#include <cstdint>
#include <string>

namespace cli {

struct TimeOption {
  const char* name;
  std::string what;         // the help, which the unit of a bare number is added to
  bool orNone = false;      // takes 0 as well
  int bareUnit = kSeconds;  // or kMilliseconds
};

// The value must live as long as the command. What it is at first is not shown; default_str does that.
CLI::Option* AddTimeOption(CLI::App& command, const TimeOption& option, std::chrono::milliseconds& time);

// An option, or an argument when its name has no dashes. The value must live as long as the command.
CLI::Option* AddSizeOption(CLI::App& command, const std::string& name, const ByteRange& range,
                           std::uint64_t& bytes, const std::string& what);

}  // namespace cli
