// SPDX-License-Identifier: MIT
// The tovkit command: every facility of the library in a person's hands.
#include "command_line.h"

#include <tovmx/font.h>

int main(int argc, char** argv) {
  CoreShareFontConfiguration();
  return cli::RunCommandLine(argc, argv);
}
