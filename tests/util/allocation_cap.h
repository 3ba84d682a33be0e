// SPDX-License-Identifier: MIT
// While one lives, a request of this thread for more than `bytes` in one piece throws std::bad_alloc. It
// holds in the libraries too: the program replaces operator new.
#pragma once

#include <cstddef>

class AllocationCap {
 public:
  explicit AllocationCap(std::size_t bytes);
  ~AllocationCap();
  AllocationCap(const AllocationCap&) = delete;
  AllocationCap& operator=(const AllocationCap&) = delete;
};
