// SPDX-License-Identifier: MIT
// Jpeg2000Head: what a JPEG 2000 file says of itself before its pixels, read in one walk over its boxes:
//
//     jP    signature
//     ftyp  kind of file
//     jp2h  header: colr  colors       pclr, cmap  palette
//                   cdef  channels     res         resolution
//     jp2c  the code stream, which begins with the size of the picture and of its tiles
//
// A bare code stream has no boxes. The library reads the same, but it believes the number of tiles before it
// looks for them, and applies palette and channels only to pixels that it has decoded.
#pragma once

#include "codec/jpeg2000_box.h"
#include "tovmx/stream.h"

#include <cstdint>

namespace tovmx {

// The kinds of channels that are alpha.
inline constexpr unsigned kJpeg2000Opacity = 1;
inline constexpr unsigned kJpeg2000PremultipliedOpacity = 2;

inline constexpr bool IsJpeg2000Alpha(unsigned kind) {
  return kind == kJpeg2000Opacity || kind == kJpeg2000PremultipliedOpacity;
}

struct Jpeg2000Channels {
  std::uint32_t count = 0;  // components, or what a palette makes of them
  bool cmyk = false;
  bool alphaTold = false;  // the file names a channel behind the colors that is alpha

  std::uint32_t Colors() const {
    if (cmyk && count >= 4) return 4;
    return count >= 3 ? 3 : 1;
  }
  // A single channel beside the colors is alpha even where the file forgets to say so.
  bool HasAlpha() const { return count == Colors() + 1 || (alphaTold && count > Colors()); }
  // The depth of the bitmap that holds them.
  int Bits() const {
    if (HasAlpha()) return 32;
    return Colors() == 1 ? 8 : 24;
  }
};

struct Jpeg2000Head {
  bool bare = false;  // a code stream without boxes
  std::uint64_t tiles = 0;
  std::uint32_t components = 0;
  std::uint64_t codeBytes = 0;  // from the start of the code stream to the end of the stream
  Jpeg2000Channels channels;
  Jpeg2000Resolution resolution;
};

// Reads the head from the stream's position on. False when there is no code stream or its size is senseless.
// The stream's position is anywhere afterwards.
//
// The channels follow the rules of the library: of several color boxes the first one that it understands
// counts, boxes behind the header box count as if they lay in it, and a channel takes the place of the color
// that it says it is.
[[nodiscard]] bool ReadJpeg2000Head(CoreInputStream& stream, Jpeg2000Head& head);

}  // namespace tovmx
