// SPDX-License-Identifier: MIT
// Folder: a folder that names given by strangers cannot lead out of.
//
// A name is relative, of components that are neither "." nor "..". Links on the way are followed as long as
// they stay below the folder. Where the kernel cannot check that, no link is followed.
//
//   const Folder out("out", ErrorKind::kOutput);
//   out.WriteFile("a/42.png", bytes);
#pragma once

#include "error.h"

#include <sys/stat.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace jobs {

// An open descriptor, closed with the object.
class OpenDescriptor {
 public:
  explicit OpenDescriptor(int fd = -1) : fd_(fd) {}
  OpenDescriptor(OpenDescriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  OpenDescriptor& operator=(OpenDescriptor&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }
  ~OpenDescriptor();

  int get() const { return fd_; }

 private:
  int fd_;
};

// A file that no output may take the place of.
struct KeptFile {
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  std::string why;  // for messages
};

class Folder {
 public:
  // Opens the folder. Where that fails everything here fails, with an Error of the kind: it may vanish
  // between the starts of two workers, which then costs jobs and not the run.
  Folder(std::string path, ErrorKind kind, std::vector<KeptFile> kept = {});

  // Throws Error when the folder could not be opened.
  void Check() const;

  // Throws Error when the name could lead out of the folder, or to no file.
  void CheckName(const std::string& name) const;

  // The same for a name to write; throws Error for one that temporary files have as well.
  void CheckOutputName(const std::string& name) const;

  // The name of a folder below this one without links on its way, empty for this one; as it is where nothing
  // is known of them.
  std::string FolderWithoutLinks(const std::string& name) const;

  // A regular file to read.
  [[nodiscard]] OpenDescriptor OpenFile(const std::string& name) const;

  // Size of a regular file, -1 when there is none.
  long long SizeOf(const std::string& name) const;

  // Makes the file, which appears whole or not at all, and the folders on the way to it. One that stands
  // there is replaced; a link is refused.
  void WriteFile(const std::string& name, std::string_view bytes) const;

  // Removes the regular file, if there is one, and what a killed process left of its temporary files. Nothing
  // is told of a failure.
  void RemoveFile(const std::string& name) const noexcept;

 private:
  [[noreturn]] void Fail(const std::string& name, const std::string& what) const;
  [[noreturn]] void FailWithErrno(const std::string& name, const char* what) const;
  [[nodiscard]] OpenDescriptor OpenParent(const std::string& name) const;
  const KeptFile* FindKept(const struct stat& status) const;

  std::string path_;
  ErrorKind kind_;
  OpenDescriptor root_;
  int openError_;
  std::vector<KeptFile> kept_;
};

}  // namespace jobs
