// What every encoder and decoder does the same way: the checks around the format's own work.
#include "tovmx/codec.h"

#include "bitmap/scale.h"
#include "codec/pixel_limit.h"

#include <algorithm>
#include <utility>

CoreImageEncoder::~CoreImageEncoder() = default;
CoreImageDecoder::~CoreImageDecoder() = default;

void CoreImageEncoder::SetQuality(int quality) noexcept { quality_ = std::clamp(quality, 0, 100); }

std::uint32_t CoreImageEncoder::Encode(const CoreDib* bitmap, CoreOutputStream* stream) {
  if (bitmap == nullptr || stream == nullptr || bitmap->GetBuffer() == nullptr) return 0;
  return EncodeBitmap(*bitmap, *stream) ? 1 : 0;
}

std::uint32_t CoreImageDecoder::Open(CoreInputStream* stream, std::uint32_t flags) {
  stream_ = nullptr;
  info_ = {};
  if (stream == nullptr) return 0;
  const std::uint64_t start = stream->GetPosition();
  CoreImageInfo info;
  bool opened = ReadInfo(*stream, info) && FitsPixelLimit(info.width, info.height, info.bitsPerPixel);
  if ((flags & kCoreOpenReadAhead) == 0 && !stream->Seek(start)) opened = false;
  if (!opened) return 0;
  stream_ = stream;
  start_ = start;
  flags_ = flags;
  info_ = info;
  return 1;
}

std::unique_ptr<CoreDib> CoreImageDecoder::GetBitmap(int frame, int width, int height) {
  if (stream_ == nullptr || frame < 0 || frame >= info_.frameCount || width < 0 || height < 0) return nullptr;
  const std::uint64_t before = stream_->GetPosition();
  auto bitmap = std::make_unique<CoreDib>();
  bool decoded = stream_->Seek(start_) && ReadFrame(*stream_, frame, *bitmap);
  if ((flags_ & kCoreOpenReadAhead) == 0 && !stream_->Seek(before)) decoded = false;
  if (!decoded) return nullptr;
  if (width == 0 && height == 0) return bitmap;

  const CoreSize size = FillProportions({width, height}, {bitmap->GetWidth(), bitmap->GetHeight()});
  if (size.width == bitmap->GetWidth() && size.height == bitmap->GetHeight()) return bitmap;
  const std::uint64_t held = bitmap->GetBufferSize() + ScalingBytes(*bitmap, size);
  if (!FitsPixelLimit(size.width, size.height, ScaledBits(*bitmap), held)) return nullptr;
  auto scaled = std::make_unique<CoreDib>();
  return ScaleBitmap(*bitmap, size, *scaled) ? std::move(scaled) : nullptr;
}
