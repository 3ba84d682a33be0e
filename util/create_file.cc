// SPDX-License-Identifier: MIT
// Directories are made from the top down and taken back from the bottom up when the file cannot be created.
// The path is cut in place for each, which needs no memory that could be short on the way back.
#include "tovkit/util.h"

#include "retried.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

namespace tovkit {

namespace {

// The directories made for one path, each as the length of its part of the path. Unless kept, they are
// removed again, deepest first; one that is no longer empty stays.
class MadeDirectories {
 public:
  explicit MadeDirectories(std::string& path) : path_(path) {}
  ~MadeDirectories() {
    for (; !lengths_.empty(); lengths_.pop_back()) {
      WithPrefix(lengths_.back(), [](const char* directory) { return rmdir(directory); });
    }
  }
  MadeDirectories(const MadeDirectories&) = delete;
  MadeDirectories& operator=(const MadeDirectories&) = delete;

  // Makes the directory named by the first `length` characters unless something is there already.
  bool Ensure(std::size_t length) {
    if (WithPrefix(length, [](const char* directory) { return access(directory, F_OK); }) == 0) return true;
    lengths_.push_back(length);  // before it is made, so that no directory is forgotten when memory is short
    if (WithPrefix(length, [](const char* directory) { return mkdir(directory, 0755); }) == 0) return true;
    lengths_.pop_back();
    return false;
  }

  void Keep() { lengths_.clear(); }

 private:
  // Calls `use` with the first `length` characters of the path, ended in place by a NUL instead of the '/'.
  template <typename Use>
  int WithPrefix(std::size_t length, Use use) {
    path_[length] = '\0';
    const int result = use(path_.c_str());
    path_[length] = '/';
    return result;
  }

  std::string& path_;
  std::vector<std::size_t> lengths_;
};

// Creates an empty file unless one is there.
bool TouchFile(const char* path) {
  const int fd = base::Retried([=] { return open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666); });
  if (fd < 0) return false;
  close(fd);
  return true;
}

}  // namespace

bool CreateFileWithParents(const char* path) {
  std::string local = Utf8ToLocal(path, -1);
  std::replace(local.begin(), local.end(), '\\', '/');

  MadeDirectories made(local);
  // From position 1: a '/' at the front is the root, not the end of a directory.
  for (std::size_t end = local.find('/', 1); end != std::string::npos; end = local.find('/', end + 1)) {
    if (!made.Ensure(end)) return false;
  }
  if (!TouchFile(local.c_str())) return false;
  made.Keep();
  return true;
}

}  // namespace tovkit
