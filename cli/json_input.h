// JSON files as the subcommands take them.
#pragma once

#include <tovkit/json.h>

#include <string>

namespace cli {

// What messages call an input: its path, or "standard input" for "-".
std::string InputName(const std::string& file);

// Every byte of a file, or of standard input for "-". Throws JobError naming the input when it cannot be
// read.
std::string ReadInputFile(const std::string& file);

// Reads and parses one input. Throws JobError with the input's name and the library's own message when it is
// not JSON.
tovkit::SharedPtr<tovkit::JsonValue> ReadJson(const std::string& file);

}  // namespace cli
