// SPDX-License-Identifier: MIT
// Files, standard input and memory behind one class. The size of a file is checked before memory is taken; an
// input without a size is read up to the limit.
#include "input.h"

#include "error.h"
#include "retried.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace jobs {

namespace {

[[noreturn]] void FailWithErrno(const std::string& name) {
  throw Error::OfSystem(ErrorKind::kInput, name, "");
}

// A descriptor to read from, closed at the end when it was opened here.
class Reader {
 public:
  Reader(int fd, const std::string& name) : name_(name), fd_(fd), opened_(false) {}
  explicit Reader(const std::string& path)
      : name_(path),
        fd_(base::Retried([&] { return open(path.c_str(), O_RDONLY | O_CLOEXEC); })),
        opened_(true) {
    if (fd_ < 0) FailWithErrno(path);
  }
  ~Reader() {
    if (opened_) close(fd_);
  }
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;

  // 0 at the end.
  std::size_t Read(char* to, std::size_t size) {
    const ssize_t length = base::Retried([&] { return read(fd_, to, size); });
    if (length < 0) FailWithErrno(name_);
    return static_cast<std::size_t>(length);
  }

 private:
  const std::string& name_;
  int fd_;
  bool opened_;
};

std::string Drain(Reader& reader, const std::string& name, std::size_t limit, const char* excess) {
  std::string text;
  char piece[65536];
  while (const std::size_t length = reader.Read(piece, sizeof piece)) {
    text.append(piece, length);
    if (text.size() > limit) throw Error(ErrorKind::kLimit, name, excess);
  }
  return text;
}

}  // namespace

Input Input::File(std::string path) { return Input(Kind::kFile, std::move(path)); }

Input Input::Descriptor(int fd, std::string name) {
  Input input(Kind::kDescriptor, std::move(name));
  input.fd_ = fd;
  return input;
}

Input Input::Memory(std::string_view bytes, std::string name) {
  Input input(Kind::kMemory, std::move(name));
  input.bytes_ = bytes;
  return input;
}

std::string Input::ReadAll(std::size_t limit, const char* excess) const {
  if (kind_ == Kind::kMemory) {
    if (bytes_.size() > limit) throw Error(ErrorKind::kLimit, name_, excess);
    return std::string(bytes_);
  }
  if (kind_ == Kind::kDescriptor) {
    Reader reader(fd_, name_);
    return Drain(reader, name_, limit, excess);
  }
  Reader reader(name_);
  return Drain(reader, name_, limit, excess);
}

InputStream Input::OpenStream() const {
  if (kind_ == Kind::kMemory) {
    return InputStream(std::make_unique<CoreMemoryInputStream>(bytes_.data(), bytes_.size()));
  }
  struct stat status = {};
  if (kind_ == Kind::kFile && stat(name_.c_str(), &status) != 0) FailWithErrno(name_);
  if (!S_ISREG(status.st_mode)) return InputStream(ReadAll());
  auto file = std::make_unique<CoreFileInputStream>(name_.c_str());
  if (!file->IsOpen()) FailWithErrno(name_);
  return InputStream(std::move(file));
}

void CheckReadable(const std::string& path) {
  char byte = 0;
  Reader(path).Read(&byte, 1);
}

}  // namespace jobs
