// SPDX-License-Identifier: MIT
// The C library calls these functions in place of the system's, and keeps its buffer, modes and locks.
#include "retried_file.h"

#include "retried.h"

#include <fcntl.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

namespace tovmx {

namespace {

int DescriptorOf(void* cookie) { return static_cast<int>(reinterpret_cast<std::intptr_t>(cookie)); }

ssize_t ReadFile(void* cookie, char* to, std::size_t size) {
  return base::Retried([=] { return read(DescriptorOf(cookie), to, size); });
}

ssize_t WriteFile(void* cookie, const char* from, std::size_t size) {
  std::size_t done = 0;
  while (done < size) {
    const ssize_t count =
        base::Retried([&] { return write(DescriptorOf(cookie), from + done, size - done); });
    if (count < 0) break;
    done += static_cast<std::size_t>(count);
  }
  return static_cast<ssize_t>(done);
}

int SeekFile(void* cookie, off64_t* position, int from) {
  const off64_t reached = lseek64(DescriptorOf(cookie), *position, from);
  if (reached < 0) return -1;
  *position = reached;
  return 0;
}

// An interrupted close has closed.
int CloseFile(void* cookie) { return close(DescriptorOf(cookie)) == 0 || errno == EINTR ? 0 : -1; }

}  // namespace

std::FILE* OpenRetriedFile(const char* path, bool writes) {
  const int flags = (writes ? O_WRONLY | O_CREAT | O_TRUNC : O_RDONLY) | O_CLOEXEC;
  const int fd = base::Retried([=] { return open(path, flags, 0666); });
  if (fd < 0) return nullptr;
  const cookie_io_functions_t calls = {ReadFile, WriteFile, SeekFile, CloseFile};
  // NOLINTNEXTLINE(performance-no-int-to-ptr): nobody follows the cookie
  void* const cookie = reinterpret_cast<void*>(static_cast<std::intptr_t>(fd));
  std::FILE* const file = fopencookie(cookie, writes ? "w" : "r", calls);
  if (file == nullptr) {
    const int error = errno;
    close(fd);
    errno = error;
  }
  return file;
}

}  // namespace tovmx
