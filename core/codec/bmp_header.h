// BmpHeader: the heads of a BMP file, from the 12 bytes of OS/2 to the 124 of Windows.
#pragma once

#include "tovmx/stream.h"

#include <cstdint>
#include <vector>

enum class BmpPacking : std::uint32_t { kNone = 0, kRle8 = 1, kRle4 = 2, kMasks = 3 };

struct BmpHeader {
  int width = 0;
  int height = 0;
  bool topDown = false;
  int bits = 0;
  BmpPacking packing = BmpPacking::kNone;
  std::uint32_t masks[4] = {};  // red, green, blue, alpha of 16- and 32-bit pixels
  float dpiX = 0;
  float dpiY = 0;
  std::vector<std::uint32_t> palette;  // red in the lowest byte; empty when it is a plain grey ramp
  std::uint64_t pixelOffset = 0;       // from the start of the file

  // The depth of the bitmap that holds such pixels.
  int BitmapBits() const {
    if (bits <= 8) return bits;
    return masks[3] != 0 ? 32 : 24;
  }
};

// Reads the heads and the palette from the stream's position on. False for what is no BMP, broken or of a
// kind that is not read (embedded JPEG and PNG).
bool ReadBmpHeader(CoreInputStream& stream, BmpHeader& header);
