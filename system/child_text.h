// SPDX-License-Identifier: MIT
// ChildText: a line of text in a forked child, made on the stack and written by write(2).
//
// In a forked child, the locks of streams, heap and messages may be held for ever by threads that only the
// parent has. Nothing here takes a lock.
//
//   ChildText line;
//   line << "errno=" << error << ", errmsg=" << ErrorText{error} << "\n";
//   line.WriteTo(STDOUT_FILENO);
#pragma once

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstddef>
#include <cstring>
#include <string_view>

namespace tovkit {

// Stands for strerror's text of a number, untranslated.
struct ErrorText {
  int error;
};

class ChildText {
 public:
  // Text beyond 1,023 bytes is dropped.
  ChildText& operator<<(std::string_view text) {
    const std::size_t count = std::min(text.size(), sizeof bytes_ - 1 - length_);
    std::memcpy(bytes_ + length_, text.data(), count);
    length_ += count;
    return *this;
  }

  ChildText& operator<<(int number) {
    char digits[16];
    const char* const end = std::to_chars(digits, digits + sizeof digits, number).ptr;
    return *this << std::string_view(digits, static_cast<std::size_t>(end - digits));
  }

  ChildText& operator<<(ErrorText text) {
    const char* const description = strerrordesc_np(text.error);
    return description != nullptr ? *this << description : *this << "Unknown error " << text.error;
  }

  // Ignores a failure, since nobody could be told.
  void WriteTo(int fd) const {
    for (std::size_t written = 0; written < length_;) {
      const ssize_t count = write(fd, bytes_ + written, length_ - written);
      if (count < 0 && errno != EINTR) return;
      if (count > 0) written += static_cast<std::size_t>(count);
    }
  }

  const char* text() const { return bytes_; }
  std::string_view view() const { return {bytes_, length_}; }

 private:
  char bytes_[1024] = {};
  std::size_t length_ = 0;
};

}  // namespace tovkit
