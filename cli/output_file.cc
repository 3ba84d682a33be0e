#include "output_file.h"

#include "command.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace cli {

namespace {

[[noreturn]] void FailWith(const std::string& target, const char* what) {
  throw JobError(target + ": " + what + ": " + std::strerror(errno));
}

// The permissions that a newly created file, or the file that is replaced, would have.
mode_t WantedMode(const std::string& target) {
  struct stat status = {};
  if (stat(target.c_str(), &status) == 0) return status.st_mode & 07777;
  const mode_t mask = umask(0);
  umask(mask);
  return 0666 & ~mask;
}

}  // namespace

OutputFile::OutputFile(std::string target) : target_(std::move(target)) {
  struct stat status = {};
  if (stat(target_.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) {
    path_ = target_;
    return;
  }
  path_ = target_ + ".XXXXXX";
  const int fd = mkstemp(path_.data());
  if (fd < 0) FailWith(target_, "cannot create the file");
  beside_ = true;
  fchmod(fd, WantedMode(target_));
  close(fd);
}

OutputFile::~OutputFile() {
  if (beside_ && !committed_) std::remove(path_.c_str());
}

void OutputFile::Commit() {
  if (beside_ && std::rename(path_.c_str(), target_.c_str()) != 0)
    FailWith(target_, "cannot replace the file");
  committed_ = true;
}

}  // namespace cli
