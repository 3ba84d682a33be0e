// SPDX-License-Identifier: MIT
// Apart from surface.cc, because only this function needs the subcommands linked.
#include "../command_line.h"
#include "surface.h"

#include <CLI/CLI.hpp>

namespace reference {

Surface CommandSurface() {
  CLI::App app;
  cli::DefineCommand(app);
  return ReadSurface(app);
}

}  // namespace reference
