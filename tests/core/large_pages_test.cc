// SPDX-License-Identifier: MIT
// Large blocks are asked for in large pages.
#include "large_pages.h"

#include <tovmx/dib.h>

#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

namespace {

// The flags of the mapping that holds the address, as the kernel tells them; "hg" asks for large pages.
std::string FlagsAt(const void* address) {
  const auto wanted = reinterpret_cast<std::uintptr_t>(address);
  std::ifstream maps("/proc/self/smaps");
  bool here = false;
  for (std::string line; std::getline(maps, line);) {
    std::uintptr_t from = 0;
    std::uintptr_t to = 0;
    if (std::sscanf(line.c_str(), "%" SCNxPTR "-%" SCNxPTR " ", &from, &to) == 2)
      here = from <= wanted && wanted < to;
    if (here && line.rfind("VmFlags:", 0) == 0) return line + " ";
  }
  return "";
}

bool SystemHasLargePages() { return access("/sys/kernel/mm/transparent_hugepage", F_OK) == 0; }

TEST(LargePages, ALargeBitmapAsksForThem) {
  if (!SystemHasLargePages()) GTEST_SKIP() << "this kernel has none";
  CoreDib large;
  ASSERT_TRUE(large.Create(4000, 4000, 32));
  EXPECT_NE(FlagsAt(large.GetBuffer() + large.GetBufferSize() / 2).find(" hg "), std::string::npos);
}

TEST(LargePages, ASmallBlockDoesNotAsk) {
  void* block = nullptr;
  ASSERT_EQ(posix_memalign(&block, 4096, base::kLeastForLargePages), 0);
  base::PreferLargePages(block, base::kLeastForLargePages - 1);
  EXPECT_EQ(FlagsAt(static_cast<char*>(block) + base::kLeastForLargePages / 2).find(" hg "),
            std::string::npos);
  std::free(block);
}

TEST(LargePages, WhatCannotBeAskedForChangesNothing) {
  errno = 7;
  base::PreferLargePages(nullptr, std::size_t{1} << 30);
  base::PreferLargePages(reinterpret_cast<void*>(4096), std::size_t{1} << 30);  // mapped by nobody
  EXPECT_EQ(errno, 7);
}

}  // namespace
