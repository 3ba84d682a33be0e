// SPDX-License-Identifier: MIT
// InlineStack: a stack of plain records whose first ones are part of the object, so that a small document
// takes nothing from the heap for it.
//
// The user keeps the top, so that it stays in a register. Reserve makes room; the user writes records at the
// top and removes them by lowering it. Records are moved by their bytes.
//
// Thread-safety: none.
#pragma once

#include "heap_allocator.h"

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <cstring>

namespace tovkit {

template <typename T, std::size_t kInside>
class InlineStack {
 public:
  InlineStack() = default;
  InlineStack(const InlineStack&) = delete;
  InlineStack& operator=(const InlineStack&) = delete;
  ~InlineStack() { HeapAllocator::Free(grown_); }

  T* First() { return first_; }

  // Makes room for `count` records, at least one, from `top` on. Returns the top, which may have moved. After
  // std::bad_alloc the stack is as before.
  [[nodiscard]] T* Reserve(T* top, std::size_t count) {
    assert(top >= first_ && top <= limit_ && count >= 1);
    return static_cast<std::size_t>(limit_ - top) >= count ? top : Grow(top, count);
  }

 private:
  [[gnu::noinline]] T* Grow(T* top, std::size_t count) {
    const auto used = static_cast<std::size_t>(top - first_);
    const auto capacity = static_cast<std::size_t>(limit_ - first_);
    const std::size_t room = std::max(used + count, 2 * capacity);
    auto* const grown =
        static_cast<T*>(HeapAllocator::Shared().Realloc(grown_, capacity * sizeof(T), room * sizeof(T)));
    if (grown_ == nullptr) std::memcpy(static_cast<void*>(grown), inside_, used * sizeof(T));
    grown_ = first_ = grown;
    limit_ = first_ + room;
    return first_ + used;
  }

  alignas(T) unsigned char inside_[kInside * sizeof(T)];
  T* grown_ = nullptr;
  T* first_ = reinterpret_cast<T*>(inside_);
  T* limit_ = first_ + kInside;
};

}  // namespace tovkit
