// SPDX-License-Identifier: MIT
#include "png_reference.h"

#include <png.h>

#include <csetjmp>
#include <cstring>

namespace {

struct Source {
  const std::uint8_t* data;
  std::size_t left;
};

void Read(png_structp png, png_bytep to, std::size_t size) {
  auto* const source = static_cast<Source*>(png_get_io_ptr(png));
  if (size > source->left) png_error(png, "early end");
  std::memcpy(to, source->data, size);
  source->data += size;
  source->left -= size;
}

// Depth of the bitmap; asks libpng for the layout.
int Prepare(png_structp png, png_infop info) {
  const int color = png_get_color_type(png, info);
  const int bits = png_get_bit_depth(png, info);
  if (bits == 16) png_set_scale_16(png);
  const bool keyed = color != PNG_COLOR_TYPE_PALETTE && png_get_valid(png, info, PNG_INFO_tRNS) != 0;
  const bool alpha = (color & PNG_COLOR_MASK_ALPHA) != 0 || keyed;
  if (color == PNG_COLOR_TYPE_PALETTE || (color == PNG_COLOR_TYPE_GRAY && !alpha)) {
    if (bits == 2 && color == PNG_COLOR_TYPE_PALETTE) png_set_packing(png);
    if (bits == 2 && color == PNG_COLOR_TYPE_GRAY) png_set_expand_gray_1_2_4_to_8(png);
    return bits == 1 || bits == 4 ? bits : 8;
  }
  if (keyed) png_set_expand(png);
  if ((color & PNG_COLOR_MASK_COLOR) == 0) png_set_gray_to_rgb(png);
  png_set_bgr(png);
  return alpha ? 32 : 24;
}

void TakePalette(png_structp png, png_infop info, CoreDib& bitmap) {
  png_colorp colors = nullptr;
  int count = 0;
  if (bitmap.GetBitsPerPixel() > 8 || png_get_PLTE(png, info, &colors, &count) == 0) return;
  std::uint32_t entries[256];
  for (int i = 0; i < count; ++i) {
    entries[i] = colors[i].red | static_cast<std::uint32_t>(colors[i].green) << 8 |
                 static_cast<std::uint32_t>(colors[i].blue) << 16;
  }
  bitmap.SetPalette(entries, count);
  png_bytep alpha = nullptr;
  int alphaCount = 0;
  if (png_get_tRNS(png, info, &alpha, &alphaCount, nullptr) == 0) return;
  for (int i = 0; i < alphaCount; ++i) bitmap.SetPaletteAlpha(i, alpha[i]);
}

bool Fill(png_structp png, png_infop info, CoreDib& bitmap, std::uint64_t mostBytes) {
  // Chunks that could unpack to more than the pixels.
  static const png_byte kIgnored[] = "eXIf\0hIST\0iCCP\0iTXt\0pCAL\0sCAL\0sPLT\0tEXt\0zTXt";
  if (setjmp(png_jmpbuf(png)) != 0) return false;
  png_set_user_limits(png, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
  png_set_keep_unknown_chunks(png, PNG_HANDLE_CHUNK_NEVER, kIgnored, sizeof kIgnored / 5);
  png_read_info(png, info);
  const auto width = static_cast<int>(png_get_image_width(png, info));
  const auto height = static_cast<int>(png_get_image_height(png, info));
  const int bits = Prepare(png, info);
  const std::uint64_t bytes = CoreDib::BytesNeeded(width, height, bits);
  if (bytes == 0 || bytes > mostBytes || 2 * png_get_rowbytes(png, info) > mostBytes) return false;
  if (!bitmap.Create(width, height, bits)) return false;
  const double kMetersPerInch = 0.0254;
  bitmap.SetDpi(static_cast<float>(png_get_x_pixels_per_meter(png, info) * kMetersPerInch),
                static_cast<float>(png_get_y_pixels_per_meter(png, info) * kMetersPerInch));
  TakePalette(png, info, bitmap);
  const int passes = png_set_interlace_handling(png);
  png_start_read_image(png);
  for (int pass = 0; pass < passes; ++pass) {
    for (int y = 0; y < height; ++y) png_read_row(png, bitmap.GetRow(y), nullptr);
  }
  png_read_end(png, nullptr);
  return true;
}

}  // namespace

std::unique_ptr<CoreDib> ReadByLibpng(const std::uint8_t* data, std::size_t size, std::uint64_t mostBytes) {
  png_structp png = png_create_read_struct(
      PNG_LIBPNG_VER_STRING, nullptr, [](png_structp p, png_const_charp) { png_longjmp(p, 1); },
      [](png_structp, png_const_charp) {});
  png_infop info = png_create_info_struct(png);
  Source source{data, size};
  png_set_read_fn(png, &source, Read);
  auto bitmap = std::make_unique<CoreDib>();
  const bool read = Fill(png, info, *bitmap, mostBytes);
  png_destroy_read_struct(&png, &info, nullptr);
  return read ? std::move(bitmap) : nullptr;
}
