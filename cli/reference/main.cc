// SPDX-License-Identifier: MIT
// Prints the command's man page or one of its shell completions: tovkit_reference man|bash|zsh|fish
#include "surface.h"

#include <cstdio>
#include <map>
#include <string>

int main(int argc, char** argv) {
  const std::map<std::string, std::string (*)(const reference::Surface&)> kinds = {
      {"man", reference::ManPage},
      {"bash", reference::BashCompletion},
      {"zsh", reference::ZshCompletion},
      {"fish", reference::FishCompletion}};
  const auto kind = argc == 2 ? kinds.find(argv[1]) : kinds.end();
  if (kind == kinds.end()) {
    std::fputs("usage: tovkit_reference man|bash|zsh|fish\n", stderr);
    return 2;
  }
  std::fputs(kind->second(reference::CommandSurface()).c_str(), stdout);
  return 0;
}
