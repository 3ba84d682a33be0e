// SPDX-License-Identifier: MIT
// The pixel limit, asked for here and nowhere else: what decoders ask before they allocate pixels.
#pragma once

#include "tovmx/codec.h"

#include <cstdint>

namespace tovmx {

// The most bytes that a decoder may hold at once for one image.
inline std::uint64_t PixelLimit() noexcept { return CoreCodecRegistry::Get().GetPixelLimit(); }

// True when a bitmap of that size can exist and fits the registry's limit together with `extraBytes` of
// pixels that the decoder holds meanwhile.
[[nodiscard]] inline bool FitsPixelLimit(int width, int height, int bitsPerPixel,
                                         std::uint64_t extraBytes = 0) noexcept {
  const std::uint64_t limit = PixelLimit();
  const std::uint64_t bytes = CoreDib::BytesNeeded(width, height, bitsPerPixel);
  return bytes != 0 && bytes <= limit && extraBytes <= limit - bytes;
}

}  // namespace tovmx
