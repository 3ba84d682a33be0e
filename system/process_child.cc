// Process: from fork to the program's first instruction.
#include <stdio_ext.h>
#include <tovkit/system.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "fixed_buffer.h"

namespace tovkit {
namespace {

constexpr int kFirstClosedFd = 3;
constexpr size_t kListingChunk = 1024;

void ReplaceDescriptor(int source, int target) {
  close(target);
  while (dup2(source, target) == -1 && errno == EINTR) {
  }
}

void CloseEveryPossibleDescriptor() {
  const long limit = sysconf(_SC_OPEN_MAX);
  for (long fd = kFirstClosedFd; fd < limit; ++fd) close(static_cast<int>(fd));
}

// The whole output of a command, in a block that grows chunk by chunk. Short when memory runs out.
struct Listing {
  char* text = nullptr;
  size_t length = 0;
};

Listing ReadListing(FILE* stream) {
  Listing listing;
  listing.text = static_cast<char*>(std::calloc(kListingChunk, 1));
  while (listing.text != nullptr) {
    const size_t got = std::fread(listing.text + listing.length, 1, kListingChunk, stream);
    listing.length += got;
    if (got < kListingChunk) break;
    auto* grown = static_cast<char*>(std::realloc(listing.text, listing.length + kListingChunk));
    if (grown == nullptr) {
      perror("alloca fail.");
      break;
    }
    listing.text = grown;
  }
  return listing;
}

// What is no number counts as 0, which is never closed.
void CloseListedDescriptors(std::string_view listing) {
  constexpr std::string_view kSeparators = " \n";
  for (;;) {
    const size_t begin = listing.find_first_not_of(kSeparators);
    if (begin == std::string_view::npos) return;
    listing.remove_prefix(begin);
    const std::string_view token = listing.substr(0, listing.find_first_of(kSeparators));
    int fd = 0;
    std::from_chars(token.data(), token.data() + token.size(), fd);
    if (fd >= kFirstClosedFd) close(fd);
    listing.remove_prefix(token.size());
  }
}

}  // namespace

bool Process::unixStart() {
  if (fields.path == nullptr) return false;
  const pid_t child = fork();
  if (child == -1) {
    // Kept: the text names vfork, and log filters look for it.
    std::printf("vfork fail, errno=%d, errmsg=%s\n", errno, std::strerror(errno));
    return false;
  }
  if (child > 0) {
    fields.pid = static_cast<uint64_t>(child);
    return true;
  }
  // What the parent has printed and not yet written is the parent's to write, not ours to write again.
  __fpurge(stdout);
  redirectOutput();
  if ((fields.flags & inheritParentFds) == 0) unixCloseFDInheritFromParent();
  // A bad directory is not told, and the program starts where the parent stands.
  if (fields.workDir != nullptr && chdir(fields.workDir) != 0) errno = 0;
  return executeInChild();
}

// Kept: only stdoutFd is tested. A stderrFd that is no descriptor leaves the child without standard error.
void Process::redirectOutput() const {
  if (fields.stdoutFd <= 0) return;
  ReplaceDescriptor(fields.stdoutFd, STDOUT_FILENO);
  ReplaceDescriptor(fields.stderrFd, STDERR_FILENO);
}

// Returns only if execv ever returned something else than -1.
bool Process::executeInChild() {
  int result = 0;
  do {
    result = execv(fields.path, fields.argv);
  } while (result == -1 && errno == EINTR);
  if (result != -1) {
    std::printf("PROC: execv fail, SHOULD NOT output this log. ret=%d, errno=%d, errmsg=%s\n", result, errno,
                std::strerror(errno));
    return true;
  }
  std::printf("PROC-ERROR: execv fail, errno=%d, errmsg=%s\n", errno, std::strerror(errno));
  // Kept: the exit code is 0. _exit, because exit would run the parent's exit handlers here and write what
  // the parent's other streams hold a second time.
  std::fflush(stdout);
  _exit(0);
}

bool Process::unixCloseFDInheritFromParent() {
  FixedBuffer<1024> command;
  command.Format("ls /proc/%d/fd", getpid());
  FILE* stream = popen(command.text(), "r");
  if (stream == nullptr) {
    perror(command.text());
    CloseEveryPossibleDescriptor();
    return true;
  }
  const Listing listing = ReadListing(stream);
  pclose(stream);
  CloseListedDescriptors({listing.text, listing.length});
  std::free(listing.text);
  return true;
}

}  // namespace tovkit
