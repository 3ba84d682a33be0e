// SPDX-License-Identifier: MIT
// Every entry point is run again and again; in run n its nth allocation fails, then, in a second sweep, every
// one from the nth on. It may end with std::bad_alloc or with its documented failure, never with a leak (the
// sanitizers look), a crash or a damaged object: after each failure the same call must succeed on what it
// left.
#pragma once

#include "allocation_faults.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdio>
#include <new>

class AllocationSweep : public testing::Test {
 protected:
  // `make` returns the object that a run works on, `run` the call, `check` looks at the object afterwards and
  // is told whether the call threw. Only the allocations of `run` fail.
  template <typename Make, typename Run, typename Check>
  void Sweep(Make make, Run run, Check check) {
    for (const long count : {1L, LONG_MAX}) {
      for (long n = 1;; ++n) {
        auto object = make();
        bool threw = false;
        long failed = 0;
        {
          const AllocationFaults faults = AllocationFaults::OfAny(n, count);
          try {
            run(object);
          } catch (const std::bad_alloc&) {
            threw = true;
          }
          failed = faults.failed();
        }
        check(object, threw);
        if (failed == 0) {
          EXPECT_FALSE(threw) << "bad_alloc without a failed allocation";
          break;
        }
        ++points_;
        ASSERT_LT(n, 1000000);
      }
    }
  }

  // A call on nothing whose result must be right once memory is there again.
  template <typename Run>
  void SweepCall(Run run) {
    Sweep([] { return 0; }, [&run](int) { run(); }, [](int, bool) {});
    run();
  }

  ~AllocationSweep() override { std::printf("swept %ld points of failure\n", points_); }

  long points_ = 0;
};
