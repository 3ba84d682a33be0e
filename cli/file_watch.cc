// SPDX-License-Identifier: MIT
// inotify watches every folder on the way to a file, not the file: a watch of the file would be lost when an
// editor puts a new file in its place.
#include "file_watch.h"

#include "error.h"

#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <utility>

namespace cli {

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kQuiet{50};
constexpr std::chrono::milliseconds kMostWait{500};
constexpr int kMostLinks = 40;  // of one path, as the kernel has it

constexpr std::uint32_t kChanged = IN_CLOSE_WRITE | IN_MODIFY | IN_ATTRIB;
constexpr std::uint32_t kMoved =
    IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_DELETE_SELF | IN_MOVE_SELF;
// Events of a folder itself rather than of a name in it.
constexpr std::uint32_t kOfTheFolder =
    IN_DELETE_SELF | IN_MOVE_SELF | IN_IGNORED | IN_UNMOUNT | IN_Q_OVERFLOW;

[[noreturn]] void FailToWatch() {
  throw CommandError(std::string("cannot watch files: ") + std::strerror(errno));
}

// Whether something can be read before the time is over; a negative time has no end.
bool IsReadable(int fd, std::chrono::milliseconds time) {
  pollfd entry = {fd, POLLIN, 0};
  for (;;) {
    const int count = poll(&entry, 1, static_cast<int>(time.count()));
    if (count >= 0) return count > 0;
    if (errno != EINTR) FailToWatch();
  }
}

}  // namespace

FileWatch::FileWatch(std::vector<std::string> files)
    : files_(std::move(files)), fd_(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {
  if (fd_ < 0) FailToWatch();
  WatchAll();
}

FileWatch::~FileWatch() { close(fd_); }

// A link and what it leads to are both watched, since either may change.
void FileWatch::WatchAll() {
  names_.clear();
  for (const std::string& file : files_) {
    fs::path path = file;
    for (int i = 0; i < kMostLinks; ++i) {
      WatchName(path);
      std::error_code error;
      const fs::path target = fs::read_symlink(path, error);
      if (error) break;
      path = path.parent_path() / target;
    }
  }
}

// Watches for the name in its folder, and for every folder on the way in the one above. None of them need
// exist.
void FileWatch::WatchName(const std::string& path) {
  std::uint32_t interest = kChanged | kMoved;
  for (fs::path name = path;; interest = kMoved) {
    const fs::path folder = name.has_parent_path() ? name.parent_path() : ".";
    if (folder == name) return;
    const int watch = inotify_add_watch(fd_, folder.c_str(), interest | IN_ONLYDIR | IN_MASK_ADD);
    if (watch >= 0) names_[watch].insert(name.filename());
    if (watch < 0 && (errno == ENOSPC || errno == ENOMEM)) FailToWatch();
    if (folder == ".") return;
    name = folder;
  }
}

// Whether any of the events that have come is about a watched name.
bool FileWatch::TakeEvents() {
  bool changed = false;
  alignas(inotify_event) char events[16384];
  for (;;) {
    const ssize_t size = read(fd_, events, sizeof events);
    if (size <= 0) return changed;
    for (std::size_t at = 0; at < static_cast<std::size_t>(size);) {
      const auto* event = reinterpret_cast<const inotify_event*>(events + at);
      at += sizeof *event + event->len;
      const auto folder = names_.find(event->wd);
      const bool named = folder != names_.end() && event->len != 0 && folder->second.count(event->name) != 0;
      changed |= named || (event->mask & kOfTheFolder) != 0;
    }
  }
}

void FileWatch::WaitForChange() {
  do {
    IsReadable(fd_, std::chrono::milliseconds(-1));
  } while (!TakeEvents());
  const Clock::time_point until = Clock::now() + kMostWait;
  while (Clock::now() < until && IsReadable(fd_, kQuiet)) TakeEvents();
  WatchAll();
}

}  // namespace cli
