#include "output_file.h"

#include "job_error.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>
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

// Where a link leads; every other path, and a link that leads nowhere, as it is.
std::string Followed(const std::string& path) {
  std::error_code error;
  if (!std::filesystem::is_symlink(path, error)) return path;
  const std::filesystem::path end = std::filesystem::canonical(path, error);
  return error ? path : end.string();
}

}  // namespace

OutputFile::OutputFile(std::string target) : target_(std::move(target)), replaced_(Followed(target_)) {
  struct stat status = {};
  if (stat(target_.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) {
    path_ = target_;
    return;
  }
  // A name of its own, since the target's may be as long as names can be.
  path_ = replaced_.substr(0, replaced_.rfind('/') + 1) + ".tovkit.XXXXXX";
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
  if (beside_ && std::rename(path_.c_str(), replaced_.c_str()) != 0) {
    FailWith(target_, "cannot replace the file");
  }
  committed_ = true;
}

}  // namespace cli
