// SPDX-License-Identifier: MIT
// The file is written beside its target and takes its place when it is whole: readers see the old one or
// the new one.
#include "output_file.h"

#include "error.h"

#include <sys/stat.h>

#include <filesystem>
#include <system_error>
#include <utility>

namespace jobs {

namespace {

[[noreturn]] void FailWith(const std::string& target, const char* what) {
  throw Error::OfSystem(ErrorKind::kOutput, target, what);
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

OutputFile::OutputFile(std::string target) : target_(std::move(target)) {
  struct stat status = {};
  if (stat(target_.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) return;
  file_.emplace(Followed(target_), WantedMode(target_));
  if (file_->fd() < 0) FailWith(target_, "cannot create the file");
}

void OutputFile::Commit() {
  if (file_ && !file_->Replace()) FailWith(target_, "cannot replace the file");
}

}  // namespace jobs
