// SPDX-License-Identifier: MIT
// FormatDecoder: a decoder of this library, which can say why it failed.
//
// The reason lives here and not in CoreImageDecoder, whose layout is part of the interface.
#pragma once

#include "codec/pixel_limit.h"
#include "tovmx/codec.h"

namespace tovmx {

// Why a call fails: what is noted first holds. The notes return false, so that a function can pass it on.
class DecodeReason {
 public:
  // Until End() the reason is that memory is short: that is what an exception leaves behind.
  void Begin() noexcept;
  void End(bool decoded) noexcept;

  bool Note(CoreDecodeFailure failure) noexcept;
  bool OverLimit() noexcept { return Note(kCoreDecodeOverLimit); }
  // What is not supported, as printf takes it; a text beyond the room for it is cut.
  [[gnu::format(printf, 2, 3)]] bool Unsupported(const char* format, ...) noexcept;

  // FitsPixelLimit, and Create after it, with a note when the answer is no.
  [[nodiscard]] bool Fits(int width, int height, int bits, std::uint64_t extraBytes = 0) noexcept;
  [[nodiscard]] bool Create(CoreDib& bitmap, int width, int height, int bits, std::uint64_t extraBytes = 0);

  bool IsNoted() const noexcept { return noted_; }
  CoreDecodeFailure Failure() const noexcept { return failure_; }
  const char* Feature() const noexcept { return feature_; }

 private:
  CoreDecodeFailure failure_ = kCoreDecodeNoFailure;
  bool noted_ = false;
  char feature_[80] = {};
};

class FormatDecoder : public CoreImageDecoder {
 public:
  // Null for a decoder that somebody else has derived.
  static FormatDecoder* Of(CoreImageDecoder* decoder) noexcept {
    return dynamic_cast<FormatDecoder*>(decoder);
  }
  static const FormatDecoder* Of(const CoreImageDecoder* decoder) noexcept {
    return dynamic_cast<const FormatDecoder*>(decoder);
  }

  // True for a decoder that keeps the head that ReadInfo read, and moves the stream by itself from there. Any
  // other finds the stream at the image's first byte.
  virtual bool KeepsHead() const noexcept { return false; }

  CoreImageFormat Format() const noexcept { return format_; }
  DecodeReason& Reason() noexcept { return reason_; }
  const DecodeReason& Reason() const noexcept { return reason_; }

 protected:
  explicit FormatDecoder(CoreImageFormat format) noexcept : format_(format) {}

 private:
  CoreImageFormat format_;
  DecodeReason reason_;
};

}  // namespace tovmx
