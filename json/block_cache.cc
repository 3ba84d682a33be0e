// SPDX-License-Identifier: MIT
// A block is kept by the thread that frees it, whichever thread allocated it. So no thread ever waits for
// another, and no block needs to know where it came from.
#include "block_cache.h"

#include <pthread.h>

#include <algorithm>

namespace tovkit::block_cache {

namespace {

// Returns everything to the heap when its thread ends. Blocks freed after that go straight to the heap.
void Close(void* /*kept*/) {
  while (kept.first != nullptr) ::operator delete(std::exchange(kept.first, kept.first->next));
  kept.room = 0;
}

// A pthread key rather than a thread_local with a destructor. Its creation may fail without ending the
// process, and a thread that releases its first handle while it ends still returns everything.
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
