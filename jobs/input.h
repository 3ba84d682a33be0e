// SPDX-License-Identifier: MIT
// Input: what a job reads: a file, an open descriptor or bytes in memory.
//
//   const Input input = Input::File("page.json");
//   const std::string text = input.ReadAll(INT_MAX, "larger than 2 GiB");
#pragma once

#include <tovmx/stream.h>

#include <cstddef>
#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace jobs {

// A stream over an input, with the bytes that it reads where no file holds them.
class InputStream {
 public:
  explicit InputStream(std::unique_ptr<CoreInputStream> stream) : stream_(std::move(stream)) {}
  explicit InputStream(std::string bytes) : bytes_(std::make_unique<std::string>(std::move(bytes))) {
    stream_ = std::make_unique<CoreMemoryInputStream>(bytes_->data(), bytes_->size());
  }

  CoreInputStream* get() const { return stream_.get(); }

 private:
  std::unique_ptr<std::string> bytes_;
  std::unique_ptr<CoreInputStream> stream_;
};

class Input {
 public:
  static Input File(std::string path);
  // Read from where it stands, up to its end. It stays the caller's. `name` is for messages, here and below.
  static Input Descriptor(int fd, std::string name);
  // The bytes must live until the job is done.
  static Input Memory(std::string_view bytes, std::string name);

  // What messages call it.
  const std::string& name() const { return name_; }

  // Every byte. Throws Error when the input cannot be read or, with the text `excess`, when it has more than
  // `limit` bytes.
  [[nodiscard]] std::string ReadAll(std::size_t limit = std::numeric_limits<std::size_t>::max(),
                                    const char* excess = "") const;

  // For decoders, which go back and forth: a regular file is read where it lies, anything else into memory
  // first. Throws Error.
  [[nodiscard]] InputStream OpenStream() const;

 private:
  enum class Kind { kFile, kDescriptor, kMemory };

  Input(Kind kind, std::string name) : kind_(kind), name_(std::move(name)) {}

  Kind kind_;
  std::string name_;  // a file's path
  int fd_ = -1;
  std::string_view bytes_;
};

// Throws Error when no byte can be read from a file.
void CheckReadable(const std::string& path);

}  // namespace jobs
