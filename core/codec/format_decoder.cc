// SPDX-License-Identifier: MIT
// Why a decoder failed. The first note holds, since what fails first is the cause; an exception leaves the
// reason that Begin() put down, short memory.
#include "codec/format_decoder.h"

#include <cstdarg>
#include <cstdio>

using namespace tovmx;

void DecodeReason::Begin() noexcept {
  failure_ = kCoreDecodeOverLimit;
  noted_ = false;
  feature_[0] = '\0';
}

void DecodeReason::End(bool decoded) noexcept {
  if (!decoded) {
    Note(kCoreDecodeBroken);
    return;
  }
  failure_ = kCoreDecodeNoFailure;
  feature_[0] = '\0';
}

bool DecodeReason::Note(CoreDecodeFailure failure) noexcept {
  if (!noted_) failure_ = failure;
  noted_ = true;
  return false;
}

bool DecodeReason::Unsupported(const char* format, ...) noexcept {
  if (noted_) return false;
  std::va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(feature_, sizeof feature_, format, arguments);
  va_end(arguments);
  return Note(kCoreDecodeUnsupported);
}

bool DecodeReason::Fits(int width, int height, int bits, std::uint64_t extraBytes) noexcept {
  if (FitsPixelLimit(width, height, bits, extraBytes)) return true;
  return Note(width < 1 || height < 1 ? kCoreDecodeBroken : kCoreDecodeOverLimit);
}

bool DecodeReason::Create(CoreDib& bitmap, int width, int height, int bits, std::uint64_t extraBytes) {
  return Fits(width, height, bits, extraBytes) && (bitmap.Create(width, height, bits) || OverLimit());
}

CoreDecodeFailure CoreGetDecodeFailure(const CoreImageDecoder* decoder) noexcept {
  const FormatDecoder* known = FormatDecoder::Of(decoder);
  return known == nullptr ? kCoreDecodeNoFailure : known->Reason().Failure();
}

const char* CoreGetUnsupportedFeature(const CoreImageDecoder* decoder) noexcept {
  const FormatDecoder* known = FormatDecoder::Of(decoder);
  return known == nullptr ? "" : known->Reason().Feature();
}

const char* CoreDecodeFailureName(CoreDecodeFailure failure) noexcept {
  switch (failure) {
    case kCoreDecodeNoFailure:
      return "no failure";
    case kCoreDecodeNotThisFormat:
      return "not this format";
    case kCoreDecodeBroken:
      return "broken";
    case kCoreDecodeUnsupported:
      return "unsupported";
    case kCoreDecodeOverLimit:
      return "over the limit";
    case kCoreDecodeNotThere:
      return "not there";
  }
  return "unknown";
}
