// SPDX-License-Identifier: MIT
// Streams over stdio and over memory. A file stream keeps its position itself, so that a seek which changes
// nothing does not throw stdio's buffer away.
#include "tovmx/stream.h"

#include "retried_file.h"

#include <sys/types.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <limits>

CoreInputStream::~CoreInputStream() = default;
CoreOutputStream::~CoreOutputStream() = default;

const std::uint8_t* CoreInputStream::GetView() const { return nullptr; }

CoreMemoryInputStream::CoreMemoryInputStream(const void* data, std::size_t size) noexcept
    : data_(static_cast<const std::uint8_t*>(data)), size_(data == nullptr ? 0 : size) {}

std::size_t CoreMemoryInputStream::Read(void* to, std::size_t size) {
  if (position_ >= size_) return 0;
  const std::size_t count = std::min<std::size_t>(size, size_ - static_cast<std::size_t>(position_));
  if (count != 0) std::memcpy(to, data_ + position_, count);
  position_ += count;
  return count;
}

bool CoreMemoryInputStream::Seek(std::uint64_t position) {
  position_ = position;
  return true;
}

std::uint64_t CoreMemoryInputStream::GetPosition() const { return position_; }
std::uint64_t CoreMemoryInputStream::GetSize() const { return size_; }
const std::uint8_t* CoreMemoryInputStream::GetView() const { return data_; }

CoreMemoryOutputStream::~CoreMemoryOutputStream() { std::free(data_); }

bool CoreMemoryOutputStream::Write(const void* from, std::size_t size) {
  if (size == 0) return true;
  if (size > std::numeric_limits<std::size_t>::max() / 2 - size_) return false;
  if (size > capacity_ - size_) {
    const std::size_t wanted = std::max<std::size_t>({size_ + size, capacity_ * 2, 4096});
    void* grown = std::realloc(data_, wanted);
    if (grown == nullptr) return false;
    data_ = static_cast<std::uint8_t*>(grown);
    capacity_ = wanted;
  }
  std::memcpy(data_ + size_, from, size);
  size_ += size;
  return true;
}

namespace {

std::FILE* OpenFile(const char* path, bool writes) {
  if (path != nullptr) return tovmx::OpenRetriedFile(path, writes);
  errno = EINVAL;
  return nullptr;
}

}  // namespace

CoreFileInputStream::CoreFileInputStream(const char* path) : file_(OpenFile(path, false)) {
  if (file_ == nullptr) return;
  if (fseeko(file_, 0, SEEK_END) == 0) {
    const off_t end = ftello(file_);
    if (end > 0) size_ = static_cast<std::uint64_t>(end);
  }
  failed_ = fseeko(file_, 0, SEEK_SET) != 0;
}

CoreFileInputStream::~CoreFileInputStream() {
  if (file_ != nullptr) std::fclose(file_);
}

std::size_t CoreFileInputStream::Read(void* to, std::size_t size) {
  if (file_ == nullptr || failed_ || size == 0) return 0;
  const std::size_t count = std::fread(to, 1, size, file_);
  position_ += count;
  if (count < size && std::ferror(file_) != 0) failed_ = true;
  return count;
}

bool CoreFileInputStream::Seek(std::uint64_t position) {
  if (file_ == nullptr || position > static_cast<std::uint64_t>(std::numeric_limits<off_t>::max()))
    return false;
  if (position == position_) return true;
  if (fseeko(file_, static_cast<off_t>(position), SEEK_SET) != 0) {
    failed_ = true;
    return false;
  }
  position_ = position;
  return true;
}

std::uint64_t CoreFileInputStream::GetPosition() const { return position_; }
std::uint64_t CoreFileInputStream::GetSize() const { return size_; }

CoreFileOutputStream::CoreFileOutputStream(const char* path) : file_(OpenFile(path, true)) {}

CoreFileOutputStream::~CoreFileOutputStream() {
  if (file_ != nullptr) std::fclose(file_);
}

bool CoreFileOutputStream::Write(const void* from, std::size_t size) {
  if (file_ == nullptr) return false;
  if (size == 0) return true;
  errno = 0;
  if (std::fwrite(from, 1, size, file_) == size) return true;
  if (error_ == 0) error_ = errno != 0 ? errno : EIO;
  return false;
}

bool CoreFileOutputStream::Close() {
  if (file_ == nullptr) return false;
  std::FILE* file = file_;
  file_ = nullptr;
  if (std::fclose(file) != 0 && error_ == 0) error_ = errno;
  errno = error_;
  return error_ == 0;
}
