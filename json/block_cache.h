// SPDX-License-Identifier: MIT
// The block cache: small blocks of released handles, kept by each thread for its next ones.
//
// A handle is made of two small blocks, a wrapper and a control block, and mostly lives for one read. Taking
// them from the heap each time would cost several times what finding the member does.
//
// Thread-safety: any thread may call any function, and may free what another one has allocated.
#pragma once

#include <cassert>
#include <cstddef>
#include <new>
#include <utility>

namespace tovkit::block_cache {

// The most blocks that a thread keeps. None under AddressSanitizer, so that it sees every use of a released
// handle.
#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define TOVKIT_KEEPS_NO_BLOCKS
#endif
#elif defined(__SANITIZE_ADDRESS__)
#define TOVKIT_KEEPS_NO_BLOCKS
#endif
#ifdef TOVKIT_KEEPS_NO_BLOCKS
constexpr unsigned kMostKept = 0;
#else
constexpr unsigned kMostKept = 32;
#endif

// Every block has this size, so that it serves as wrapper and as control block. Larger ones are not kept.
constexpr std::size_t kBlockSize = 64;

struct KeptBlock {
  KeptBlock* next;
};

// What a thread keeps. Plain data, reached without a call.
struct Kept {
  KeptBlock* first;
  unsigned room;  // the blocks that may still be added
  bool opened;    // a block has been freed here
};
[[gnu::tls_model("initial-exec")]] extern constinit thread_local Kept kept;

// The rest of Allocate and Free, when nothing is kept or there is no room.
void* AllocateNew(std::size_t size);
void FreeBeyondRoom(void* block, std::size_t size) noexcept;

// A block of at least `size` bytes, aligned for every fundamental type. Throws std::bad_alloc.
inline void* Allocate(std::size_t size) {
  if (kept.first == nullptr || size > kBlockSize) return AllocateNew(size);
  ++kept.room;
  return std::exchange(kept.first, kept.first->next);
}

// Frees a block of Allocate; `size` is the size that it was asked for.
inline void Free(void* block, std::size_t size) noexcept {
  if (kept.room == 0 || size > kBlockSize) return FreeBeyondRoom(block, size);
  assert(kept.opened);
  --kept.room;
  kept.first = new (block) KeptBlock{kept.first};
}

}  // namespace tovkit::block_cache
