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
