// SPDX-License-Identifier: MIT
// The filters that PNG puts a row through before it is compressed: each byte less what the bytes to its left
// and above lead one to expect. One set of loops for each level of vector instructions; all write the same
// bytes.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tovmx {

enum PngFilter : std::uint8_t {
  kPngFilterNone,
  kPngFilterSub,      // the byte to the left
  kPngFilterUp,       // the byte above
  kPngFilterAverage,  // half the sum of the two, rounded down
  kPngFilterPaeth,    // left, above or left above, whichever is next to left + above - left above
};
constexpr int kPngFilters = 5;

// What the vector loops may read behind a row and write behind their result.
constexpr std::size_t kPngRowSlack = 32;

// `pixel` is the bytes to the left that a byte is compared with; that many zeros stand in front of both rows.
struct PngFilterKernels {
  // For each filter the sum of what it leaves, bytes counted as numbers from -128 to 127 without their sign.
  void (*weigh)(const std::uint8_t* row, const std::uint8_t* above, std::size_t size, std::size_t pixel,
                std::uint64_t sums[kPngFilters]);

  void (*apply)(PngFilter filter, const std::uint8_t* row, const std::uint8_t* above, std::size_t size,
                std::size_t pixel, std::uint8_t* out);

  // Changes the places of the first and the third of `pixel` bytes, 3 or 4. Neither row has slack.
  void (*turn)(const std::uint8_t* row, std::size_t width, std::size_t pixel, std::uint8_t* out);
};

extern const PngFilterKernels kPngFilterScalar;
extern const PngFilterKernels kPngFilterAvx2;

// Of the level that this process uses.
const PngFilterKernels& PngFilters() noexcept;

// Takes the filter off a row in place. `above` is the finished row over it, of zeros for the first; `pixel`
// is 1, 3 or 4.
void UndoPngFilter(PngFilter filter, std::uint8_t* row, const std::uint8_t* above, std::size_t size,
                   std::size_t pixel) noexcept;

}  // namespace tovmx
