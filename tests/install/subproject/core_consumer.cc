// SPDX-License-Identifier: MIT
// Uses the graphics core without the library above it.
#include <tovmx/string.h>

#include <cstdio>

int main() {
  const CoreString text("the core works");
  std::puts(text.Left(8).Compare("the core") == 0 ? text.c_str() : "failed: the core");
  return 0;
}
