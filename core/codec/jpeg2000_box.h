// SPDX-License-Identifier: MIT
// The boxes that a JP2 file is made of, and the one among them that tells the resolution.
#pragma once

#include "tovmx/stream.h"

#include <array>
#include <cstdint>

namespace tovmx {

struct Jpeg2000Box {
  std::uint32_t type = 0;
  std::uint64_t start = 0;    // of the box's head
  std::uint64_t content = 0;  // behind the head
  std::uint64_t end = 0;      // UINT64_MAX when it goes on to the end of the file
};

inline constexpr std::uint32_t kJpeg2000CodeStream = 0x6a703263;  // "jp2c"
inline constexpr std::uint32_t kJpeg2000Header = 0x6a703268;      // "jp2h"
inline constexpr std::uint32_t kJpeg2000Resolution = 0x72657320;  // "res "

// Big-endian, as all numbers of the format.
std::uint32_t GetJpeg2000Number(const std::uint8_t* p) noexcept;

// Reads the head of the box at `at`. False when there is none. A box of a senseless length goes on to the
// end.
[[nodiscard]] bool NextJpeg2000Box(CoreInputStream& stream, std::uint64_t at, Jpeg2000Box& box);

// Finds the first box of a type among those that follow one another from `at` up to `end`. False when there
// is none or a box before it is broken. The stream's position is anywhere afterwards.
[[nodiscard]] bool FindJpeg2000Box(CoreInputStream& stream, std::uint64_t at, std::uint64_t end,
                                   std::uint32_t type, Jpeg2000Box& box);

struct Jpeg2000Resolution {
  float dpiX = 0;  // 0 when unknown
  float dpiY = 0;
};

// What a resolution box says: the resolution at which the picture was captured, or else the one at which it
// wants to be shown.
Jpeg2000Resolution ReadJpeg2000Resolution(CoreInputStream& stream, const Jpeg2000Box& resolution);

// The box to put at the end of the header box. Both numbers are positive and finite.
std::array<std::uint8_t, 26> MakeJpeg2000Resolution(float dpiX, float dpiY) noexcept;

}  // namespace tovmx
