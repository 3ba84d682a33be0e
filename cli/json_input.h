// JSON files as the subcommands take them.
#pragma once

#include <tovkit/json.h>

#include <string>

namespace cli {

// Reads and parses one input. Throws JobError with the input's name and the library's own message when it is
// not JSON.
tovkit::SharedPtr<tovkit::JsonValue> ReadJson(const std::string& file);

}  // namespace cli
