// SPDX-License-Identifier: MIT
// How the help, the man page and the completions call an option's value.
#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace cli {

// "INT:INT in [1 - 100]" is an INT: what follows the colon are the checks, which the description tells. A
// check for a kind of path says more than the type.
inline std::string ValueName(const std::string& type) {
  const std::size_t colon = type.find(':');
  std::string check = colon == std::string::npos ? "" : type.substr(colon + 1);
  if (check == "FILE" || check == "DIR") return check;
  const std::string name = type.substr(0, colon);
  return name.empty() ? "VALUE" : name;
}

// A value that may be left out follows "=" only.
inline bool TakesAttachedValue(const CLI::Option& option) { return !option.get_fnames().empty(); }

}  // namespace cli
