// SPDX-License-Identifier: MIT
// Samples of a TIFF that are neither 8 nor 16 bits whole: packed ones of any number of bits up to 32, of 64
// bits, and floating-point numbers of 16, 24, 32 and 64 bits.
#pragma once

#include "codec/tiff_layout.h"

#include <cstddef>
#include <cstdint>

namespace tovmx {

// True for a depth that NarrowTiffSamples reads.
bool IsTiffSampleDepth(int bits, bool real);

// Brings `count` samples to 8 bits. Whole numbers are scaled by their range and rounded to the nearest,
// except for indices, which stay as they are. Numbers with a fraction go from 0 to 1: what lies outside is
// clamped and what is no number is 0. Numbers of 16, 24, 32 and 64 bits are in this machine's order, others
// packed from the highest bit of each byte down.
void NarrowTiffSamples(const TiffLayout& layout, const std::uint8_t* from, std::size_t count,
                       std::uint8_t* to);

}  // namespace tovmx
