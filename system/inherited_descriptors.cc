// SPDX-License-Identifier: MIT
// Runs in a child between fork and exec, where another thread's lock may be held for good: nothing here uses
// the heap or stdio. close_range does all of it where the kernel has it. Otherwise a shell lists the open
// descriptors; when that fails too, every number up to the table's size is closed.
#include "inherited_descriptors.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <climits>
#include <cstddef>
#include <string_view>

#include "child_text.h"

namespace tovkit {
namespace {

constexpr int kFirstClosedFd = 3;
constexpr size_t kListingChunk = 4096;

void PrintError(std::string_view what) {
  const int error = errno;
  ChildText line;
  line << what << ": " << ErrorText{error} << "\n";
  line.WriteTo(STDERR_FILENO);
}

// A number above every open descriptor: the size of the kernel's table, or the limit where the size cannot be
// read. The limit comes second because a lowered one leaves higher descriptors open, and an unset one is a
// thousand million.
long DescriptorBound() {
  close(kFirstClosedFd);  // so that there is one to read with
  const int status = open("/proc/self/status", O_RDONLY | O_CLOEXEC);
  char bytes[2048];
  const ssize_t got = status == -1 ? 0 : read(status, bytes, sizeof bytes);
  if (status != -1) close(status);
  constexpr std::string_view kKey = "\nFDSize:\t";
  const std::string_view text(bytes, got < 0 ? 0 : static_cast<size_t>(got));
  const size_t key = text.find(kKey);
  long size = 0;
  if (key != std::string_view::npos) {
    std::from_chars(text.data() + key + kKey.size(), text.data() + text.size(), size);
  }
  return size > 0 ? size : sysconf(_SC_OPEN_MAX);
}

void CloseEveryPossibleDescriptor() {
  const long bound = DescriptorBound();
  for (long fd = kFirstClosedFd; fd < bound; ++fd) close(static_cast<int>(fd));
}

// A pipe gets low numbers when some of the standard descriptors are closed.
bool MoveAboveStandard(int& fd) {
  if (fd >= kFirstClosedFd) return true;
  const int moved = fcntl(fd, F_DUPFD_CLOEXEC, kFirstClosedFd);
  if (moved == -1) return false;
  close(fd);
  fd = moved;
  return true;
}

// Starts a shell with `output` as its standard output; returns -1 with errno when that fails. Our own
// standard output is replaced for that moment, since a list of file actions for posix_spawn would need the
// heap.
pid_t SpawnShell(const char* command, int output) {
  const int flags = fcntl(STDOUT_FILENO, F_GETFD);
  const int own = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, kFirstClosedFd);
  if (own == -1 && errno != EBADF) return -1;
  dup2(output, STDOUT_FILENO);
  char* const arguments[] = {const_cast<char*>("sh"), const_cast<char*>("-c"), const_cast<char*>(command),
                             nullptr};
  pid_t shell = -1;
  const int error = posix_spawn(&shell, "/bin/sh", nullptr, nullptr, arguments, environ);
  if (own == -1) {
    close(STDOUT_FILENO);
  } else {
    dup3(own, STDOUT_FILENO, (flags & FD_CLOEXEC) != 0 ? O_CLOEXEC : 0);
    close(own);
  }
  if (error == 0) return shell;
  errno = error;
  return -1;
}

// A shell that runs a command, and the pipe that its output comes from.
struct ShellOutput {
  pid_t shell = -1;
  int fd = -1;
};

// On failure the result has no shell, and errno says why.
ShellOutput RunShell(const char* command) {
  ShellOutput run;
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) == -1) return run;
  if (MoveAboveStandard(ends[0]) && MoveAboveStandard(ends[1])) run.shell = SpawnShell(command, ends[1]);
  const int error = errno;
  close(ends[1]);
  if (run.shell == -1) {
    close(ends[0]);
  } else {
    run.fd = ends[0];
  }
  errno = error;
  return run;
}

bool EndedWell(pid_t shell) {
  int status = 0;
  pid_t ended = 0;
  do {
    ended = waitpid(shell, &status, 0);
  } while (ended == -1 && errno == EINTR);
  return ended == shell && status == 0;
}

// The whole output of a command, in a mapping that grows chunk by chunk, since the heap may be locked.
class Listing {
 public:
  Listing() = default;
  ~Listing() {
    if (text_ != nullptr) munmap(text_, capacity_);
  }
  Listing(const Listing&) = delete;
  Listing& operator=(const Listing&) = delete;

  // False when the output cannot be read to its end.
  bool Read(int fd) {
    for (;;) {
      if (length_ == capacity_ && !Grow()) {
        PrintError("alloca fail.");
        return false;
      }
      const ssize_t got = read(fd, text_ + length_, capacity_ - length_);
      if (got == 0) return true;
      if (got == -1 && errno != EINTR) return false;
      if (got > 0) length_ += static_cast<size_t>(got);
    }
  }

  std::string_view text() const { return {text_, length_}; }

 private:
  bool Grow() {
    const size_t larger = capacity_ + kListingChunk;
    void* const grown =
        text_ == nullptr ? mmap(nullptr, larger, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)
                         : mremap(text_, capacity_, larger, MREMAP_MAYMOVE);
    if (grown == MAP_FAILED) return false;
    text_ = static_cast<char*>(grown);
    capacity_ = larger;
    return true;
  }

  char* text_ = nullptr;
  size_t length_ = 0;
  size_t capacity_ = 0;
};

// Closes the descriptors in a listing and returns whether `known` was among them. A word that is no number
// counts as 0, which is never closed.
bool CloseListed(std::string_view listing, int known) {
  constexpr std::string_view kSeparators = " \n";
  bool found = false;
  for (;;) {
    const size_t begin = listing.find_first_not_of(kSeparators);
    if (begin == std::string_view::npos) return found;
    listing.remove_prefix(begin);
    const std::string_view token = listing.substr(0, listing.find_first_of(kSeparators));
    int fd = 0;
    std::from_chars(token.data(), token.data() + token.size(), fd);
    if (fd >= kFirstClosedFd) close(fd);
    found = found || fd == known;
    listing.remove_prefix(token.size());
  }
}

// False when it is not certain that all are closed: no shell, no `ls`, a folder that may not be read, a
// listing in another form or without the pipe that it came through.
bool CloseListedDescriptors() {
  ChildText command;
  command << "ls /proc/" << getpid() << "/fd";
  const ShellOutput run = RunShell(command.text());
  if (run.shell == -1) {
    PrintError(command.view());
    return false;
  }
  Listing listing;
  const bool whole = listing.Read(run.fd);
  close(run.fd);  // or a shell that still writes would be waited for
  const bool ended = EndedWell(run.shell);
  return CloseListed(listing.text(), run.fd) && whole && ended;
}

}  // namespace

// It fails before Linux 5.9, and where a filter does not know it.
bool CloseInheritedRange() { return close_range(kFirstClosedFd, UINT_MAX, 0) == 0; }

void CloseInheritedDescriptors() {
  if (CloseInheritedRange()) return;
  if (!CloseListedDescriptors()) CloseEveryPossibleDescriptor();
}

}  // namespace tovkit
