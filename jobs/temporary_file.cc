// SPDX-License-Identifier: MIT
// Where the file system has files without a name (O_TMPFILE), nothing is left behind whatever happens;
// elsewhere the file has a name that the next run knows and clears away.
#include "temporary_file.h"

#include "retried.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <utility>

namespace jobs {

namespace {

constexpr int kProbed = 16;   // names that are looked at where new ones are made
constexpr int kNames = 1000;  // more at a time for one target are refused

// FNV-1a: the same on every machine that shares the folder.
std::uint64_t HashOf(const std::string& text) {
  std::uint64_t hash = 0xcbf29ce484222325;
  for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3;
  return hash;
}

std::string FolderOf(const std::string& target) { return target.substr(0, target.rfind('/') + 1); }

std::string PrefixBeside(const std::string& target) {
  const std::string folder = FolderOf(target);
  char prefix[40];
  std::snprintf(prefix, sizeof prefix, "%s%016jx-", TemporaryFile::kPrefix,
                static_cast<std::uintmax_t>(HashOf(target.substr(folder.size()))));
  return folder + prefix;
}

std::string PathOf(int fd) { return "/proc/self/fd/" + std::to_string(fd); }

bool IsAt(const std::string& name, const struct stat& file) {
  struct stat there {};
  return lstat(name.c_str(), &there) == 0 && there.st_dev == file.st_dev && there.st_ino == file.st_ino;
}

// Removes the file if it is one of ours whose owner is dead.
void RemoveIfAbandoned(const std::string& name) {
  constexpr int kFlags = O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
  const auto openAs = [&](int mode) {
    return base::Retried([&] { return open(name.c_str(), mode | kFlags); });
  };
  int fd = openAs(O_RDONLY);
  if (fd < 0 && errno == EACCES) fd = openAs(O_WRONLY);
  if (fd < 0) return;
  struct stat file {};
  if (fstat(fd, &file) == 0 && S_ISREG(file.st_mode) && file.st_uid == geteuid() &&
      flock(fd, LOCK_EX | LOCK_NB) == 0 && IsAt(name, file)) {
    unlink(name.c_str());
  }
  close(fd);
}

// Looks at so many names at least, and at more where there are some.
void RemoveAbandonedBeside(const std::string& prefix, int probed) {
  struct stat info {};
  for (int number = 0; number < kNames; ++number) {
    const std::string name = prefix + std::to_string(number);
    const bool stands = lstat(name.c_str(), &info) == 0;
    if (!stands && number >= probed - 1) return;
    if (stands) probed = kProbed;
    if (stands && S_ISREG(info.st_mode)) RemoveIfAbandoned(name);
  }
}

}  // namespace

TemporaryFile::TemporaryFile(std::string target, mode_t mode)
    : target_(std::move(target)), prefix_(PrefixBeside(target_)) {
  OpenNameless(mode);
  // Most files never need a name: then only where a name was abandoned, the others are looked for.
  RemoveAbandonedBeside(prefix_, fd_ < 0 ? kProbed : 1);
  if (fd_ < 0) OpenNamed(mode);
}

TemporaryFile::~TemporaryFile() {
  // The lock is held until the name is gone.
  if (!name_.empty()) unlink(name_.c_str());
  if (fd_ >= 0) close(fd_);
}

std::string TemporaryFile::NameAt(int number) const { return prefix_ + std::to_string(number); }

void TemporaryFile::RemoveAbandoned(const std::string& target) {
  RemoveAbandonedBeside(PrefixBeside(target), kProbed);
}

void TemporaryFile::OpenNameless(mode_t mode) {
  const std::string folder = FolderOf(target_);
  const char* const path = folder.empty() ? "." : folder.c_str();
  const int fd = base::Retried([=] { return open(path, O_TMPFILE | O_RDWR | O_CLOEXEC, 0600); });
  if (fd < 0) return;
  // The only path of a file without a name leads through /proc, which may be missing.
  static const bool isThere = access(PathOf(fd).c_str(), F_OK) == 0;
  if (!isThere) {
    close(fd);
    return;
  }
  flock(fd, LOCK_EX | LOCK_NB);
  fchmod(fd, mode);
  fd_ = fd;
  path_ = PathOf(fd);
}

void TemporaryFile::OpenNamed(mode_t mode) {
  for (int number = 0; number < kNames; ++number) {
    if (OpenAt(NameAt(number), mode)) return;
    if (errno != EEXIST) return;
  }
}

bool TemporaryFile::OpenAt(const std::string& name, mode_t mode) {
  const EndHeldBack held;
  const int fd =
      base::Retried([&] { return open(name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600); });
  if (fd < 0) return false;
  // Before the lock was held, another process may have taken the file for abandoned and removed it.
  struct stat file {};
  base::Retried([=] { return flock(fd, LOCK_EX); });
  if (fstat(fd, &file) != 0 || !IsAt(name, file)) {
    close(fd);
    errno = EEXIST;
    return false;
  }
  fchmod(fd, mode);
  fd_ = fd;
  path_ = name_ = name;
  removed_.emplace(name_, fd_);
  return true;
}

bool TemporaryFile::LinkTo(const std::string& name) const {
  return linkat(AT_FDCWD, path_.c_str(), AT_FDCWD, name.c_str(), AT_SYMLINK_FOLLOW) == 0;
}

bool TemporaryFile::GiveName() {
  for (int number = 0; number < kNames; ++number) {
    const std::string name = NameAt(number);
    removed_.emplace(name, fd_);
    if (LinkTo(name)) {
      name_ = name;
      return true;
    }
    removed_.reset();
    if (errno != EEXIST) return false;
  }
  return false;
}

bool TemporaryFile::Replace() {
  if (name_.empty()) {
    if (LinkTo(target_)) return true;
    if (errno != EEXIST) return false;
    RemoveAbandonedBeside(prefix_, kProbed);
    if (!GiveName()) return false;
  }
  if (std::rename(name_.c_str(), target_.c_str()) != 0) return false;
  name_.clear();
  removed_.reset();
  return true;
}

}  // namespace jobs
