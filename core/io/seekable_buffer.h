// SPDX-License-Identifier: MIT
// SeekableBuffer: bytes in memory for libraries that go back and change what they wrote.
#pragma once

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace tovmx {

class SeekableBuffer {
 public:
  SeekableBuffer() = default;
  ~SeekableBuffer() { std::free(data_); }
  SeekableBuffer(const SeekableBuffer&) = delete;
  SeekableBuffer& operator=(const SeekableBuffer&) = delete;

  const std::uint8_t* GetData() const { return data_; }
  std::uint64_t GetSize() const { return size_; }
  std::uint64_t GetPosition() const { return position_; }
  void Seek(std::uint64_t position) { position_ = position; }

  std::size_t Read(void* to, std::size_t size) {
    if (position_ >= size_) return 0;
    const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(size, size_ - position_));
    std::memcpy(to, data_ + position_, count);
    position_ += count;
    return count;
  }

  // Overwrites and appends; a gap before the position is filled with zeros. False when memory is short.
  [[nodiscard]] bool Write(const void* from, std::size_t size) {
    if (size == 0) return true;
    const std::uint64_t end = position_ + size;
    if (end < position_ || !Reserve(end)) return false;
    if (position_ > size_) std::memset(data_ + size_, 0, static_cast<std::size_t>(position_ - size_));
    assert(end <= capacity_);
    std::memcpy(data_ + position_, from, size);
    position_ = end;
    size_ = std::max(size_, end);
    return true;
  }

 private:
  [[nodiscard]] bool Reserve(std::uint64_t size) {
    if (size <= capacity_) return true;
    if (size > PTRDIFF_MAX) return false;
    const std::uint64_t wanted = std::max<std::uint64_t>({size, capacity_ + capacity_ / 2, 65536});
    void* grown = std::realloc(data_, static_cast<std::size_t>(wanted));
    if (grown == nullptr) return false;
    data_ = static_cast<std::uint8_t*>(grown);
    capacity_ = wanted;
    return true;
  }

  std::uint8_t* data_ = nullptr;
  std::uint64_t size_ = 0;
  std::uint64_t capacity_ = 0;
  std::uint64_t position_ = 0;
};

}  // namespace tovmx
