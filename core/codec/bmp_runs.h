// SPDX-License-Identifier: MIT
// The runs of a BMP: pixels of 4, 8 and 24 bits.
#pragma once

#include "codec/bmp_header.h"
#include "tovmx/dib.h"
#include "tovmx/stream.h"

namespace tovmx {

// Reads the runs from the stream's position on into the bitmap; what a jump passes over keeps index 0, or
// stays black. False when the data end before the picture does.
[[nodiscard]] bool ReadBmpRuns(CoreInputStream& stream, const BmpHeader& header, CoreDib& bitmap);

}  // namespace tovmx
