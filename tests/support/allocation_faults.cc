// SPDX-License-Identifier: MIT
#include "allocation_faults.h"

#include <dlfcn.h>

#include <cstddef>
#include <cstdlib>
#include <new>

#define INTERPOSED extern "C" __attribute__((visibility("default")))

// What the present thread's AllocationFaults asks for; constant-initialized, since malloc runs before
// anything else.
struct AllocationScript {
  int kinds = 0;
  long first = 0;
  long count = 0;
  long seen = 0;
  long failed = 0;

  bool Fails(int kind) {
    if ((kinds & kind) == 0) return false;
    ++seen;
    const bool fails = seen >= first && seen - first < count;
    failed += fails;
    return fails;
  }
  static constexpr int kReallocCall = AllocationFaults::kRealloc;
  static constexpr int kNewCall = AllocationFaults::kNew;
  static constexpr int kMallocCall = AllocationFaults::kMalloc;
};

namespace {

thread_local constinit AllocationScript script;

template <typename Function>
Function* Next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

// The calls below this one are the same allocation.
void* Allocate(std::size_t size) {
  static auto* const next = Next<void*(std::size_t)>("malloc");
  return next(size == 0 ? 1 : size);
}

}  // namespace

AllocationFaults::AllocationFaults(Kind kind, long first, long count) { script = {kind, first, count, 0, 0}; }
AllocationFaults::~AllocationFaults() { script.kinds = 0; }
long AllocationFaults::seen() const { return script.seen; }
long AllocationFaults::failed() const { return script.failed; }

INTERPOSED void* malloc(std::size_t size) noexcept {
  return script.Fails(AllocationScript::kMallocCall) ? nullptr : Allocate(size);
}

INTERPOSED void* calloc(std::size_t count, std::size_t size) noexcept {
  static auto* const next = Next<void*(std::size_t, std::size_t)>("calloc");
  return script.Fails(AllocationScript::kMallocCall) ? nullptr : next(count, size);
}

INTERPOSED void* realloc(void* block, std::size_t size) noexcept {
  static auto* const next = Next<void*(void*, std::size_t)>("realloc");
  return script.Fails(AllocationScript::kReallocCall) ? nullptr : next(block, size);
}

__attribute__((visibility("default"))) void* operator new(std::size_t size) {
  void* const block = script.Fails(AllocationScript::kNewCall) ? nullptr : Allocate(size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

__attribute__((visibility("default"))) void operator delete(void* block) noexcept { std::free(block); }
__attribute__((visibility("default"))) void operator delete(void* block, std::size_t) noexcept {
  std::free(block);
}
