// SPDX-License-Identifier: MIT
// What the kernel leaves to CopyFile when it moves bytes by itself: this program's sendfile stands before
// that of the C library and moves as much as a test scripts.
#include <tovkit/util.h>

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/sendfile.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "scratch_dir.h"

namespace {

// One a call: how many bytes are moved, or an error number below 0. Behind the last, the call fails.
using Moves = std::vector<long>;
Moves* moves = nullptr;
int asked = 0;

}  // namespace

// A sanitizer's start must not be in the way.
extern "C" __attribute__((visibility("default"), no_sanitize("address", "undefined"))) ssize_t sendfile(
    int out, int in, off_t* offset, std::size_t count) noexcept {
  using Send = ssize_t(int, int, off_t*, std::size_t);
  static auto* const next = reinterpret_cast<Send*>(dlsym(RTLD_NEXT, "sendfile"));
  if (moves == nullptr) return next(out, in, offset, count);
  ++asked;
  const long move = moves->empty() ? -EINVAL : moves->front();
  if (!moves->empty()) moves->erase(moves->begin());
  if (move >= 0) return next(out, in, offset, std::min(count, static_cast<std::size_t>(move)));
  errno = static_cast<int>(-move);
  return -1;
}

namespace {

TEST(CopyFileFaults, WhateverTheKernelMovesTheCopyIsWhole) {
  constexpr long kMegabyte = 1 << 20;
  const Moves rows[] = {{},
                        {-EINTR},
                        {0},
                        {1},
                        {4095},
                        {4096, -EIO},
                        {kMegabyte, -EIO},
                        {kMegabyte, 5000},
                        {kMegabyte, kMegabyte, kMegabyte, 122},
                        {kMegabyte, kMegabyte, 1, -EINTR},
                        {kMegabyte, kMegabyte, kMegabyte, kMegabyte}};
  const ScratchDir scratch;
  const std::string source = scratch.path() + "/source";
  const std::string target = scratch.path() + "/target";
  std::string content(3 * kMegabyte + 123, '\0');
  for (std::size_t i = 0; i < content.size(); ++i) content[i] = static_cast<char>(i * 31 + i / 4096);
  std::ofstream(source, std::ios::binary) << content;
  for (const Moves& row : rows) {
    Moves rest = row;
    asked = 0;
    moves = &rest;
    tovkit::CopyFile(source.c_str(), target.c_str());
    moves = nullptr;
    EXPECT_GT(asked, 0);
    std::ifstream in(target, std::ios::binary);
    EXPECT_TRUE(std::string(std::istreambuf_iterator<char>(in), {}) == content)
        << testing::PrintToString(row);
  }
}

}  // namespace
