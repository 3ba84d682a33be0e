// SPDX-License-Identifier: MIT
// The filters of PNG with AVX2. Includes no header with inline code of its own: what is compiled here runs on
// processors with AVX2 only.
#include "codec/png_filter.h"

#include <immintrin.h>

namespace tovmx {

namespace {

constexpr std::size_t kBlock = 32;

__m256i Load(const std::uint8_t* from) {
  return _mm256_loadu_si256(static_cast<const __m256i*>(static_cast<const void*>(from)));
}
void Store(std::uint8_t* to, __m256i vector) {
  _mm256_storeu_si256(static_cast<__m256i*>(static_cast<void*>(to)), vector);
}

// The bytes of a block and their neighbors.
struct Block {
  Block(const std::uint8_t* row, const std::uint8_t* over, std::size_t pixel)
      : bytes(Load(row)), left(Load(row - pixel)), above(Load(over)), corner(Load(over - pixel)) {}

  __m256i bytes;
  __m256i left;
  __m256i above;
  __m256i corner;
};

__m256i Distance(__m256i a, __m256i b) {
  return _mm256_or_si256(_mm256_subs_epu8(a, b), _mm256_subs_epu8(b, a));
}
__m256i IsAtMost(__m256i a, __m256i b) { return _mm256_cmpeq_epi8(_mm256_min_epu8(a, b), a); }

__m256i Average(const Block& b) {
  const __m256i odd = _mm256_and_si256(_mm256_xor_si256(b.left, b.above), _mm256_set1_epi8(1));
  return _mm256_sub_epi8(_mm256_avg_epu8(b.left, b.above), odd);
}

// left + above - 2 * corner is the sum of two differences: of their sizes when they have one sign, where a
// sum that is cut at 255 compares as the whole one does, and the difference of their sizes otherwise.
__m256i Paeth(const Block& b) {
  const __m256i toLeft = Distance(b.above, b.corner);
  const __m256i toAbove = Distance(b.left, b.corner);
  const __m256i oneSign = _mm256_cmpeq_epi8(IsAtMost(b.corner, b.above), IsAtMost(b.corner, b.left));
  const __m256i toCorner =
      _mm256_blendv_epi8(Distance(toLeft, toAbove), _mm256_adds_epu8(toLeft, toAbove), oneSign);
  const __m256i aboveOrCorner = _mm256_blendv_epi8(b.corner, b.above, IsAtMost(toAbove, toCorner));
  const __m256i isLeft = IsAtMost(toLeft, _mm256_min_epu8(toAbove, toCorner));
  return _mm256_blendv_epi8(aboveOrCorner, b.left, isLeft);
}

template <PngFilter kFilter>
__m256i Rest(const Block& b) {
  if constexpr (kFilter == kPngFilterSub) return _mm256_sub_epi8(b.bytes, b.left);
  if constexpr (kFilter == kPngFilterUp) return _mm256_sub_epi8(b.bytes, b.above);
  if constexpr (kFilter == kPngFilterAverage) return _mm256_sub_epi8(b.bytes, Average(b));
  if constexpr (kFilter == kPngFilterPaeth) return _mm256_sub_epi8(b.bytes, Paeth(b));
  return b.bytes;
}

struct Sums {
  __m256i of[kPngFilters];
};

template <PngFilter kFilter>
void Add(Sums& sums, const Block& block, __m256i mask) {
  const __m256i sizes = _mm256_abs_epi8(_mm256_and_si256(Rest<kFilter>(block), mask));
  sums.of[kFilter] = _mm256_add_epi64(sums.of[kFilter], _mm256_sad_epu8(sizes, _mm256_setzero_si256()));
}

// Every filter leaves zeros of a block that is like the bytes to its left and like those above.
bool IsEven(const Block& block) {
  const __m256i differs =
      _mm256_or_si256(_mm256_xor_si256(block.bytes, block.left), _mm256_xor_si256(block.bytes, block.above));
  return _mm256_testz_si256(differs, differs) != 0;
}

void AddBlock(Sums& sums, const Block& block, __m256i mask) {
  Add<kPngFilterNone>(sums, block, mask);
  if (IsEven(block)) return;
  Add<kPngFilterSub>(sums, block, mask);
  Add<kPngFilterUp>(sums, block, mask);
  Add<kPngFilterAverage>(sums, block, mask);
  Add<kPngFilterPaeth>(sums, block, mask);
}

// Ones in the first `count` bytes.
__m256i MaskOf(std::size_t count) {
  alignas(32) static constexpr signed char kOnes[2 * kBlock] = {-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1,
                                                                -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1,
                                                                -1, -1, -1, -1, -1, -1, -1, -1, -1, -1};
  return _mm256_loadu_si256(static_cast<const __m256i*>(static_cast<const void*>(kOnes + kBlock - count)));
}

void Weigh(const std::uint8_t* row, const std::uint8_t* above, std::size_t size, std::size_t pixel,
           std::uint64_t result[kPngFilters]) {
  Sums sums = {};
  const __m256i all = _mm256_set1_epi8(-1);
  std::size_t i = 0;
  for (; i + kBlock <= size; i += kBlock) AddBlock(sums, Block(row + i, above + i, pixel), all);
  if (i < size) AddBlock(sums, Block(row + i, above + i, pixel), MaskOf(size - i));
  for (int filter = 0; filter < kPngFilters; ++filter) {
    alignas(32) std::uint64_t quarters[4];
    _mm256_store_si256(static_cast<__m256i*>(static_cast<void*>(quarters)), sums.of[filter]);
    result[filter] = quarters[0] + quarters[1] + quarters[2] + quarters[3];
  }
}

template <PngFilter kFilter>
void ApplyOne(const std::uint8_t* row, const std::uint8_t* above, std::size_t size, std::size_t pixel,
              std::uint8_t* out) {
  for (std::size_t i = 0; i < size; i += kBlock)
    Store(out + i, Rest<kFilter>(Block(row + i, above + i, pixel)));
}

void Apply(PngFilter filter, const std::uint8_t* row, const std::uint8_t* above, std::size_t size,
           std::size_t pixel, std::uint8_t* out) {
  switch (filter) {
    case kPngFilterNone:
      return ApplyOne<kPngFilterNone>(row, above, size, pixel, out);
    case kPngFilterSub:
      return ApplyOne<kPngFilterSub>(row, above, size, pixel, out);
    case kPngFilterUp:
      return ApplyOne<kPngFilterUp>(row, above, size, pixel, out);
    case kPngFilterAverage:
      return ApplyOne<kPngFilterAverage>(row, above, size, pixel, out);
    case kPngFilterPaeth:
      return ApplyOne<kPngFilterPaeth>(row, above, size, pixel, out);
  }
}

template <std::size_t kPixel>
void TurnPixel(const std::uint8_t* row, std::uint8_t* out) {
  const std::uint8_t third = row[2];
  out[2] = row[0];
  out[1] = row[1];
  out[0] = third;
  if constexpr (kPixel == 4) out[3] = row[3];
}

// Five pixels of sixteen bytes at a time; the last byte of a store is written again by the next one.
void Turn3(const std::uint8_t* row, std::size_t width, std::uint8_t* out) {
  const __m128i order = _mm_setr_epi8(2, 1, 0, 5, 4, 3, 8, 7, 6, 11, 10, 9, 14, 13, 12, -1);
  std::size_t x = 0;
  for (; x + 6 <= width; x += 5, row += 15, out += 15) {
    const __m128i five = _mm_loadu_si128(static_cast<const __m128i*>(static_cast<const void*>(row)));
    _mm_storeu_si128(static_cast<__m128i*>(static_cast<void*>(out)), _mm_shuffle_epi8(five, order));
  }
  for (; x < width; ++x, row += 3, out += 3) TurnPixel<3>(row, out);
}

void Turn4(const std::uint8_t* row, std::size_t width, std::uint8_t* out) {
  const __m256i order = _mm256_setr_epi8(2, 1, 0, 3, 6, 5, 4, 7, 10, 9, 8, 11, 14, 13, 12, 15, 2, 1, 0, 3, 6,
                                         5, 4, 7, 10, 9, 8, 11, 14, 13, 12, 15);
  std::size_t x = 0;
  for (; x + 8 <= width; x += 8, row += 32, out += 32) Store(out, _mm256_shuffle_epi8(Load(row), order));
  for (; x < width; ++x, row += 4, out += 4) TurnPixel<4>(row, out);
}

void Turn(const std::uint8_t* row, std::size_t width, std::size_t pixel, std::uint8_t* out) {
  pixel == 3 ? Turn3(row, width, out) : Turn4(row, width, out);
}

}  // namespace

const PngFilterKernels kPngFilterAvx2 = {Weigh, Apply, Turn};

}  // namespace tovmx
