// SPDX-License-Identifier: MIT
/// \file
/// CoreInputStream and CoreOutputStream: where encoded bytes come from and go to.
///
/// Two of each are here: over a file and over memory. Applications derive their own for anything else. No
/// operation throws; an operation of a derived stream must not throw either, since it may be called from
/// inside a C library.
///
/// Thread-safety: a stream belongs to one thread at a time.
///
/// \code{.cc}
/// const unsigned char bytes[] = {0x89, 'P', 'N', 'G'};
/// CoreMemoryInputStream in(bytes, sizeof bytes);
/// char head[4];
/// if (in.Read(head, sizeof head) != sizeof head) std::puts("too short");
///
/// CoreFileOutputStream out("page.png");
/// if (!out.Write(bytes, sizeof bytes) || !out.Close()) std::perror("page.png");
/// \endcode
#pragma once

#include <tovmx/export.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>

/// A source of bytes with a position in it.
class TOVMX_API CoreInputStream {
 public:
  virtual ~CoreInputStream();

  /// Copies the next bytes to `to` and moves the position past them. Returns how many were copied: `size`, or
  /// fewer (0 included) at the end and after a failure, which look the same to the reader.
  virtual std::size_t Read(void* to, std::size_t size) = 0;

  /// Moves the position, counted in bytes from the start. A position past the end is allowed; reads there
  /// return nothing. False, and the position unchanged, when the stream cannot do it.
  virtual bool Seek(std::uint64_t position) = 0;

  /// The position, counted in bytes from the start.
  virtual std::uint64_t GetPosition() const = 0;

  /// The number of bytes in the whole stream.
  virtual std::uint64_t GetSize() const = 0;

  /// The whole content when it lies in memory, GetSize() bytes long and valid as long as the stream; null
  /// otherwise. Readers use it to spare a copy.
  virtual const std::uint8_t* GetView() const;

 protected:
  CoreInputStream() = default;
  CoreInputStream(const CoreInputStream&) = delete;
  CoreInputStream& operator=(const CoreInputStream&) = delete;
};

/// A sink of bytes.
class TOVMX_API CoreOutputStream {
 public:
  virtual ~CoreOutputStream();

  /// Appends `size` bytes. False on failure; how much was written then is open.
  virtual bool Write(const void* from, std::size_t size) = 0;

 protected:
  CoreOutputStream() = default;
  CoreOutputStream(const CoreOutputStream&) = delete;
  CoreOutputStream& operator=(const CoreOutputStream&) = delete;
};

/// Reads a block of memory that the caller keeps alive and unchanged. A null block counts as empty.
class TOVMX_API CoreMemoryInputStream final : public CoreInputStream {
 public:
  /// Reads `size` bytes at `data`.
  CoreMemoryInputStream(const void* data, std::size_t size) noexcept;
  std::size_t Read(void* to, std::size_t size) override;
  bool Seek(std::uint64_t position) override;
  std::uint64_t GetPosition() const override;
  std::uint64_t GetSize() const override;
  const std::uint8_t* GetView() const override;

 private:
  const std::uint8_t* data_;
  std::size_t size_;
  std::uint64_t position_ = 0;
};

/// Collects bytes in memory. Write is false, and nothing is added, when memory is short.
class TOVMX_API CoreMemoryOutputStream final : public CoreOutputStream {
 public:
  CoreMemoryOutputStream() = default;
  ~CoreMemoryOutputStream() override;
  bool Write(const void* from, std::size_t size) override;

  /// @{
  /// The bytes so far; null while there are none. Valid until the next Write.
  const std::uint8_t* GetData() const noexcept { return data_; }
  std::size_t GetSize() const noexcept { return size_; }
  /// @}

 private:
  std::uint8_t* data_ = nullptr;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
};

/// Reads a file. A file that cannot be opened (a null path is none), and one that cannot be sought in (a
/// pipe), is an empty stream.
class TOVMX_API CoreFileInputStream final : public CoreInputStream {
 public:
  /// Opens the file. `path` is in the local encoding.
  explicit CoreFileInputStream(const char* path);

  /// Closes the file.
  ~CoreFileInputStream() override;

  /// False when the file could not be opened; errno then says why.
  bool IsOpen() const noexcept { return file_ != nullptr; }

  /// True once the system refused to read or seek, as opposed to reaching the end.
  bool HasFailed() const noexcept { return failed_; }

  std::size_t Read(void* to, std::size_t size) override;
  bool Seek(std::uint64_t position) override;
  std::uint64_t GetPosition() const override;
  std::uint64_t GetSize() const override;

 private:
  std::FILE* file_;
  std::uint64_t position_ = 0;
  std::uint64_t size_ = 0;
  bool failed_ = false;
};

/// Writes a file from its start, creating it or dropping what it held. Bytes are buffered: only a Close that
/// returns true promises that the system took them all. A null path is a file that cannot be opened.
class TOVMX_API CoreFileOutputStream final : public CoreOutputStream {
 public:
  /// Opens the file. `path` is in the local encoding.
  explicit CoreFileOutputStream(const char* path);

  /// Closes the file; what fails then goes unnoticed, so call Close first.
  ~CoreFileOutputStream() override;

  /// False when the file could not be opened (errno then says why) and after Close.
  bool IsOpen() const noexcept { return file_ != nullptr; }

  bool Write(const void* from, std::size_t size) override;

  /// Hands the last bytes to the system and closes the file. True when every Write and this succeeded; errno
  /// says why not. A second Close returns false.
  bool Close();

 private:
  std::FILE* file_;
  int error_ = 0;  // errno of the first failure
};
