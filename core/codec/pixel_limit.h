// What decoders ask before they allocate pixels.
#pragma once

#include "tovmx/codec.h"

#include <cstdint>

namespace tovmx {

// True when a bitmap of that size can exist and fits the registry's limit together with `extraBytes` of
// pixels that the decoder holds meanwhile.
inline bool FitsPixelLimit(int width, int height, int bitsPerPixel, std::uint64_t extraBytes = 0) noexcept {
  const std::uint64_t limit = CoreCodecRegistry::Get().GetPixelLimit();
  const std::uint64_t bytes = CoreDib::BytesNeeded(width, height, bitsPerPixel);
  return bytes != 0 && bytes <= limit && extraBytes <= limit - bytes;
}

}  // namespace tovmx
