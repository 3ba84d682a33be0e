// SPDX-License-Identifier: MIT
// Blocks pass between threads: one that was allocated here may be freed there, and is then kept there. So no
// thread ever waits for another, and no block needs to know where it came from.
#include "block_cache.h"

#include <pthread.h>

#include <algorithm>

namespace tovkit::block_cache {

namespace {

// Returns everything to the heap when its thread ends. Blocks that are freed even later go to the heap at
// once.
void Close(void* /*kept*/) {
  while (kept.first != nullptr) ::operator delete(std::exchange(kept.first, kept.first->next));
  kept.room = 0;
}

// A key of threads rather than a thread_local with a destructor: setting it up may fail without ending the
// process, and a thread that releases its first handle among its last steps still returns everything.
struct CloseKey {
  pthread_key_t key = 0;
  bool made = pthread_key_create(&key, Close) == 0;
};

// Makes room in a thread that frees its first block. Without a key nothing is kept.
void Open() noexcept {
  static const CloseKey close;
  kept.opened = true;
  if (close.made && pthread_setspecific(close.key, &kept) == 0) kept.room = kMostKept;
}

}  // namespace

constinit thread_local Kept kept = {nullptr, 0, false};

void* AllocateNew(std::size_t size) { return ::operator new(std::max(size, kBlockSize)); }

void FreeBeyondRoom(void* block, std::size_t size) noexcept {
  if (!kept.opened) {
    Open();
    if (kept.room != 0) return Free(block, size);
  }
  ::operator delete(block);
}

}  // namespace tovkit::block_cache
