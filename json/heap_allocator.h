// SPDX-License-Identifier: MIT
// HeapAllocator: the C heap as RapidJSON wants it, except that a failed allocation throws.
//
// RapidJSON does not test what its allocators return, so a null pointer must never reach it.
//
// Thread-safety: no state; Shared() may be used by every thread.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <new>

namespace tovkit {

class HeapAllocator {
 public:
  static const bool kNeedFree = true;

  void* Malloc(std::size_t size) { return size == 0 ? nullptr : Checked(std::malloc(size)); }

  // Never called with a new size of 0: RapidJSON's stacks and pools only grow through it.
  void* Realloc(void* block, std::size_t /*size*/, std::size_t newSize) {
    return Checked(std::realloc(block, newSize));
  }

  static void Free(void* block) { std::free(block); }

  static HeapAllocator& Shared() {
    static HeapAllocator shared;
    return shared;
  }

 private:
  static void* Checked(void* block) {
    if (block == nullptr) throw std::bad_alloc();
    return block;
  }
};

}  // namespace tovkit
