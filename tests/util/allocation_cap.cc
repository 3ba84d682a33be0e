// SPDX-License-Identifier: MIT
#include "allocation_cap.h"

#include <cstdint>
#include <cstdlib>
#include <new>

namespace {

thread_local std::size_t cap = SIZE_MAX;

}  // namespace

AllocationCap::AllocationCap(std::size_t bytes) { cap = bytes; }
AllocationCap::~AllocationCap() { cap = SIZE_MAX; }

void* operator new(std::size_t size) {
  void* const memory = size <= cap ? std::malloc(size != 0 ? size : 1) : nullptr;
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t /*size*/) noexcept { std::free(memory); }
