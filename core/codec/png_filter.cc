// SPDX-License-Identifier: MIT
// The filters of PNG in plain loops, and the choice of a level.
#include "codec/png_filter.h"

#include "simd_level.h"

#include <cstdlib>
#include <cstring>

namespace tovmx {

namespace {

unsigned Paeth(int left, int above, int corner) noexcept {
  const int toLeft = std::abs(above - corner);
  const int toAbove = std::abs(left - corner);
  const int toCorner = std::abs(left + above - 2 * corner);
  if (toLeft <= toAbove && toLeft <= toCorner) return static_cast<unsigned>(left);
  return static_cast<unsigned>(toAbove <= toCorner ? above : corner);
}

// What a filter expects in a byte's place.
template <PngFilter kFilter>
unsigned Expected(unsigned left, unsigned above, unsigned corner) noexcept {
  if constexpr (kFilter == kPngFilterSub) return left;
  if constexpr (kFilter == kPngFilterUp) return above;
  if constexpr (kFilter == kPngFilterAverage) return (left + above) / 2;
  if constexpr (kFilter == kPngFilterPaeth)
    return Paeth(static_cast<int>(left), static_cast<int>(above), static_cast<int>(corner));
  return 0;
}

template <PngFilter kFilter>
void ApplyOne(const std::uint8_t* row, const std::uint8_t* above, std::size_t size, std::size_t pixel,
              std::uint8_t* out) noexcept {
  const std::uint8_t* const left = row - pixel;
  const std::uint8_t* const corner = above - pixel;
  for (std::size_t i = 0; i < size; ++i)
    out[i] = static_cast<std::uint8_t>(row[i] - Expected<kFilter>(left[i], above[i], corner[i]));
}

template <PngFilter kFilter>
std::uint64_t WeighOne(const std::uint8_t* row, const std::uint8_t* above, std::size_t size,
                       std::size_t pixel) noexcept {
  const std::uint8_t* const left = row - pixel;
  const std::uint8_t* const corner = above - pixel;
  std::uint64_t sum = 0;
  for (std::size_t i = 0; i < size; ++i) {
    const auto rest = static_cast<std::int8_t>(
        static_cast<std::uint8_t>(row[i] - Expected<kFilter>(left[i], above[i], corner[i])));
    sum += static_cast<unsigned>(std::abs(rest));
  }
  return sum;
}

void Weigh(const std::uint8_t* row, const std::uint8_t* above, std::size_t size, std::size_t pixel,
           std::uint64_t sums[kPngFilters]) {
  sums[kPngFilterNone] = WeighOne<kPngFilterNone>(row, above, size, pixel);
  sums[kPngFilterSub] = WeighOne<kPngFilterSub>(row, above, size, pixel);
  sums[kPngFilterUp] = WeighOne<kPngFilterUp>(row, above, size, pixel);
  sums[kPngFilterAverage] = WeighOne<kPngFilterAverage>(row, above, size, pixel);
  sums[kPngFilterPaeth] = WeighOne<kPngFilterPaeth>(row, above, size, pixel);
}

void Apply(PngFilter filter, const std::uint8_t* row, const std::uint8_t* above, std::size_t size,
           std::size_t pixel, std::uint8_t* out) {
  switch (filter) {
    case kPngFilterNone:
      std::memcpy(out, row, size);
      break;
    case kPngFilterSub:
      ApplyOne<kPngFilterSub>(row, above, size, pixel, out);
      break;
    case kPngFilterUp:
      ApplyOne<kPngFilterUp>(row, above, size, pixel, out);
      break;
    case kPngFilterAverage:
      ApplyOne<kPngFilterAverage>(row, above, size, pixel, out);
      break;
    case kPngFilterPaeth:
      ApplyOne<kPngFilterPaeth>(row, above, size, pixel, out);
      break;
  }
}

template <std::size_t kPixel>
void TurnPixels(const std::uint8_t* row, std::size_t width, std::uint8_t* out) noexcept {
  for (std::size_t x = 0; x < width; ++x, row += kPixel, out += kPixel) {
    out[0] = row[2];
    out[1] = row[1];
    out[2] = row[0];
    if constexpr (kPixel == 4) out[3] = row[3];
  }
}

void Turn(const std::uint8_t* row, std::size_t width, std::size_t pixel, std::uint8_t* out) {
  pixel == 3 ? TurnPixels<3>(row, width, out) : TurnPixels<4>(row, width, out);
}

}  // namespace

const PngFilterKernels kPngFilterScalar = {Weigh, Apply, Turn};

const PngFilterKernels& PngFilters() noexcept {
  static const PngFilterKernels& chosen =
      base::ChosenSimdLevel() >= base::SimdLevel::kAvx2 ? kPngFilterAvx2 : kPngFilterScalar;
  return chosen;
}

}  // namespace tovmx
