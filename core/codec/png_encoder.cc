// SPDX-License-Identifier: MIT
// PNG, written by libpng with its default compression. The pixels go to it row by row in place.
#include "bitmap/row_reader.h"
#include "codec/codecs.h"
#include "codec/png_session.h"

#include <array>
#include <cmath>

namespace tovmx {

namespace {

constexpr double kInchesPerMeter = 1 / 0.0254;

struct Palette {
  std::array<png_color, 256> colors;
  std::array<png_byte, 256> alpha;
  int size = 0;
  int alphaSize = 0;  // up to the last one that is not opaque
};

Palette PaletteOf(const CoreDib& bitmap) {
  Palette palette{};
  if (bitmap.GetPaletteSize() > 0) palette.size = UsedColors(bitmap);
  for (int i = 0; i < palette.size; ++i) {
    const std::uint32_t entry = bitmap.GetPaletteEntry(i);
    const auto at = static_cast<std::size_t>(i);
    palette.colors[at] = {static_cast<png_byte>(entry), static_cast<png_byte>(entry >> 8),
                          static_cast<png_byte>(entry >> 16)};
    palette.alpha[at] = bitmap.GetPaletteAlpha(i);
    if (palette.alpha[at] != 255) palette.alphaSize = i + 1;
  }
  return palette;
}

int ColorTypeOf(const CoreDib& bitmap) {
  if (bitmap.GetBitsPerPixel() == 32) return PNG_COLOR_TYPE_RGB_ALPHA;
  if (bitmap.GetBitsPerPixel() == 24) return PNG_COLOR_TYPE_RGB;
  return bitmap.GetPaletteSize() > 0 ? PNG_COLOR_TYPE_PALETTE : PNG_COLOR_TYPE_GRAY;
}

png_uint_32 DotsPerMeter(float dpi) {
  const double dots = std::round(static_cast<double>(dpi) * kInchesPerMeter);
  return dots >= PNG_UINT_31_MAX ? PNG_UINT_31_MAX : static_cast<png_uint_32>(dots);
}

class PngEncoder final : public CoreImageEncoder {
 private:
  bool EncodeBitmap(const CoreDib& bitmap, CoreOutputStream& stream) override {
    const Palette palette = PaletteOf(bitmap);
    PngWriteSession session(stream);
    return session.Run([&](png_structp png, png_infop info) {
      const int bits = bitmap.GetBitsPerPixel();
      // The library's own bound of a million pixels a side is none of ours.
      png_set_user_limits(png, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
      png_set_IHDR(png, info, static_cast<png_uint_32>(bitmap.GetWidth()),
                   static_cast<png_uint_32>(bitmap.GetHeight()), bits < 8 ? bits : 8, ColorTypeOf(bitmap),
                   PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
      if (palette.size > 0) png_set_PLTE(png, info, palette.colors.data(), palette.size);
      if (palette.alphaSize > 0) png_set_tRNS(png, info, palette.alpha.data(), palette.alphaSize, nullptr);
      if (bitmap.GetDpiX() > 0 && bitmap.GetDpiY() > 0) {
        png_set_pHYs(png, info, DotsPerMeter(bitmap.GetDpiX()), DotsPerMeter(bitmap.GetDpiY()),
                     PNG_RESOLUTION_METER);
      }
      png_write_info(png, info);
      if (bits >= 24) png_set_bgr(png);
      for (int y = 0; y < bitmap.GetHeight(); ++y) png_write_row(png, bitmap.GetRow(y));
      png_write_end(png, info);
    });
  }
};

}  // namespace

std::unique_ptr<CoreImageEncoder> MakePngEncoder() { return std::make_unique<PngEncoder>(); }

CoreString DescribePngBackend() {
  CoreString text("libpng ");
  return text += png_get_libpng_ver(nullptr);
}

}  // namespace tovmx
