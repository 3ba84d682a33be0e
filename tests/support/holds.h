// SPDX-License-Identifier: MIT
// HOLDS(condition): ends a child process, and with it the test that waits for it, with the number of the line
// that does not hold.
#pragma once

#include <unistd.h>

#include <cstdio>

#define HOLDS(condition)                                                       \
  if (!(condition)) {                                                          \
    std::fprintf(stderr, "line %d does not hold: %s\n", __LINE__, #condition); \
    _exit(1);                                                                  \
  }
