// SPDX-License-Identifier: MIT
// The stack that RapidJSON keeps its work in, for documents on HeapAllocator.
//
// RapidJSON's own stack adds to a null pointer before it has storage, which is undefined, and is broken by a
// failed allocation. This one never adds to null, and after std::bad_alloc it is as before the call.
//
// Thread-safety: none.
#pragma once

#include "heap_allocator.h"

#include <rapidjson/internal/stack.h>

#include <algorithm>
#include <cstddef>
#include <utility>

namespace rapidjson::internal {

template <>
class Stack<tovkit::HeapAllocator> {
 public:
  Stack(tovkit::HeapAllocator* /*allocator*/, size_t capacity) : initialCapacity_(capacity) {}
  Stack(Stack&& other) noexcept
      : bottom_(std::exchange(other.bottom_, nullptr)),
        top_(std::exchange(other.top_, nullptr)),
        end_(std::exchange(other.end_, nullptr)),
        initialCapacity_(other.initialCapacity_) {}
  Stack(const Stack&) = delete;
  Stack& operator=(const Stack&) = delete;
  ~Stack() { tovkit::HeapAllocator::Free(bottom_); }

  void Clear() { top_ = bottom_; }
  void ShrinkToFit() {
    if (!Empty()) return;
    // The pointer is null when it was freed before; the analyzer does not follow it through RapidJSON.
    tovkit::HeapAllocator::Free(bottom_);  // NOLINT(clang-analyzer-unix.Malloc)
    bottom_ = top_ = end_ = nullptr;
  }

  template <typename T>
  void Reserve(size_t count = 1) {
    if (sizeof(T) * count > static_cast<size_t>(end_ - top_)) [[unlikely]]
      Expand(sizeof(T) * count);
  }
  template <typename T>
  T* Push(size_t count = 1) {
    Reserve<T>(count);
    return PushUnsafe<T>(count);
  }
  template <typename T>
  T* PushUnsafe(size_t count = 1) {
    T* pushed = reinterpret_cast<T*>(top_);
    top_ += sizeof(T) * count;
    return pushed;
  }
  template <typename T>
  T* Pop(size_t count) {
    top_ -= sizeof(T) * count;
    return reinterpret_cast<T*>(top_);
  }
  template <typename T>
  T* Top() {
    return reinterpret_cast<T*>(top_ - sizeof(T));
  }
  template <typename T>
  T* Bottom() {
    return reinterpret_cast<T*>(bottom_);
  }

  static bool HasAllocator() { return true; }
  static tovkit::HeapAllocator& GetAllocator() { return tovkit::HeapAllocator::Shared(); }
  bool Empty() const { return top_ == bottom_; }
  size_t GetSize() const { return static_cast<size_t>(top_ - bottom_); }

 private:
  [[gnu::noinline]] void Expand(size_t needed) {
    const auto capacity = static_cast<size_t>(end_ - bottom_);
    const size_t used = GetSize();
    const size_t grown = bottom_ == nullptr ? initialCapacity_ : capacity + (capacity + 1) / 2;
    const size_t size = std::max(grown, used + needed);
    bottom_ = static_cast<char*>(GetAllocator().Realloc(bottom_, capacity, size));
    top_ = bottom_ + used;
    end_ = bottom_ + size;
  }

  char* bottom_ = nullptr;
  char* top_ = nullptr;
  char* end_ = nullptr;
  size_t initialCapacity_;
};

}  // namespace rapidjson::internal
