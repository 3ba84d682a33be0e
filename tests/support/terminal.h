// SPDX-License-Identifier: MIT
// The two ends of a terminal of the test's own.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>

struct Terminal {
  Terminal() : ours(posix_openpt(O_RDWR | O_NOCTTY)) {
    EXPECT_GE(ours, 0);
    grantpt(ours);
    unlockpt(ours);
    theirs = open(ptsname(ours), O_RDWR | O_NOCTTY);
    EXPECT_GE(theirs, 0);
  }
  ~Terminal() {
    HangUp();
    close(ours);
  }
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  // Leaves the far end to the processes that have it.
  void HangUp() {
    if (theirs >= 0) close(theirs);
    theirs = -1;
  }

  int ours;
  int theirs = -1;
};
