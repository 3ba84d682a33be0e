// SPDX-License-Identifier: MIT
// PNG. Plain files in memory are read in one piece; all others by libpng, straight into the rows of the
// bitmap.
#include "codec/codecs.h"
#include "codec/format_decoder.h"
#include "codec/plain_png.h"
#include "codec/png_session.h"

namespace tovmx {

namespace {

constexpr double kMetersPerInch = 0.0254;

// Chunks that say nothing about the pixels; some of them could unpack into far more memory than the image.
constexpr png_byte kIgnoredChunks[] = "eXIf\0hIST\0iCCP\0iTXt\0pCAL\0sCAL\0sPLT\0tEXt\0zTXt";

float DotsPerInch(std::uint32_t perMeter) { return static_cast<float>(perMeter * kMetersPerInch); }

// Reads up to the first pixel and asks the library for one of the layouts of CoreDib. Longjmps on an error.
void ReadHead(png_structp png, png_infop info, CoreImageInfo& out) {
  png_set_user_limits(png, PNG_UINT_31_MAX, PNG_UINT_31_MAX);  // FitsPixelLimit decides
  png_set_keep_unknown_chunks(png, PNG_HANDLE_CHUNK_NEVER, kIgnoredChunks, sizeof kIgnoredChunks / 5);
  png_read_info(png, info);
  const int color = png_get_color_type(png, info);
  const int bits = png_get_bit_depth(png, info);
  const bool palette = color == PNG_COLOR_TYPE_PALETTE;
  const bool keyed = !palette && png_get_valid(png, info, PNG_INFO_tRNS) != 0;
  const bool alpha = (color & PNG_COLOR_MASK_ALPHA) != 0 || keyed;
  const bool gray = (color & PNG_COLOR_MASK_COLOR) == 0;

  out.width = static_cast<int>(png_get_image_width(png, info));
  out.height = static_cast<int>(png_get_image_height(png, info));
  out.fileBitsPerPixel = bits * png_get_channels(png, info);
  out.frameCount = 1;
  out.dpiX = DotsPerInch(png_get_x_pixels_per_meter(png, info));
  out.dpiY = DotsPerInch(png_get_y_pixels_per_meter(png, info));

  if (bits == 16) png_set_scale_16(png);
  if (palette || (gray && !alpha)) {
    out.bitsPerPixel = bits == 1 || bits == 4 ? bits : 8;
    if (bits == 2) palette ? png_set_packing(png) : png_set_expand_gray_1_2_4_to_8(png);
    png_colorp colors = nullptr;
    if (palette) png_get_PLTE(png, info, &colors, &out.paletteSize);
    return;
  }
  if (keyed) png_set_expand(png);
  if (gray) png_set_gray_to_rgb(png);
  png_set_bgr(png);
  out.bitsPerPixel = alpha ? 32 : 24;
}

// The library holds two rows as the file stores them. With few rows and 16 bits they outweigh the bitmap.
bool RowsFitPixelLimit(const CoreImageInfo& info) {
  const std::uint64_t row =
      (static_cast<std::uint64_t>(info.width) * static_cast<std::uint64_t>(info.fileBitsPerPixel) + 7) / 8;
  return 2 * row <= CoreCodecRegistry::Get().GetPixelLimit();
}

void CopyPalette(png_structp png, png_infop info, CoreDib& bitmap) {
  png_colorp colors = nullptr;
  int count = 0;
  if (png_get_PLTE(png, info, &colors, &count) == 0) return;
  std::uint32_t entries[256];
  for (int i = 0; i < count; ++i)
    entries[i] = colors[i].red | static_cast<unsigned>(colors[i].green) << 8 |
                 static_cast<unsigned>(colors[i].blue) << 16;
  bitmap.SetPalette(entries, count);
  png_bytep alpha = nullptr;
  int alphaCount = 0;
  if (png_get_tRNS(png, info, &alpha, &alphaCount, nullptr) == 0) return;
  for (int i = 0; i < alphaCount; ++i) bitmap.SetPaletteAlpha(i, alpha[i]);
}

// False for every stream that is not in memory, and for what is not plain or too large to be read so.
bool ReadPlain(const CoreInputStream& stream, CoreDib& bitmap) {
  const std::uint8_t* const view = stream.GetView();
  const std::uint64_t position = stream.GetPosition();
  if (view == nullptr || position >= stream.GetSize()) return false;
  const auto png = FindPlainPng(view + position, static_cast<std::size_t>(stream.GetSize() - position));
  // Nothing shrinks to less than a 1032nd, so what is promised cannot be far from what has arrived.
  if (!png || png->InflatedBytes() / 1032 > png->compressed) return false;
  const auto width = static_cast<int>(png->width);
  const auto height = static_cast<int>(png->height);
  if (!FitsPixelLimit(width, height, png->BitsPerPixel(), png->InflatedBytes()) ||
      !bitmap.Create(width, height, png->BitsPerPixel()))
    return false;
  bitmap.SetDpi(DotsPerInch(png->dotsX), DotsPerInch(png->dotsY));
  if (png->paletteSize > 0) bitmap.SetPalette(png->palette.data(), png->paletteSize);
  for (int i = 0; i < png->alphaSize; ++i) bitmap.SetPaletteAlpha(i, png->alpha[static_cast<std::size_t>(i)]);
  return ReadPlainPixels(*png, bitmap);
}

class PngDecoder final : public FormatDecoder {
 public:
  PngDecoder() : FormatDecoder(kCoreImagePng) {}

 private:
  // Run() with a note of what it met.
  template <typename Body>
  bool Run(PngReadSession& session, Body body) {
    if (session.Run(body)) return true;
    return session.IsShortOfMemory() && Reason().OverLimit();
  }

  bool ReadInfo(CoreInputStream& stream, CoreImageInfo& info) override {
    PngReadSession session(stream);
    return Run(session, [&](png_structp png, png_infop pngInfo) { ReadHead(png, pngInfo, info); });
  }

  bool ReadFrame(CoreInputStream& stream, int, CoreDib& bitmap) override {
    if (ReadPlain(stream, bitmap)) return true;
    PngReadSession session(stream);
    CoreImageInfo info;
    if (!Run(session, [&](png_structp png, png_infop pngInfo) { ReadHead(png, pngInfo, info); }))
      return false;
    if (!RowsFitPixelLimit(info)) return Reason().OverLimit();
    if (!Reason().Create(bitmap, info.width, info.height, info.bitsPerPixel)) return false;
    bitmap.SetDpi(info.dpiX, info.dpiY);
    return Run(session, [&](png_structp png, png_infop pngInfo) {
      if (bitmap.GetBitsPerPixel() <= 8) CopyPalette(png, pngInfo, bitmap);
      const int passes = png_set_interlace_handling(png);
      png_start_read_image(png);
      for (int pass = 0; pass < passes; ++pass) {
        for (int y = 0; y < bitmap.GetHeight(); ++y) png_read_row(png, bitmap.GetRow(y), nullptr);
      }
      png_read_end(png, nullptr);
    });
  }
};

}  // namespace

std::unique_ptr<CoreImageDecoder> MakePngDecoder() { return std::make_unique<PngDecoder>(); }

}  // namespace tovmx
