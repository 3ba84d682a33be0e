// SPDX-License-Identifier: MIT
// PngReadSession and PngWriteSession: a libpng structure that owns itself and never prints.
//
// libpng leaves on an error by longjmp. Run() is the only place it lands; the body runs between the two, so
// it owns nothing that would need a destructor.
//
//   PngReadSession session(stream);
//   const bool read = session.Run([&](png_structp png, png_infop info) { png_read_info(png, info); });
#pragma once

#include "tovmx/stream.h"

#include <png.h>

#include <csetjmp>
#include <cstring>

namespace tovmx {

class PngSession {
 public:
  PngSession(const PngSession&) = delete;
  PngSession& operator=(const PngSession&) = delete;

  // Calls body(png, info). False when libpng reported an error on the way or memory was short. May be called
  // again to go on, but not after an error.
  template <typename Body>
  [[nodiscard]] bool Run(Body body) {
    if (png_ == nullptr || info_ == nullptr) return false;
    if (setjmp(png_jmpbuf(png_)) != 0) return false;
    body(png_, info_);
    return true;
  }

  // Whether the error that Run() met was a lack of memory.
  bool IsShortOfMemory() const { return shortOfMemory_ || png_ == nullptr || info_ == nullptr; }

 protected:
  PngSession() = default;
  ~PngSession() = default;

  // The library has no codes for what went wrong, only texts.
  [[noreturn]] static void OnError(png_structp png, png_const_charp message) {
    auto* session = static_cast<PngSession*>(png_get_error_ptr(png));
    session->shortOfMemory_ = message != nullptr && std::strstr(message, "memory") != nullptr;
    png_longjmp(png, 1);
  }
  static void OnWarning(png_structp, png_const_charp) {}

  png_structp png_ = nullptr;
  png_infop info_ = nullptr;
  bool shortOfMemory_ = false;
};

class PngReadSession : public PngSession {
 public:
  // The stream must outlive the session.
  explicit PngReadSession(CoreInputStream& stream) {
    png_ = png_create_read_struct(PNG_LIBPNG_VER_STRING, static_cast<PngSession*>(this), OnError, OnWarning);
    if (png_ == nullptr) return;
    info_ = png_create_info_struct(png_);
    png_set_read_fn(png_, &stream, OnRead);
  }
  ~PngReadSession() { png_destroy_read_struct(&png_, &info_, nullptr); }

 private:
  static void OnRead(png_structp png, png_bytep to, std::size_t size) {
    auto* stream = static_cast<CoreInputStream*>(png_get_io_ptr(png));
    if (stream->Read(to, size) != size) png_error(png, "early end");
  }
};

class PngWriteSession : public PngSession {
 public:
  // The stream must outlive the session.
  explicit PngWriteSession(CoreOutputStream& stream) {
    png_ = png_create_write_struct(PNG_LIBPNG_VER_STRING, static_cast<PngSession*>(this), OnError, OnWarning);
    if (png_ == nullptr) return;
    info_ = png_create_info_struct(png_);
    png_set_write_fn(png_, &stream, OnWrite, [](png_structp) {});
  }
  ~PngWriteSession() { png_destroy_write_struct(&png_, &info_); }

 private:
  static void OnWrite(png_structp png, png_bytep from, std::size_t size) {
    auto* stream = static_cast<CoreOutputStream*>(png_get_io_ptr(png));
    if (!stream->Write(from, size)) png_error(png, "refused");
  }
};

}  // namespace tovmx
