// SPDX-License-Identifier: MIT
// A zeroed scratch buffer of a fixed size that ends the process rather than cut or overrun a text.
//
// Not thread-safe: a buffer belongs to one function.
//
//   FixedBuffer<1024> line;
//   line.Format("%s%lu%s", prefix, seconds, suffix);
//   return line.text();
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace base {

[[noreturn]] inline void FailOnOverflow(std::size_t needed, std::size_t capacity) {
  std::fprintf(stderr, "tovkit: a text of %zu bytes does not fit a buffer of %zu bytes\n", needed, capacity);
  std::abort();
}

template <std::size_t Capacity>
class FixedBuffer {
 public:
  // Replaces the contents by the formatted text and returns its length. A text of Capacity bytes or more (the
  // terminator needs one) ends the process with one line on standard error.
  __attribute__((format(printf, 2, 3))) int Format(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(bytes_, Capacity, format, arguments);
    va_end(arguments);
    // A negative result means a text too long for an int; as a size_t it is above every capacity.
    const auto needed = static_cast<std::size_t>(length);
    if (needed >= Capacity) FailOnOverflow(needed, Capacity);
    return length;
  }

  // Replaces the contents by a copy of `text`, under the same bound.
  void Copy(const char* text) {
    const std::size_t length = std::strlen(text);
    if (length >= Capacity) FailOnOverflow(length, Capacity);
    std::memcpy(bytes_, text, length + 1);
  }

  const char* text() const { return bytes_; }
  char* data() { return bytes_; }
  static constexpr std::size_t capacity() { return Capacity; }

 private:
  char bytes_[Capacity] = {};
};

}  // namespace base
