// SPDX-License-Identifier: MIT
// Failing allocations on demand. A program that links allocation_faults.cc defines malloc, calloc, realloc
// and operator new itself; they pass everything on except the calls that a living AllocationFaults makes
// fail. Only calls of the thread that made the object count.
#pragma once

class AllocationFaults {
 public:
  // Calls number `first` to `first` + `count` - 1, counted from 1, fail.
  static AllocationFaults OfRealloc(long first, long count) {
    return AllocationFaults(kRealloc, first, count);
  }
  static AllocationFaults OfNew(long first, long count) { return AllocationFaults(kNew, first, count); }
  static AllocationFaults OfAny(long first, long count) { return AllocationFaults(kAny, first, count); }
  ~AllocationFaults();
  AllocationFaults(const AllocationFaults&) = delete;
  AllocationFaults& operator=(const AllocationFaults&) = delete;

  // How many calls were seen, and how many of them failed.
  long seen() const;
  long failed() const;

 private:
  enum Kind { kRealloc = 1, kNew = 2, kMalloc = 4, kAny = 7 };
  AllocationFaults(Kind kind, long first, long count);
  friend struct AllocationScript;
};
