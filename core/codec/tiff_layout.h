// SPDX-License-Identifier: MIT
// TiffLayout: how one page of a TIFF stores its pixels, and how its samples become those of a bitmap.
#pragma once

#include "codec/format_decoder.h"
#include "tovmx/dib.h"

#include <tiffio.h>

#include <cstddef>
#include <cstdint>

namespace tovmx {

enum class TiffColors {
  kIndexed,  // palette, or gray in the bitmap's own form
  kGray,     // other gray, and gray with alpha
  kRgb,
  kCmyk,
  kOther,  // what the library turns into RGBA by itself
};

struct TiffLayout {
  int width = 0;
  int height = 0;
  int bits = 0;     // of a sample
  int samples = 0;  // of a pixel, extra ones included
  TiffColors colors = TiffColors::kOther;
  std::uint16_t photometric = 0;
  bool real = false;      // samples with a fraction
  bool narrow = false;    // samples have to be brought to 8 bits before they are stored
  bool separate = false;  // one plane per sample
  bool tiled = false;
  int alphaSample = -1;  // which sample is alpha, -1 for none
  bool premultiplied = false;

  // The depth of the bitmap that holds such a page.
  int BitmapBits() const;

  // The same page with samples of 8 bits.
  TiffLayout Narrowed() const;

  // The bits of all samples of a pixel, which a file may put at more than an int holds.
  std::size_t PixelBits() const;

  // True when the library's rows can be written where the bitmap's rows lie and turned into them there.
  bool RowsFitBitmap() const;

  // Bytes of a row of `count` pixels, of one plane when they are separate.
  std::size_t RowBytes(int count) const;
};

// Reads the current directory. False for sizes that no bitmap has.
[[nodiscard]] bool ReadTiffLayout(TIFF* tiff, TiffLayout& layout, DecodeReason& reason);

// Stores `count` pixels of row `y` from column `x` on, whose samples are not to be narrowed. `from` holds all
// samples of each pixel, or with separate planes those of plane number `plane`; it may be the place in the
// row itself when RowsFitBitmap().
void StoreTiffSpan(const TiffLayout& layout, const std::uint8_t* from, int plane, CoreDib& to, int x, int y,
                   int count);

// The colors, one line of 65536ths per component, as palette entries of `to`. Does nothing without a color
// map.
void CopyTiffPalette(TIFF* tiff, const TiffLayout& layout, CoreDib& to);

}  // namespace tovmx
