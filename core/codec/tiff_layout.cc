// SPDX-License-Identifier: MIT
// A page is told by its tags, which may contradict each other. What this file can store by itself becomes
// indexed, gray, RGB or CMYK. All the rest is left to libtiff's own conversion to RGBA, which is slower.
#include "codec/tiff_layout.h"

#include "codec/tiff_samples.h"
#include "pixel/color.h"

#include <emmintrin.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstring>

namespace tovmx {

int TiffLayout::BitmapBits() const {
  if (colors == TiffColors::kIndexed) return narrow ? 8 : bits;
  if (colors == TiffColors::kOther || alphaSample >= 0) return 32;
  return colors == TiffColors::kGray ? 8 : 24;
}

bool TiffLayout::RowsFitBitmap() const {
  if (tiled || separate || colors == TiffColors::kCmyk || narrow || bits > 8) return false;
  return PixelBits() == static_cast<std::size_t>(BitmapBits());
}

TiffLayout TiffLayout::Narrowed() const {
  TiffLayout layout = *this;
  layout.bits = 8;
  return layout;
}

std::size_t TiffLayout::PixelBits() const {
  return static_cast<std::size_t>(bits) * static_cast<std::size_t>(samples);
}

std::size_t TiffLayout::RowBytes(int count) const {
  const std::size_t perPixel = separate ? static_cast<std::size_t>(bits) : PixelBits();
  return (static_cast<std::size_t>(count) * perPixel + 7) / 8;
}

namespace {

template <typename T>
T Tag(TIFF* tiff, std::uint32_t tag, T fallback) {
  T value = fallback;
  return TIFFGetFieldDefaulted(tiff, tag, &value) != 0 ? value : fallback;
}

void ReadAlpha(TIFF* tiff, TiffLayout& layout, int colorSamples) {
  std::uint16_t count = 0;
  std::uint16_t* kinds = nullptr;
  if (TIFFGetField(tiff, TIFFTAG_EXTRASAMPLES, &count, &kinds) == 0 || kinds == nullptr) {
    // Many writers forget to name it; a fifth ink is none.
    if (layout.colors != TiffColors::kCmyk && layout.samples == colorSamples + 1)
      layout.alphaSample = colorSamples;
    return;
  }
  for (int i = 0; i < count && colorSamples + i < layout.samples; ++i) {
    if (kinds[i] != EXTRASAMPLE_ASSOCALPHA && kinds[i] != EXTRASAMPLE_UNASSALPHA) continue;
    layout.alphaSample = colorSamples + i;
    layout.premultiplied = kinds[i] == EXTRASAMPLE_ASSOCALPHA;
    return;
  }
}

// Whole numbers without a sign, or numbers with a fraction; all others are left to the library.
TiffColors ColorsOf(const TiffLayout& layout, bool whole, std::uint16_t inkSet) {
  const bool gray =
      layout.photometric == PHOTOMETRIC_MINISWHITE || layout.photometric == PHOTOMETRIC_MINISBLACK;
  const bool palette = layout.photometric == PHOTOMETRIC_PALETTE && whole && layout.bits <= 8;
  if ((!whole && !layout.real) || !IsTiffSampleDepth(layout.bits, layout.real)) return TiffColors::kOther;
  if (layout.samples == 1 && whole && (gray || palette)) {
    if (palette || layout.bits == 1 || layout.bits == 4 || layout.bits == 8) return TiffColors::kIndexed;
  }
  if (gray) return TiffColors::kGray;
  if (layout.photometric == PHOTOMETRIC_RGB && layout.samples >= 3) return TiffColors::kRgb;
  const bool cmyk =
      layout.photometric == PHOTOMETRIC_SEPARATED && inkSet == INKSET_CMYK && layout.samples >= 4;
  return cmyk ? TiffColors::kCmyk : TiffColors::kOther;
}

bool IsNarrow(const TiffLayout& layout) {
  if (layout.colors == TiffColors::kOther) return false;
  if (layout.colors == TiffColors::kIndexed) return layout.bits != 1 && layout.bits != 4 && layout.bits != 8;
  return layout.real || (layout.bits != 8 && layout.bits != 16);
}

int ColorSamples(TiffColors colors) {
  if (colors == TiffColors::kRgb) return 3;
  return colors == TiffColors::kCmyk ? 4 : 1;
}

}  // namespace

bool ReadTiffLayout(TIFF* tiff, TiffLayout& layout, DecodeReason& reason) {
  const auto width = Tag<std::uint32_t>(tiff, TIFFTAG_IMAGEWIDTH, 0);
  const auto height = Tag<std::uint32_t>(tiff, TIFFTAG_IMAGELENGTH, 0);
  if (width == 0 || height == 0) return false;
  if (width > INT_MAX || height > INT_MAX) return reason.OverLimit();
  layout = {};
  layout.width = static_cast<int>(width);
  layout.height = static_cast<int>(height);
  layout.bits = Tag<std::uint16_t>(tiff, TIFFTAG_BITSPERSAMPLE, 1);
  layout.samples = Tag<std::uint16_t>(tiff, TIFFTAG_SAMPLESPERPIXEL, 1);
  const auto compression = Tag<std::uint16_t>(tiff, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
  layout.photometric = Tag<std::uint16_t>(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISWHITE);
  layout.separate = layout.samples > 1 && Tag<std::uint16_t>(tiff, TIFFTAG_PLANARCONFIG,
                                                             PLANARCONFIG_CONTIG) == PLANARCONFIG_SEPARATE;
  layout.tiled = TIFFIsTiled(tiff) != 0;
  if (compression == COMPRESSION_JPEG && layout.photometric == PHOTOMETRIC_YCBCR && !layout.separate &&
      TIFFSetField(tiff, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB) != 0)
    layout.photometric = PHOTOMETRIC_RGB;
  const auto format = Tag<std::uint16_t>(tiff, TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_UINT);
  layout.real = format == SAMPLEFORMAT_IEEEFP;
  layout.colors = ColorsOf(layout, format == SAMPLEFORMAT_UINT || format == SAMPLEFORMAT_VOID,
                           Tag<std::uint16_t>(tiff, TIFFTAG_INKSET, INKSET_CMYK));
  layout.narrow = IsNarrow(layout);
  if (layout.colors != TiffColors::kIndexed && layout.colors != TiffColors::kOther)
    ReadAlpha(tiff, layout, ColorSamples(layout.colors));
  return true;
}

namespace {

// Sample number `i` as 8 bits; 16 bits are in this machine's order and round to the nearest.
std::uint8_t SampleAt(const std::uint8_t* from, std::size_t i, int bits) {
  if (bits == 8) return from[i];
  std::uint16_t value = 0;
  std::memcpy(&value, from + 2 * i, sizeof value);
  return static_cast<std::uint8_t>((value * 255U + 32895U) >> 16);  // rounds as ByteOfSample does
}

void StoreIndexed(const TiffLayout& layout, const std::uint8_t* from, CoreDib& to, int x, int y, int count) {
  std::uint8_t* out = to.GetRow(y) + static_cast<std::size_t>(x) * static_cast<unsigned>(layout.bits) / 8;
  const std::size_t bytes = layout.RowBytes(count);
  if (out != from) std::memcpy(out, from, bytes);
  if (layout.photometric != PHOTOMETRIC_MINISWHITE) return;
  for (std::size_t i = 0; i < bytes; ++i) out[i] = static_cast<std::uint8_t>(~out[i]);
}

// One pixel of all samples into blue, green, red and alpha.
void StorePixel(const TiffLayout& layout, const std::uint8_t* samples, std::uint8_t* out) {
  if (layout.colors == TiffColors::kGray) {
    const std::uint8_t flip = layout.photometric == PHOTOMETRIC_MINISWHITE ? 255 : 0;
    out[0] = samples[0] ^ flip;
    if (layout.alphaSample >= 0) out[1] = out[2] = out[0];
  } else if (layout.colors == TiffColors::kRgb) {
    const std::uint8_t red = samples[0];
    out[0] = samples[2], out[1] = samples[1], out[2] = red;
  } else {
    for (int c = 0; c < 3; ++c) out[2 - c] = LightBehindInk(samples[c], samples[3]);
  }
}

void StoreGray(const TiffLayout& layout, const std::uint8_t* from, std::uint8_t* out, int count) {
  const std::uint8_t flip = layout.photometric == PHOTOMETRIC_MINISWHITE ? 255 : 0;
  std::transform(from, from + count, out,
                 [flip](std::uint8_t sample) { return static_cast<std::uint8_t>(sample ^ flip); });
}

void StoreRgb(const std::uint8_t* from, std::size_t size, std::uint8_t* out, int count) {
  for (int i = 0; i < count; ++i, from += size, out += size) {
    const std::uint8_t red = from[0];
    out[0] = from[2];
    out[1] = from[1];
    out[2] = red;
    if (size == 4) out[3] = from[3];
  }
}

// (value + 127) / 255, in each of eight numbers up to 65025.
__m128i DivideBy255(__m128i values) {
  const __m128i raised = _mm_add_epi16(values, _mm_set1_epi16(128));
  return _mm_srli_epi16(_mm_add_epi16(raised, _mm_srli_epi16(raised, 8)), 8);
}

// Cyan, magenta, yellow and black, a byte each, into blue, green and red; four pixels at a time.
void StoreInks(const std::uint8_t* from, std::uint8_t* out, int count) {
  const __m128i zero = _mm_setzero_si128();
  const auto light = [](__m128i inks) {  // of two pixels, 16 bits an ink
    const __m128i left = _mm_sub_epi16(_mm_set1_epi16(255), inks);
    const __m128i ofBlack = _mm_shufflehi_epi16(_mm_shufflelo_epi16(left, 0xFF), 0xFF);
    const __m128i swapped = _mm_shufflehi_epi16(_mm_shufflelo_epi16(left, 0xC6), 0xC6);
    return DivideBy255(_mm_mullo_epi16(swapped, ofBlack));
  };
  // The last three of sixteen bytes belong to the pixel behind.
  for (; count >= 5; count -= 4, from += 16, out += 12) {
    const __m128i inks = _mm_loadu_si128(static_cast<const __m128i*>(static_cast<const void*>(from)));
    alignas(16) std::uint8_t pixels[16];
    _mm_store_si128(
        static_cast<__m128i*>(static_cast<void*>(pixels)),
        _mm_packus_epi16(light(_mm_unpacklo_epi8(inks, zero)), light(_mm_unpackhi_epi8(inks, zero))));
    for (std::size_t i = 0; i < 4; ++i) std::memcpy(out + 3 * i, pixels + 4 * i, 4);
  }
  for (; count > 0; --count, from += 4, out += 3) {
    for (int c = 0; c < 3; ++c) out[2 - c] = LightBehindInk(from[c], from[3]);
  }
}

void StoreSamples(const TiffLayout& layout, const std::uint8_t* from, std::uint8_t* out, int count) {
  const auto samples = static_cast<std::size_t>(layout.samples);
  const auto pixelBytes = static_cast<std::size_t>(layout.BitmapBits()) / 8;
  const std::size_t used = std::min<std::size_t>(samples, 4);
  std::uint8_t pixel[4] = {};
  for (std::size_t i = 0; i < static_cast<std::size_t>(count); ++i, out += pixelBytes) {
    for (std::size_t s = 0; s < used; ++s) pixel[s] = SampleAt(from, i * samples + s, layout.bits);
    StorePixel(layout, pixel, out);
    if (layout.alphaSample >= 0)
      out[3] = SampleAt(from, i * samples + static_cast<std::size_t>(layout.alphaSample), layout.bits);
  }
}

// CMYK planes meet in the row: ink by ink, black last, which makes light of them.
void StoreInkPlane(const TiffLayout& layout, const std::uint8_t* from, int plane, std::uint8_t* out,
                   int count) {
  const int pixelBytes = layout.BitmapBits() / 8;
  for (int i = 0; i < count; ++i, out += pixelBytes) {
    const std::uint8_t ink = SampleAt(from, static_cast<std::size_t>(i), layout.bits);
    if (plane < 3) {
      out[2 - plane] = ink;
    } else {
      for (int c = 0; c < 3; ++c) out[c] = LightBehindInk(out[c], ink);
    }
  }
}

void StorePlane(const TiffLayout& layout, const std::uint8_t* from, int plane, std::uint8_t* out, int count) {
  const int pixelBytes = layout.BitmapBits() / 8;
  const bool alpha = plane == layout.alphaSample;
  if (layout.colors == TiffColors::kCmyk && plane < 4) return StoreInkPlane(layout, from, plane, out, count);
  const bool gray = layout.colors == TiffColors::kGray;
  if (!alpha && plane >= (gray ? 1 : 3)) return;  // an extra sample of no use
  const std::uint8_t flip = gray && !alpha && layout.photometric == PHOTOMETRIC_MINISWHITE ? 255 : 0;
  for (int i = 0; i < count; ++i, out += pixelBytes) {
    const std::uint8_t value = SampleAt(from, static_cast<std::size_t>(i), layout.bits) ^ flip;
    if (alpha) {
      out[3] = value;
    } else if (gray) {
      for (int c = 0; c < (pixelBytes == 4 ? 3 : 1); ++c) out[c] = value;
    } else {
      out[2 - plane] = value;
    }
  }
}

// SampleAt for each of `count` samples of 16 bits.
void NarrowHalves(const std::uint8_t* from, std::size_t count, std::uint8_t* to) {
  const __m128i zero = _mm_setzero_si128();
  const auto rounded = [](__m128i value) {
    const __m128i by255 = _mm_sub_epi32(_mm_slli_epi32(value, 8), value);
    return _mm_srli_epi32(_mm_add_epi32(by255, _mm_set1_epi32(32895)), 16);
  };
  std::size_t i = 0;
  for (; i + 8 <= count; i += 8) {
    const __m128i eight =
        _mm_loadu_si128(static_cast<const __m128i*>(static_cast<const void*>(from + 2 * i)));
    const __m128i bytes =
        _mm_packs_epi32(rounded(_mm_unpacklo_epi16(eight, zero)), rounded(_mm_unpackhi_epi16(eight, zero)));
    _mm_storel_epi64(static_cast<__m128i*>(static_cast<void*>(to + i)), _mm_packus_epi16(bytes, zero));
  }
  for (; i < count; ++i) to[i] = SampleAt(from, i, 16);
}

// Samples of 16 bits are narrowed to bytes first, a few pixels at a time.
void StoreHalved(const TiffLayout& layout, const std::uint8_t* from, CoreDib& to, int x, int y, int count) {
  TiffLayout narrow = layout;
  narrow.bits = 8;
  std::array<std::uint8_t, 4096> bytes;
  const auto samples = static_cast<std::size_t>(layout.samples);
  const int most = static_cast<int>(bytes.size() / samples);
  if (most == 0)
    return StoreSamples(
        layout, from,
        to.GetRow(y) + static_cast<std::size_t>(x) * (static_cast<unsigned>(layout.BitmapBits()) / 8), count);
  while (count > 0) {
    const int now = std::min(count, most);
    const std::size_t size = static_cast<std::size_t>(now) * samples;
    NarrowHalves(from, size, bytes.data());
    StoreTiffSpan(narrow, bytes.data(), 0, to, x, y, now);
    from += 2 * size;
    x += now;
    count -= now;
  }
}

}  // namespace

void StoreTiffSpan(const TiffLayout& layout, const std::uint8_t* from, int plane, CoreDib& to, int x, int y,
                   int count) {
  if (layout.colors == TiffColors::kIndexed) return StoreIndexed(layout, from, to, x, y, count);
  const auto size = static_cast<std::size_t>(layout.BitmapBits()) / 8;
  std::uint8_t* out = to.GetRow(y) + static_cast<std::size_t>(x) * size;
  if (layout.separate) return StorePlane(layout, from, plane, out, count);
  if (layout.bits == 16) return StoreHalved(layout, from, to, x, y, count);
  const bool same = static_cast<std::size_t>(layout.samples) == size;
  if (same && layout.colors == TiffColors::kRgb) return StoreRgb(from, size, out, count);
  if (same && layout.colors == TiffColors::kGray) return StoreGray(layout, from, out, count);
  if (layout.samples == 4 && layout.colors == TiffColors::kCmyk) return StoreInks(from, out, count);
  StoreSamples(layout, from, out, count);
}

void CopyTiffPalette(TIFF* tiff, const TiffLayout& layout, CoreDib& to) {
  std::uint16_t* map[3] = {};
  if (layout.colors != TiffColors::kIndexed ||
      TIFFGetField(tiff, TIFFTAG_COLORMAP, &map[0], &map[1], &map[2]) == 0)
    return;
  const int count = 1 << layout.bits;
  // Some writers store 8 bits where 16 belong.
  bool wide = false;
  for (int i = 0; i < count; ++i) wide = wide || map[0][i] > 255 || map[1][i] > 255 || map[2][i] > 255;
  std::uint32_t entries[256];
  for (int i = 0; i < count; ++i) {
    entries[i] = 0;
    for (int c = 0; c < 3; ++c)
      entries[i] |= static_cast<std::uint32_t>(wide ? ByteOfSample(map[c][i], 65535) : map[c][i]) << (8 * c);
  }
  to.SetPalette(entries, count);
}

}  // namespace tovmx
