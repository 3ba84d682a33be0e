// SPDX-License-Identifier: MIT
// The kernel resolves names (openat2), which leaves no moment between a check and its use. The final
// component is never followed: the file comes by link and rename, which take a link's own place.
#include "folder.h"

#include "retried.h"
#include "temporary_file.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <exception>
#include <filesystem>
#include <system_error>

namespace jobs {

namespace {

constexpr int kFolderFlags = O_PATH | O_DIRECTORY | O_CLOEXEC;

int OpenNoLinks(int root, const std::string& name, int flags) {
  OpenDescriptor at(fcntl(root, F_DUPFD_CLOEXEC, 0));
  for (std::size_t from = 0; at.get() >= 0;) {
    const std::size_t slash = name.find('/', from);
    const bool last = slash == std::string::npos;
    const std::string component = name.substr(from, last ? slash : slash - from);
    const int fd = base::Retried(
        [&] { return openat(at.get(), component.c_str(), (last ? flags : kFolderFlags) | O_NOFOLLOW); });
    if (last) return fd;
    at = OpenDescriptor(fd);
    from = slash + 1;
  }
  return -1;
}

// Opens what `name` leads to below `root`; -1 with errno.
int OpenBelow(int root, const std::string& name, int flags) {
  open_how how = {};
  how.flags = static_cast<std::uint64_t>(flags);
  how.resolve = RESOLVE_BENEATH | RESOLVE_NO_MAGICLINKS;
  const long fd = base::Retried([&] { return syscall(SYS_openat2, root, name.c_str(), &how, sizeof how); });
  // Kernels before 5.6 do not have the call, and filters of containers refuse calls that they do not know.
  if (fd < 0 && (errno == ENOSYS || errno == EPERM)) return OpenNoLinks(root, name, flags);
  return static_cast<int>(fd);
}

mode_t NewFileMode() {
  static const mode_t mode = [] {
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
  }();
  return mode;
}

bool WriteAll(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = base::Retried([&] { return write(fd, bytes.data(), bytes.size()); });
    if (written < 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

// The path of the file in an open folder.
std::string NameIn(const OpenDescriptor& folder, const std::string& file) {
  return "/proc/self/fd/" + std::to_string(folder.get()) + "/" + file;
}

// Where the descriptor's file is; empty when that is not known.
std::string PathOfDescriptor(int fd) {
  std::error_code error;
  return std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(fd), error).string();
}

const char* WhyNoName(const std::string& name) {
  if (name.empty()) return "the name is empty";
  if (name.find('\0') != std::string::npos) return "the name holds a NUL character";
  if (name.front() == '/') return "the name is absolute";
  if (name.size() >= PATH_MAX) return "the name is too long";
  for (std::size_t from = 0; from <= name.size();) {
    const std::size_t to = std::min(name.find('/', from), name.size());
    const std::string component = name.substr(from, to - from);
    if (component.empty()) return "the name has an empty component";
    if (component == "." || component == "..") return "the name holds . or ..";
    if (component.size() > NAME_MAX) return "the name is too long";
    from = to + 1;
  }
  return nullptr;
}

}  // namespace

OpenDescriptor::~OpenDescriptor() {
  if (fd_ >= 0) close(fd_);
}

Folder::Folder(std::string path, ErrorKind kind, std::vector<KeptFile> kept)
    : path_(std::move(path)),
      kind_(kind),
      root_(base::Retried([this] { return open(path_.c_str(), kFolderFlags); })),
      openError_(errno),
      kept_(std::move(kept)) {}

void Folder::Check() const {
  if (root_.get() >= 0) return;
  errno = openError_;
  FailWithErrno(path_, "cannot open the folder");
}

void Folder::Fail(const std::string& name, const std::string& what) const { throw Error(kind_, name, what); }

void Folder::FailWithErrno(const std::string& name, const char* what) const {
  if (errno == EXDEV) Fail(name, "leads out of the folder");
  throw Error::OfSystem(kind_, name, what);
}

void Folder::CheckName(const std::string& name) const {
  if (const char* const why = WhyNoName(name))
    throw Error(ErrorKind::kInput, name.empty() ? "''" : name, why);
}

void Folder::CheckOutputName(const std::string& name) const {
  CheckName(name);
  const std::string prefix = TemporaryFile::kPrefix;
  if (name.compare(name.rfind('/') + 1, prefix.size(), prefix) == 0) {
    Fail(name, "names that begin with " + prefix + " are kept for temporary files");
  }
}

// The part of the way that is there is followed; the rest will be made, without links.
std::string Folder::FolderWithoutLinks(const std::string& name) const {
  const std::string root = PathOfDescriptor(root_.get());
  if (root.empty() || WhyNoName(name) != nullptr) return name;
  const std::string below = root == "/" ? root : root + "/";
  for (std::size_t to = name.size(); to != std::string::npos; to = name.rfind('/', to - 1)) {
    const OpenDescriptor folder(OpenBelow(root_.get(), name.substr(0, to), kFolderFlags));
    if (folder.get() < 0 && errno == ENOENT) continue;
    const std::string path = PathOfDescriptor(folder.get());
    if (path == root) return to == name.size() ? "" : name.substr(to + 1);
    if (path.compare(0, below.size(), below) != 0) return name;
    return path.substr(below.size()) + name.substr(to);
  }
  return name;
}

OpenDescriptor Folder::OpenFile(const std::string& name) const {
  Check();
  CheckName(name);
  OpenDescriptor file(OpenBelow(root_.get(), name, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  if (file.get() < 0) FailWithErrno(name, "cannot open the file");
  struct stat status = {};
  if (fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) Fail(name, "no regular file");
  return file;
}

long long Folder::SizeOf(const std::string& name) const {
  struct stat status = {};
  const OpenDescriptor file(OpenBelow(root_.get(), name, O_PATH | O_NOFOLLOW | O_CLOEXEC));
  if (file.get() < 0 || fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) return -1;
  return status.st_size;
}

// The folder that the file belongs into.
OpenDescriptor Folder::OpenParent(const std::string& name) const {
  const std::size_t slash = name.rfind('/');
  if (slash == std::string::npos) return OpenDescriptor(fcntl(root_.get(), F_DUPFD_CLOEXEC, 0));
  OpenDescriptor parent(OpenBelow(root_.get(), name.substr(0, slash), kFolderFlags));
  if (parent.get() >= 0 || errno != ENOENT) return parent;
  parent = OpenDescriptor(fcntl(root_.get(), F_DUPFD_CLOEXEC, 0));
  for (std::size_t from = 0, to = 0; from < slash; from = to + 1) {
    to = name.find('/', from);
    // Another process may make the folder at the same time.
    if (mkdirat(parent.get(), name.substr(from, to - from).c_str(), 0777) != 0 && errno != EEXIST) {
      return OpenDescriptor();
    }
    parent = OpenDescriptor(OpenBelow(root_.get(), name.substr(0, to), kFolderFlags));
    if (parent.get() < 0) return parent;
  }
  return parent;
}

const KeptFile* Folder::FindKept(const struct stat& status) const {
  const auto found = std::find_if(kept_.begin(), kept_.end(), [&status](const KeptFile& kept) {
    return kept.device == status.st_dev && kept.inode == status.st_ino;
  });
  return found == kept_.end() ? nullptr : &*found;
}

void Folder::WriteFile(const std::string& name, std::string_view bytes) const {
  CheckOutputName(name);
  const OpenDescriptor parent = OpenParent(name);
  if (parent.get() < 0) FailWithErrno(name, "cannot open its folder");
  const std::string file = name.substr(name.rfind('/') + 1);
  struct stat status = {};
  const bool stands = fstatat(parent.get(), file.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
  if (stands && !S_ISREG(status.st_mode)) Fail(name, "something that is no regular file stands there");
  if (const KeptFile* const kept = stands ? FindKept(status) : nullptr) Fail(name, kept->why);
  TemporaryFile temporary(NameIn(parent, file), stands ? status.st_mode & 07777 : NewFileMode());
  if (temporary.fd() < 0) FailWithErrno(name, "cannot create the file");
  if (!WriteAll(temporary.fd(), bytes)) FailWithErrno(name, "cannot write");
  if (!temporary.Replace()) FailWithErrno(name, "cannot replace the file");
}

void Folder::RemoveFile(const std::string& name) const noexcept {
  try {
    CheckOutputName(name);
    const std::size_t slash = name.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : name.substr(0, slash);
    const OpenDescriptor parent(OpenBelow(root_.get(), folder, kFolderFlags));
    if (parent.get() < 0) return;
    const std::string file = name.substr(slash + 1);
    TemporaryFile::RemoveAbandoned(NameIn(parent, file));
    struct stat status = {};
    if (fstatat(parent.get(), file.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISREG(status.st_mode) &&
        FindKept(status) == nullptr) {
      unlinkat(parent.get(), file.c_str(), 0);
    }
  } catch (const std::exception&) {
    // A name that no output has.
  }
}

}  // namespace jobs
