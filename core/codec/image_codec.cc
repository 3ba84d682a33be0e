// SPDX-License-Identifier: MIT
// What every encoder and decoder does the same way: the checks around the format's own work.
#include "tovmx/codec.h"

#include "bitmap/scale.h"
#include "codec/effort_encoder.h"
#include "codec/format_decoder.h"

#include <algorithm>
#include <utility>

using namespace tovmx;

CoreImageEncoder::~CoreImageEncoder() = default;
CoreImageDecoder::~CoreImageDecoder() = default;

void CoreImageEncoder::SetQuality(int quality) noexcept { quality_ = std::clamp(quality, 0, 100); }

bool CoreSetEffort(CoreImageEncoder* encoder, int effort) noexcept {
  EffortEncoder* const known = EffortEncoder::Of(encoder);
  if (known == nullptr) return false;
  known->SetEffort(std::clamp(effort, 1, 9));
  return true;
}

std::uint32_t CoreImageEncoder::Encode(const CoreDib* bitmap, CoreOutputStream* stream) {
  if (bitmap == nullptr || stream == nullptr || bitmap->GetBuffer() == nullptr) return 0;
  return EncodeBitmap(*bitmap, *stream) ? 1 : 0;
}

namespace {

// The reason of a decoder, or one that nobody asks for.
class ReasonOf {
 public:
  explicit ReasonOf(CoreImageDecoder* decoder) : decoder_(FormatDecoder::Of(decoder)) {}
  DecodeReason* operator->() { return decoder_ == nullptr ? &nobodys_ : &decoder_->Reason(); }

  bool KeepsHead() const { return decoder_ != nullptr && decoder_->KeepsHead(); }

  // Told by the first bytes: a library that refuses a head does not say whether the format was wrong.
  bool IsAnotherFormat(CoreInputStream& stream, std::uint64_t start) const {
    return decoder_ != nullptr && stream.Seek(start) && CoreDetectImageFormat(&stream) != decoder_->Format();
  }

 private:
  FormatDecoder* decoder_;
  DecodeReason nobodys_;
};

}  // namespace

std::uint32_t CoreImageDecoder::Open(CoreInputStream* stream, std::uint32_t flags) {
  stream_ = nullptr;
  info_ = {};
  ReasonOf reason(this);
  reason->Begin();
  if (stream == nullptr) {
    reason->Note(kCoreDecodeNotThere);
    return 0;
  }
  const std::uint64_t start = stream->GetPosition();
  CoreImageInfo info;
  bool opened = ReadInfo(*stream, info) && reason->Fits(info.width, info.height, info.bitsPerPixel);
  if (!opened && !reason->IsNoted() && reason.IsAnotherFormat(*stream, start))
    reason->Note(kCoreDecodeNotThisFormat);
  if ((flags & kCoreOpenReadAhead) == 0 && !stream->Seek(start)) opened = false;
  reason->End(opened);
  if (!opened) return 0;
  stream_ = stream;
  start_ = start;
  flags_ = flags;
  info_ = info;
  return 1;
}

namespace {

// The bitmap at that size: itself when it has it already.
std::unique_ptr<CoreDib> AtSize(std::unique_ptr<CoreDib> bitmap, int width, int height, ReasonOf& reason) {
  if (width == 0 && height == 0) return bitmap;
  const CoreSize size = FillProportions({width, height}, {bitmap->GetWidth(), bitmap->GetHeight()});
  if (size.width == bitmap->GetWidth() && size.height == bitmap->GetHeight()) return bitmap;
  const std::uint64_t held = bitmap->GetBufferSize() + ScalingBytes(*bitmap, size);
  if (!reason->Fits(size.width, size.height, ScaledBits(*bitmap), held)) return nullptr;
  auto scaled = std::make_unique<CoreDib>();
  if (ScaleBitmap(*bitmap, size, *scaled)) return scaled;
  reason->OverLimit();
  return nullptr;
}

}  // namespace

std::unique_ptr<CoreDib> CoreImageDecoder::GetBitmap(int frame, int width, int height) {
  ReasonOf reason(this);
  reason->Begin();
  if (stream_ == nullptr || frame < 0 || frame >= info_.frameCount || width < 0 || height < 0) {
    reason->Note(kCoreDecodeNotThere);
    return nullptr;
  }
  const std::uint64_t before = stream_->GetPosition();
  auto bitmap = std::make_unique<CoreDib>();
  bool decoded = (reason.KeepsHead() || stream_->Seek(start_)) && ReadFrame(*stream_, frame, *bitmap);
  if ((flags_ & kCoreOpenReadAhead) == 0 && !stream_->Seek(before)) decoded = false;
  if (decoded) bitmap = AtSize(std::move(bitmap), width, height, reason);
  decoded = decoded && bitmap != nullptr;
  reason->End(decoded);
  return decoded ? std::move(bitmap) : nullptr;
}
