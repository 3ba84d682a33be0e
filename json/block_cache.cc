#include "block_cache.h"

#include <algorithm>

namespace tovkit::block_cache {

namespace {

// Whether this thread's Closer exists or has existed.
constinit thread_local bool opened = false;

// Gives everything back when its thread ends. Blocks that are freed even later go to the heap at once.
struct Closer {
  ~Closer() {
    while (kept.first != nullptr) ::operator delete(std::exchange(kept.first, kept.first->next));
    kept.room = 0;
  }
};

void Open() noexcept {
  static thread_local Closer closer;
  static_cast<void>(&closer);
  opened = true;
  kept.room = kMostKept;
}

}  // namespace

constinit thread_local Kept kept = {nullptr, 0};

void* AllocateNew(std::size_t size) { return ::operator new(std::max(size, kBlockSize)); }

void FreeBeyondRoom(void* block, std::size_t size) noexcept {
  if (!opened) {
    Open();
    if (kept.room != 0) return Free(block, size);
  }
  ::operator delete(block);
}

}  // namespace tovkit::block_cache
