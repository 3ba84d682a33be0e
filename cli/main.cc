// SPDX-License-Identifier: MIT
// The tovkit command: every facility of the library in a person's hands.
#include "command_line.h"
#include "standard_output.h"

#include <tovmx/font.h>

int main(int argc, char** argv) {
  cli::PrintRetried();
  CoreShareFontConfiguration();
  return cli::RunCommandLine(argc, argv);
}
