// SPDX-License-Identifier: MIT
// The descriptor may be shared with others, so it stays in the mode that it has, and a write of PIPE_BUF
// bytes or less follows only when poll says that there is room: such a write does not wait.
#include "standard_output.h"

#include "error.h"
#include "retried.h"

#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>

namespace cli {

namespace {

constexpr int kLongestWait = 200;  // milliseconds

bool IsRegularFile(int fd) {
  struct stat status = {};
  return fstat(fd, &status) == 0 && S_ISREG(status.st_mode);
}

// The C library takes a short count for an error; a pipe has one where a signal came in the middle.
ssize_t WriteOut(void* /*cookie*/, const char* from, std::size_t size) {
  std::size_t done = 0;
  while (done < size) {
    const ssize_t count = base::Retried([&] { return write(STDOUT_FILENO, from + done, size - done); });
    if (count < 0) break;
    done += static_cast<std::size_t>(count);
  }
  return static_cast<ssize_t>(done);
}

bool HasRoom() {
  pollfd out = {STDOUT_FILENO, POLLOUT, 0};
  return poll(&out, 1, 0) == 1;
}

}  // namespace

StandardOutput::StandardOutput() : regular_(IsRegularFile(STDOUT_FILENO)) {}

void StandardOutput::Write(const std::string& text) {
  held_ += text;
  std::size_t at = 0;
  while (at < held_.size() && (regular_ || HasRoom())) {
    const std::size_t most = regular_ ? held_.size() : PIPE_BUF;
    const ssize_t length = write(STDOUT_FILENO, held_.data() + at, std::min(most, held_.size() - at));
    if (length < 0 && errno == EAGAIN) break;
    if (length < 0 && errno != EINTR) {
      throw CommandError(std::string("cannot write standard output: ") + std::strerror(errno));
    }
    at += static_cast<std::size_t>(std::max<ssize_t>(length, 0));
  }
  held_.erase(0, at);
}

void StandardOutput::Await(int descriptor) {
  pollfd polled[] = {{STDOUT_FILENO, POLLOUT, 0}, {descriptor, POLLIN, 0}};
  poll(polled, 2, kLongestWait);
}

void PrintRetried() {
  std::FILE* const out = fopencookie(nullptr, "w", {nullptr, WriteOut, nullptr, nullptr});
  if (out == nullptr) return;
  if (isatty(STDOUT_FILENO) == 1) std::setvbuf(out, nullptr, _IOLBF, BUFSIZ);
  stdout = out;
}

void WriteToStandardOutput(const std::string& text) {
  StandardOutput out;
  for (out.Write(text); out.held() != 0; out.Write("")) StandardOutput::Await(-1);
}

}  // namespace cli
