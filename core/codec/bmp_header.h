// SPDX-License-Identifier: MIT
// BmpHeader: the heads of a BMP file. Their length tells whose they are:
//
//     12          OS/2 1: sides of 16 bits, palette entries of 3 bytes
//     16 to 64    OS/2 2, cut behind any field; what is cut off is 0
//     40, 52, 56  Windows 3, without and with the masks of the colors and of alpha
//     65 to 124   Windows 4 and 5, which only add to these
#pragma once

#include "codec/format_decoder.h"
#include "tovmx/stream.h"

#include <cstdint>
#include <vector>

namespace tovmx {

enum class BmpPacking { kNone, kRle8, kRle4, kRle24, kMasks };

struct BmpHeader {
  int width = 0;
  int height = 0;
  bool topDown = false;
  int bits = 0;
  BmpPacking packing = BmpPacking::kNone;
  std::uint32_t masks[4] = {};  // red, green, blue, alpha of 16- and 32-bit pixels
  float dpiX = 0;
  float dpiY = 0;
  std::vector<std::uint32_t> palette;  // red in the lowest byte; empty when it is a plain gray ramp
  std::uint64_t pixelOffset = 0;       // from the start of the file

  bool HasRuns() const { return packing != BmpPacking::kNone && packing != BmpPacking::kMasks; }

  // The place of row number `i` of the file in the bitmap.
  int RowOf(int i) const { return topDown ? i : height - 1 - i; }

  // The depth of the bitmap that holds such pixels.
  int BitmapBits() const {
    if (bits == 2) return 8;
    if (bits <= 8) return bits;
    return masks[3] != 0 ? 32 : 24;
  }
};

// Reads the heads and the palette from the stream's position on. False, with a note where it is not simply
// broken, for what is no BMP, broken or of a kind that is not read.
[[nodiscard]] bool ReadBmpHeader(CoreInputStream& stream, BmpHeader& header, DecodeReason& reason);

}  // namespace tovmx
