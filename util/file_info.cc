// SPDX-License-Identifier: MIT
// One stat when the object is made; every question is answered from it, so that the answers agree with each
// other.
#include "tovkit/util.h"

#include <sys/stat.h>

#include <memory>
#include <string>

namespace tovkit {

namespace {

// The status of a path in the local encoding, null when it cannot be examined.
std::unique_ptr<struct stat> StatusOf(const std::string& path) {
  if (path.empty()) return nullptr;
  auto status = std::make_unique<struct stat>();
  if (stat(path.c_str(), status.get()) != 0) return nullptr;
  return status;
}

// A copy with '/' for every '\\'. Made before the conversion to the local encoding, where the byte of a '\\'
// can be the second half of a letter.
template <typename Text, typename Char>
Text WithSlashes(const Char* path, int len) {
  Text text(path, len);
  text.Replace('\\', '/');
  return text;
}

constexpr int kEveryFlag = PathIsFile | PathIsDirectory | PathReadable | PathWritable;

template <typename Char>
int Check(const Char* path, int mask) {
  if (path == nullptr || *path == 0 || (mask & PathExists) == 0) return 0;
  const FileInfo info(path, -1);
  if (!info.Exists()) return 0;

  int result = PathExists;
  const auto add = [&](PathFlag flag, bool holds) {
    if (holds && (mask & flag) == flag) result |= flag;
  };
  add(PathIsFile, info.IsFile());
  add(PathIsDirectory, info.IsDirectory());
  add(PathReadable, info.IsReadable());
  add(PathWritable, info.IsWritable());
  return result;
}

}  // namespace

FileInfo::FileInfo(const char* path, int len)
    : status(StatusOf(Utf8ToLocal(WithSlashes<CoreString>(path, len).c_str(), -1))) {}

FileInfo::FileInfo(const wchar_t* path, int len)
    : status(StatusOf(WideToLocal(WithSlashes<CoreWideString>(path, len).c_str(), -1))) {}

FileInfo::~FileInfo() = default;
FileInfo::FileInfo(FileInfo&& other) noexcept = default;
FileInfo& FileInfo::operator=(FileInfo&& other) noexcept = default;

bool FileInfo::IsDirectory() const { return status != nullptr && S_ISDIR(status->st_mode); }
bool FileInfo::IsFile() const { return status != nullptr && S_ISREG(status->st_mode); }
bool FileInfo::Exists() const { return status != nullptr; }

// Compatibility: the owner's bits tell, whoever asks.
bool FileInfo::IsReadable() const { return status != nullptr && (status->st_mode & S_IRUSR) != 0; }
bool FileInfo::IsWritable() const { return status != nullptr && (status->st_mode & S_IWUSR) != 0; }

int CheckPath(const char* path, int mask) { return Check(path, mask); }
int CheckPath(const wchar_t* path, int mask) { return Check(path, mask); }

int GetPathFlags(const char* path) { return Check(path, kEveryFlag); }
int GetPathFlags(const wchar_t* path) { return Check(path, kEveryFlag); }

}  // namespace tovkit
