// SPDX-License-Identifier: MIT
// GuardedText: a copy of a text whose last byte is the last byte of a page, with no page behind it.
#pragma once

#include <sys/mman.h>
#include <unistd.h>
#include <cstddef>
#include <cstring>
#include <new>
#include <string_view>

class GuardedText {
 public:
  explicit GuardedText(std::size_t capacity) {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    room_ = (capacity + page - 1) / page * page;
    void* const block =
        mmap(nullptr, room_ + page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (block == MAP_FAILED) throw std::bad_alloc();
    base_ = static_cast<char*>(block);
    size_ = room_ + page;
    mprotect(base_ + room_, page, PROT_NONE);
  }
  ~GuardedText() { munmap(base_, size_); }
  GuardedText(const GuardedText&) = delete;
  GuardedText& operator=(const GuardedText&) = delete;

  // Copies `text`, of at most the capacity, to the end of the room, and returns where it begins.
  const char* Place(std::string_view text) {
    char* const begin = base_ + room_ - text.size();
    std::memcpy(begin, text.data(), text.size());
    return begin;
  }

 private:
  char* base_;
  std::size_t room_;
  std::size_t size_;
};
