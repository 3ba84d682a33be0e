// What the boxes of a JP2 file say about its channels: the library applies them only to pixels that it has
// decoded.
#pragma once

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

// Of the file that starts at `start` and whose code stream has so many components, by the rules that the
// library follows once it has decoded them: of several color boxes the first one that it understands counts,
// boxes behind the header box count as if they lay in it, and a channel takes the place of the color that it
// says it is. The stream's position is anywhere afterwards.
Jpeg2000Channels ReadJpeg2000Channels(CoreInputStream& stream, std::uint64_t start, std::uint32_t components);

}  // namespace tovmx
