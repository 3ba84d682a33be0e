// SPDX-License-Identifier: MIT
// From a stream to a bitmap and back. The content decides the format, never a name.
#include <tovkit/imaging.h>

#include "fixed_buffer.h"

#include <tovmx/color_space.h>

#include <memory>

namespace tovkit {

std::uint32_t ImageEncode(CoreDib* bitmap, CoreImageFormat format, CoreOutputStream* stream) {
  const auto encoder = CoreCodecRegistry::Get().GetFactory().CreateEncoder(format);
  return encoder == nullptr ? 0 : encoder->Encode(bitmap, stream);
}

CoreDib* ImageDecode(CoreInputStream* stream) {
  const CoreImageFormat format = CoreDetectImageFormat(stream);
  const auto decoder = CoreCodecRegistry::Get().GetFactory().CreateDecoder(format);
  if (decoder == nullptr || decoder->Open(stream, kCoreOpenReadAhead) == 0) return nullptr;
  return decoder->GetBitmap(0, 0, 0).release();
}

bool ColorToText(const std::uint32_t& color, const std::uint32_t& kind, std::string& text) {
  if (kind != kCoreColorRgb) return false;
  base::FixedBuffer<20> buffer;
  buffer.Format("#%02X%02X%02X", color & 0xffU, color >> 8 & 0xffU, color >> 16 & 0xffU);
  text = buffer.text();
  return true;
}

bool AlphaBlending(const CoreDib*, std::uint32_t) { return false; }

CoreDib* ImageBinary(const CoreDib*) { return nullptr; }

}  // namespace tovkit
