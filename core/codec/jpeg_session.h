// SPDX-License-Identifier: MIT
// JpegSession: a libjpeg structure that owns itself and never prints or exits.
//
// libjpeg leaves on an error by longjmp. Run() is the only place it lands; the body runs between the two, so
// it owns nothing that would need a destructor.
#pragma once

#include <cstdio>  // jpeglib.h wants it first

#include <jpeglib.h>

#include <csetjmp>

namespace tovmx {

template <typename Struct>
class JpegSession {
 public:
  JpegSession() {
    jpeg_.err = jpeg_std_error(&errors_.base);
    errors_.base.error_exit = [](j_common_ptr jpeg) {
      std::longjmp(reinterpret_cast<Errors*>(jpeg->err)->landing, 1);
    };
    errors_.base.emit_message = [](j_common_ptr, int) {};
    errors_.base.output_message = [](j_common_ptr) {};
  }
  ~JpegSession() { jpeg_destroy(reinterpret_cast<j_common_ptr>(&jpeg_)); }
  JpegSession(const JpegSession&) = delete;
  JpegSession& operator=(const JpegSession&) = delete;

  // Calls body(jpeg). False when the library reported an error on the way. May be called again to go on, but
  // not after an error.
  template <typename Body>
  [[nodiscard]] bool Run(Body body) {
    if (setjmp(errors_.landing) != 0) return false;
    body(&jpeg_);
    return true;
  }

  Struct& Get() { return jpeg_; }

  // The library's number of the error that Run() met.
  int ErrorCode() const { return errors_.base.msg_code; }

 private:
  struct Errors {
    jpeg_error_mgr base;
    std::jmp_buf landing;
  };

  Struct jpeg_{};
  Errors errors_{};
};

}  // namespace tovmx
