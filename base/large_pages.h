// SPDX-License-Identifier: MIT
// Large blocks of memory in large pages: a picture of 35 MB is touched page by page, and each of some 9,000
// small ones costs a fault. Systems that have large pages for who asks ("madvise") give them to no other.
//
// Thread-safety: any function from any thread.
#pragma once

#include <sys/mman.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>

namespace base {

inline constexpr std::size_t kLeastForLargePages = std::size_t{4} << 20;  // two of them on x86-64

// A hint for a block that was just allocated and has not been written to. Where the system does not follow
// it nothing is different; errno stays as it is.
inline void PreferLargePages(void* block, std::size_t size) {
  constexpr std::size_t kPage = 4096;
  if (block == nullptr || size < kLeastForLargePages) return;
  // Whole pages only; the size is far above one of them.
  const std::size_t skipped = (kPage - reinterpret_cast<std::uintptr_t>(block) % kPage) % kPage;
  const int before = errno;
  madvise(static_cast<char*>(block) + skipped, (size - skipped) / kPage * kPage, MADV_HUGEPAGE);
  errno = before;
}

}  // namespace base
