// SPDX-License-Identifier: MIT
// Cairo paints premultiplied pixels of 32 bits; a bitmap of any other form is translated to such a surface
// and back. Back, only pixels that changed are written, so that what nobody painted on stays as it was to
// the bit, although the way there and back would round it. Where the way rounds nothing, all are written:
//
//     24 bits, gray   every color that a pixel may have comes back as it was
//     32 bits         does where a pixel is opaque
//     a palette       entries may be equal, so the index counts and not only the color
#include "device/pixels.h"

#include "pixel/color.h"
#include "pixel/packed_index.h"

#include <emmintrin.h>

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <cstring>
#include <vector>

namespace tovmx {

namespace {

constexpr std::uint32_t kAlpha = 0xFF000000;

std::uint32_t* SurfaceRow(cairo_surface_t* surface, int y) {
  const auto stride = static_cast<std::size_t>(cairo_image_surface_get_stride(surface));
  void* row = cairo_image_surface_get_data(surface) + stride * static_cast<std::size_t>(y);
  return static_cast<std::uint32_t*>(row);
}

std::uint32_t Load32(const std::uint8_t* from) noexcept {
  std::uint32_t value = 0;
  std::memcpy(&value, from, sizeof value);
  return value;
}

void Store32(std::uint8_t* to, std::uint32_t value) noexcept { std::memcpy(to, &value, sizeof value); }

__m128i LoadFour(const void* from) noexcept { return _mm_loadu_si128(static_cast<const __m128i*>(from)); }

bool AreFourOpaque(__m128i pixels) noexcept {
  const __m128i rest = _mm_set1_epi32(0xFFFFFF);
  const __m128i all = _mm_cmpeq_epi8(_mm_or_si128(pixels, rest), _mm_set1_epi8(-1));
  return _mm_movemask_epi8(all) == 0xFFFF;
}

// ---- From the bitmap

void Expand24(const std::uint8_t* row, int left, int right, std::uint32_t* to) noexcept {
  const std::uint8_t* p = row + static_cast<std::size_t>(left) * 3;
  int x = left;
  // Four pixels are three words.
  for (; x + 4 <= right; x += 4, p += 12) {
    const std::uint32_t a = Load32(p);
    const std::uint32_t b = Load32(p + 4);
    const std::uint32_t c = Load32(p + 8);
    to[x] = a | kAlpha;
    to[x + 1] = a >> 24 | b << 8 | kAlpha;
    to[x + 2] = b >> 16 | c << 16 | kAlpha;
    to[x + 3] = c >> 8 | kAlpha;
  }
  for (; x < right; ++x, p += 3) {
    to[x] = kAlpha | static_cast<std::uint32_t>(p[2]) << 16 | static_cast<std::uint32_t>(p[1]) << 8 | p[0];
  }
}

void Expand32(const std::uint8_t* row, int left, int right, std::uint32_t* to) noexcept {
  int x = left;
  for (; x < right; ++x) {
    const std::uint8_t* p = row + static_cast<std::size_t>(x) * 4;
    for (; x + 4 <= right && AreFourOpaque(LoadFour(p)); x += 4, p += 16) std::memcpy(to + x, p, 16);
    if (x < right) to[x] = Premultiplied(Load32(p));
  }
}

template <unsigned bits>
void ExpandIndices(const std::uint8_t* row, int left, int right, const std::uint32_t* colors,
                   std::uint32_t* to) noexcept {
  constexpr int kPerByte = 8 / bits;
  int x = left;
  for (; x < right && x % kPerByte != 0; ++x) to[x] = colors[PackedIndex(row, std::size_t(x), bits)];
  for (; x + kPerByte <= right; x += kPerByte) {
    const unsigned byte = row[x / kPerByte];
    for (int k = 0; k < kPerByte; ++k) {
      to[x + k] = colors[byte >> (8 - bits * static_cast<unsigned>(k + 1)) & ((1U << bits) - 1)];
    }
  }
  for (; x < right; ++x) to[x] = colors[PackedIndex(row, std::size_t(x), bits)];
}

// ---- Into the bitmap

void SetPixel(std::uint8_t* row, int x, int bits, std::uint32_t value) noexcept {
  const auto column = static_cast<std::size_t>(x);
  if (bits == 32) {
    Store32(row + column * 4, value);
  } else if (bits == 24) {
    std::memcpy(row + column * 3, &value, 3);
  } else {
    SetPackedIndex(row, column, static_cast<unsigned>(bits), value);
  }
}

// The opaque pixels at the front, in fours; returns the column behind them.
int Store24(const std::uint32_t* from, std::uint8_t* row, int left, int right) noexcept {
  std::uint8_t* p = row + static_cast<std::size_t>(left) * 3;
  int x = left;
  for (; x + 4 <= right && AreFourOpaque(LoadFour(from + x)); x += 4, p += 12) {
    Store32(p, (from[x] & 0xFFFFFF) | from[x + 1] << 24);
    Store32(p + 4, (from[x + 1] >> 8 & 0xFFFF) | from[x + 2] << 16);
    Store32(p + 8, (from[x + 2] >> 16 & 0xFF) | from[x + 3] << 8);
  }
  return x;
}

bool AreEight(const std::uint32_t* pixels, std::uint32_t color) noexcept {
  const __m128i wanted = _mm_set1_epi32(static_cast<int>(color));
  const __m128i same =
      _mm_and_si128(_mm_cmpeq_epi32(LoadFour(pixels), wanted), _mm_cmpeq_epi32(LoadFour(pixels + 4), wanted));
  return _mm_movemask_epi8(same) == 0xFFFF;
}

// The gray levels of opaque pixels at the front, in eights; returns the column behind them. A level comes
// back as it was, so what nobody painted on is none the worse.
int StoreGrays(const std::uint32_t* from, std::uint8_t* row, int left, int right) noexcept {
  const __m128i zero = _mm_setzero_si128();
  const __m128i weights = _mm_setr_epi16(29, 150, 77, 0, 29, 150, 77, 0);  // as GrayOf has them
  const auto levels = [&](__m128i pixels) {
    const __m128i low = _mm_madd_epi16(_mm_unpacklo_epi8(pixels, zero), weights);
    const __m128i high = _mm_madd_epi16(_mm_unpackhi_epi8(pixels, zero), weights);
    const __m128 a = _mm_castsi128_ps(low);
    const __m128 b = _mm_castsi128_ps(high);
    const __m128i even = _mm_castps_si128(_mm_shuffle_ps(a, b, _MM_SHUFFLE(2, 0, 2, 0)));
    const __m128i odd = _mm_castps_si128(_mm_shuffle_ps(a, b, _MM_SHUFFLE(3, 1, 3, 1)));
    return _mm_srli_epi32(_mm_add_epi32(_mm_add_epi32(even, odd), _mm_set1_epi32(128)), 8);
  };
  int x = left;
  for (; x + 8 <= right; x += 8) {
    const __m128i first = LoadFour(from + x);
    const __m128i second = LoadFour(from + x + 4);
    if (!AreFourOpaque(_mm_and_si128(first, second))) break;
    const __m128i eight = _mm_packus_epi16(_mm_packs_epi32(levels(first), levels(second)), zero);
    _mm_storel_epi64(static_cast<__m128i*>(static_cast<void*>(row + x)), eight);
  }
  return x;
}

void Store32s(const std::uint32_t* from, std::uint8_t* row, int left, int right) noexcept {
  for (int x = left; x < right; ++x) {
    std::uint8_t* p = row + static_cast<std::size_t>(x) * 4;
    for (; x + 4 <= right && AreFourOpaque(LoadFour(from + x)); x += 4, p += 16) std::memcpy(p, from + x, 16);
    if (x == right) return;
    const std::uint32_t own = Load32(p);
    // Most pixels beside the ink are clear in both.
    if (from[x] >> 24 == own >> 24 && (from[x] == 0 || from[x] == Premultiplied(own))) continue;
    Store32(p, Straight(from[x]));
  }
}

}  // namespace

bool IsOpaque(const CoreDib& bitmap, const PixelArea& area) noexcept {
  assert(bitmap.GetBitsPerPixel() == 32);
  for (int y = area.top; y < area.bottom; ++y) {
    const std::uint8_t* row = bitmap.GetRow(y);
    int x = area.left;
    for (; x + 4 <= area.right; x += 4) {
      if (!AreFourOpaque(LoadFour(row + static_cast<std::size_t>(x) * 4))) return false;
    }
    for (; x < area.right; ++x) {
      if (row[static_cast<std::size_t>(x) * 4 + 3] != 255) return false;
    }
  }
  return true;
}

void FillPixels(cairo_surface_t* surface, const PixelArea& area, std::uint32_t color) noexcept {
  for (int y = area.top; y < area.bottom; ++y) {
    std::uint32_t* row = SurfaceRow(surface, y);
    std::fill(row + area.left, row + area.right, color);
  }
}

PixelExchange::PixelExchange(CoreDib& bitmap) : bitmap_(bitmap), bits_(bitmap.GetBitsPerPixel()) {
  ReadPalette();
}

void PixelExchange::ReadPalette() {
  if (bits_ > 8) return;
  const int levels = (1 << bits_) - 1;
  const bool gray = bitmap_.GetPaletteSize() == 0;
  for (int i = 0; i <= levels; ++i) {
    const std::uint32_t entry = bitmap_.GetPaletteEntry(i);
    const std::uint32_t argb = static_cast<std::uint32_t>(bitmap_.GetPaletteAlpha(i)) << 24 |
                               (entry & 0xFF) << 16 | (entry & 0xFF00) | entry >> 16;
    colors_[static_cast<std::size_t>(i)] =
        gray ? kAlpha | static_cast<std::uint32_t>(i * (255 / levels)) * 0x010101U : Premultiplied(argb);
  }
  if (gray) {
    match_.reset();
  } else {
    if (match_ == nullptr) match_ = std::make_unique<PaletteMatch>();
    match_->Use(bitmap_);
  }
}

// The bitmap's own number for a color.
std::uint32_t PixelExchange::ValueOf(std::uint32_t premultiplied) {
  const std::uint32_t argb = Straight(premultiplied);
  if (bits_ >= 24) return argb;
  if (match_ != nullptr) return match_->Nearest(argb);
  const std::uint32_t top = (1U << bits_) - 1;
  return (GrayOf(argb) * top + 127) / 255;
}

void PixelExchange::Load(const PixelArea& area, cairo_surface_t* surface) {
  for (int y = area.top; y < area.bottom; ++y) {
    const std::uint8_t* row = bitmap_.GetRow(y);
    std::uint32_t* to = SurfaceRow(surface, y);
    switch (bits_) {
      case 32:
        Expand32(row, area.left, area.right, to);
        break;
      case 24:
        Expand24(row, area.left, area.right, to);
        break;
      case 8:
        ExpandIndices<8>(row, area.left, area.right, colors_.data(), to);
        break;
      case 4:
        ExpandIndices<4>(row, area.left, area.right, colors_.data(), to);
        break;
      default:
        ExpandIndices<1>(row, area.left, area.right, colors_.data(), to);
    }
  }
}

void PixelExchange::StoreRow(const std::uint32_t* from, std::uint8_t* row, int left, int right) {
  switch (bits_) {
    case 32:
      Store32s(from, row, left, right);
      break;
    case 24:
      for (int x = left; x < right; ++x) {
        x = Store24(from, row, x, right);
        if (x < right) SetPixel(row, x, bits_, ValueOf(from[x]));
      }
      break;
    case 8:
      StoreIndices<8>(from, row, left, right);
      break;
    case 4:
      StoreIndices<4>(from, row, left, right);
      break;
    default:
      StoreIndices<1>(from, row, left, right);
  }
}

template <unsigned bits>
void PixelExchange::StoreIndices(const std::uint32_t* from, std::uint8_t* row, int left, int right) {
  constexpr unsigned kMask = (1U << bits) - 1;
  constexpr std::uint64_t kEvery =
      ~std::uint64_t{0} / kMask;  // multiplied by an index, that index everywhere
  constexpr int kGroup = 8;
  for (int x = left; x < right;) {
    if (bits == 8 && match_ == nullptr) {
      x = StoreGrays(from, row, x, right);
      if (x == right) return;
    }
    const std::size_t column = static_cast<std::size_t>(x);
    // Most of what lies around ink is eight pixels of one color, as they were.
    if (x % kGroup == 0 && right - x >= kGroup) {
      std::uint64_t own = 0;
      std::memcpy(&own, row + column * bits / 8, bits);
      const unsigned index = PackedIndex(row, column, bits);
      const bool isOne = ((own ^ index * kEvery) & (~std::uint64_t{0} >> (64 - 8 * bits))) == 0;
      if (isOne && AreEight(from + x, colors_[index])) {
        x += kGroup;
        continue;
      }
    }
    const int end = std::min(right, (x / kGroup + 1) * kGroup);
    for (; x < end; ++x) {
      const auto place = static_cast<std::size_t>(x);
      if (from[x] != colors_[PackedIndex(row, place, bits)])
        SetPackedIndex(row, place, bits, ValueOf(from[x]));
    }
  }
}

void PixelExchange::Store(cairo_surface_t* surface, const PixelArea& area) {
  for (int y = area.top; y < area.bottom; ++y) {
    StoreRow(SurfaceRow(surface, y), bitmap_.GetRow(y), area.left, area.right);
  }
}

namespace {

// What each byte of packed indices becomes when each of its indices becomes another.
std::array<std::uint8_t, 256> ByteMap(const std::array<std::uint8_t, 256>& indices, unsigned bits) {
  std::array<std::uint8_t, 256> map{};
  for (unsigned byte = 0; byte < 256; ++byte) {
    const auto old = static_cast<std::uint8_t>(byte);
    for (std::size_t x = 0; x < 8 / bits; ++x) {
      SetPackedIndex(&map[byte], x, bits, indices[PackedIndex(&old, x, bits)]);
    }
  }
  return map;
}

}  // namespace

void PixelExchange::StoreEverywhere(std::uint32_t color) {
  const int width = bitmap_.GetWidth();
  const int height = bitmap_.GetHeight();
  const std::uint32_t value = ValueOf(color);
  if (bits_ > 8) {
    const std::vector<std::uint32_t> from(static_cast<std::size_t>(width), color);
    for (int y = 0; y < height; ++y) StoreRow(from.data(), bitmap_.GetRow(y), 0, width);
    return;
  }
  const auto bits = static_cast<unsigned>(bits_);
  std::array<std::uint8_t, 256> indices{};
  for (std::size_t i = 0; i < 1U << bits; ++i) {
    indices[i] = static_cast<std::uint8_t>(colors_[i] == color ? i : value);
  }
  const std::array<std::uint8_t, 256> map = ByteMap(indices, bits);
  const std::size_t whole = static_cast<std::size_t>(width) * bits / 8;
  for (int y = 0; y < height; ++y) {
    std::uint8_t* row = bitmap_.GetRow(y);
    for (std::size_t i = 0; i < whole; ++i) row[i] = map[row[i]];
    for (std::size_t x = whole * 8 / bits; x < static_cast<std::size_t>(width); ++x) {
      SetPackedIndex(row, x, bits, indices[PackedIndex(row, x, bits)]);
    }
  }
}

}  // namespace tovmx
