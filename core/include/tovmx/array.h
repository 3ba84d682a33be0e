// SPDX-License-Identifier: MIT
/// \file
/// CoreArray: a growable array with its own recursive mutex and fixed growth steps.
///
/// Every operation takes the array's mutex; Lock() holds it over several. With growth step 0 the array grows
/// by 4 elements below 32, by size / 8 below 8,200 and by 1,024 beyond; another step is used as it is. The
/// steps never change: memory stays close to the size, and appending n elements one at a time costs n /
/// 1,024 reallocations. Add and SetSize answer false when memory for the array is short and leave it as it
/// was; what an element's own constructor throws goes on to the caller. A copy that finds no memory throws
/// std::bad_alloc.
///
/// Thread-safety: single operations are serialized; a reference from operator[] or GetData() is not protected
/// by anything but Lock().
///
/// \code{.cc}
/// CoreArray<int> pages;
/// pages.Add(3);
/// const auto guard = pages.Lock();   // nobody changes the array during the walk
/// int sum = 0;
/// for (int i = 0; i < pages.GetSize(); ++i) sum += pages[i];
/// \endcode
#pragma once

#include <climits>
#include <cstddef>
#include <cstdlib>
#include <mutex>
#include <new>
#include <type_traits>
#include <utility>

/// A growable array of T, which every operation locks.
template <typename T>
class CoreArray {
 public:
  /// An empty array. `growth` is the number of elements to grow by, 0 for the steps above; a negative one
  /// counts as 0.
  explicit CoreArray(int growth = 0) noexcept : growth_(growth < 0 ? 0 : growth) {}

  /// Copies elements and growth step, moves them, or exchanges them when assigned by move. The mutexes stay.
  /// @{
  CoreArray(const CoreArray& other) : CoreArray(other.growth_) { CopyFrom(other); }
  CoreArray& operator=(const CoreArray& other) {
    if (this != &other) {
      CoreArray copy(other);
      Swap(copy);
    }
    return *this;
  }
  CoreArray(CoreArray&& other) noexcept { Swap(other); }
  CoreArray& operator=(CoreArray&& other) noexcept {
    if (this != &other) Swap(other);
    return *this;
  }
  /// @}

  /// Drops every element.
  ~CoreArray() { Clear(); }

  /// The number of elements.
  int GetSize() const {
    const auto guard = Lock();
    return size_;
  }

  /// The number of elements that fit without another reallocation.
  int GetCapacity() const {
    const auto guard = Lock();
    return capacity_;
  }

  /// @{
  /// The elements, null while nothing was ever stored.
  T* GetData() noexcept { return data_; }
  const T* GetData() const noexcept { return data_; }
  /// @}

  /// @{
  /// The element at `index`, not locked. Precondition: 0 <= index < GetSize().
  T& operator[](int index) noexcept { return data_[index]; }
  const T& operator[](int index) const noexcept { return data_[index]; }
  /// @}

  /// @{
  /// Appends a copy of `value`, which may be an element of this array. False, and nothing changed, when
  /// memory is short.
  bool Add(const T& value) { return Emplace(value); }
  bool Add(T&& value) { return Emplace(std::move(value)); }
  /// @}

  /// Makes the array hold `size` elements: the tail is dropped or filled with default values. False, and
  /// nothing changed, for a negative size or when memory is short.
  bool SetSize(int size) {
    if (size < 0) return false;
    const auto guard = Lock();
    if (size > capacity_ && !Reallocate(size)) return false;
    while (size_ > size) data_[--size_].~T();
    for (; size_ < size; ++size_) new (data_ + size_) T();
    return true;
  }

  /// Drops every element and frees the memory.
  void Clear() noexcept {
    const auto guard = Lock();
    while (size_ > 0) data_[--size_].~T();
    std::free(data_);
    data_ = nullptr;
    capacity_ = 0;
  }

  /// Holds the array's mutex for the life of the result. It is recursive, so operations may be called
  /// meanwhile.
  std::unique_lock<std::recursive_mutex> Lock() const {
    return std::unique_lock<std::recursive_mutex>(mutex_);
  }

 private:
  int Step() const noexcept {
    if (growth_ > 0) return growth_;
    if (size_ < 32) return 4;
    return size_ < 8200 ? size_ / 8 : 1024;
  }

  template <typename Value>
  bool Emplace(Value&& value) {
    const auto guard = Lock();
    if (size_ < capacity_) {
      new (data_ + size_) T(std::forward<Value>(value));
      ++size_;
      return true;
    }
    if (size_ > INT_MAX - Step()) return false;
    T kept(std::forward<Value>(value));  // before its home may move
    if (!Reallocate(size_ + Step())) return false;
    new (data_ + size_) T(std::move(kept));
    ++size_;
    return true;
  }

  bool Reallocate(int capacity) {
    const std::size_t bytes = static_cast<std::size_t>(capacity) * sizeof(T);
    if constexpr (std::is_trivially_copyable_v<T>) {
      void* grown = std::realloc(static_cast<void*>(data_), bytes);
      if (grown == nullptr) return false;
      data_ = static_cast<T*>(grown);
    } else {
      T* grown = static_cast<T*>(std::malloc(bytes));
      if (grown == nullptr) return false;
      for (int i = 0; i < size_; ++i) {
        new (grown + i) T(std::move(data_[i]));
        data_[i].~T();
      }
      std::free(data_);
      data_ = grown;
    }
    capacity_ = capacity;
    return true;
  }

  void CopyFrom(const CoreArray& other) {
    const auto guard = other.Lock();
    if (other.size_ == 0) return;
    if (!Reallocate(other.size_)) throw std::bad_alloc();
    for (; size_ < other.size_; ++size_) new (data_ + size_) T(other.data_[size_]);
  }

  void Swap(CoreArray& other) noexcept {
    const std::scoped_lock guard(mutex_, other.mutex_);
    std::swap(data_, other.data_);
    std::swap(size_, other.size_);
    std::swap(capacity_, other.capacity_);
    std::swap(growth_, other.growth_);
  }

  mutable std::recursive_mutex mutex_;
  T* data_ = nullptr;
  int size_ = 0;
  int capacity_ = 0;
  int growth_ = 0;
};
