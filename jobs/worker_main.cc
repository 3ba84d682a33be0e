// SPDX-License-Identifier: MIT
// tovkit-job: the worker program. The executor starts it; it is of no use by hand.
#include "jobs/worker.h"

#include <tovmx/font.h>

#include <unistd.h>

#include <cstdio>

int main() {
  if (isatty(STDIN_FILENO) == 1) {
    std::fputs("tovkit-job: started by tovkit batch and tovkit serve, not by hand\n", stderr);
    return 2;
  }
  CoreShareFontConfiguration();
  return jobs::ServeJobs(jobs::StandardKinds());
}
