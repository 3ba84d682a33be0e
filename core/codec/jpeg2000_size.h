// What the size segment of a JPEG 2000 code stream promises, read before the library believes it.
#pragma once

#include "tovmx/stream.h"

#include <cstdint>

namespace tovmx {

struct Jpeg2000Size {
  std::uint64_t tiles = 0;
  std::uint32_t components = 0;
  bool bare = false;            // a code stream without the boxes of a file around it
  std::uint64_t codeBytes = 0;  // from the start of the code stream to the end of the stream
};

// Finds the code stream, in the boxes or bare, from the stream's position on. False when there is none or its
// size segment is senseless. The position is anywhere afterwards.
bool ReadJpeg2000Size(CoreInputStream& stream, Jpeg2000Size& size);

}  // namespace tovmx
