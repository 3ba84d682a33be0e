// SPDX-License-Identifier: MIT
// sendfile first, since the kernel moves pages without a copy through user space; then blocks from the same
// position for what is left.
#include "tovkit/util.h"

#include "retried.h"

#include <fcntl.h>
#include <sys/sendfile.h>
#include <unistd.h>

#include <cstddef>
#include <string>

namespace tovkit {

namespace {

constexpr std::size_t kBlock = 4096;
constexpr ssize_t kStride = 1 << 20;

class File {
 public:
  File(const std::string& path, int flags)
      : fd_(base::Retried([&] { return open(path.c_str(), flags | O_CLOEXEC, 0666); })) {}
  ~File() {
    if (fd_ >= 0) close(fd_);
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  int fd() const { return fd_; }

 private:
  int fd_;
};

// Fills the block; less at the end, or at an error.
std::size_t ReadBlock(int fd, char* block) {
  std::size_t filled = 0;
  while (filled < kBlock) {
    const ssize_t count = base::Retried([&] { return read(fd, block + filled, kBlock - filled); });
    if (count <= 0) break;
    filled += static_cast<std::size_t>(count);
  }
  return filled;
}

// Compatibility: a failed write goes unnoticed.
void WriteBlock(int fd, const char* block, std::size_t size) {
  while (size > 0) {
    const ssize_t count = base::Retried([&] { return write(fd, block, size); });
    if (count < 0) return;
    block += count;
    size -= static_cast<std::size_t>(count);
  }
}

}  // namespace

void CopyFile(const char* source, const char* target) {
  const std::string sourcePath = Utf8ToLocal(source, -1);
  const std::string targetPath = Utf8ToLocal(target, -1);
  const File in(sourcePath, O_RDONLY);
  if (in.fd() < 0) return;
  const File out(targetPath, O_WRONLY | O_CREAT | O_TRUNC);
  if (out.fd() < 0) return;

  // The kernel moves what it can. Whatever it leaves, refuses or fails at, the loop copies from the same
  // position on.
  while (base::Retried([&] { return sendfile(out.fd(), in.fd(), nullptr, kStride); }) == kStride) {
  }
  char block[kBlock] = {};
  std::size_t count = 0;
  do {
    count = ReadBlock(in.fd(), block);
    WriteBlock(out.fd(), block, count);
  } while (count == kBlock);
}

}  // namespace tovkit
