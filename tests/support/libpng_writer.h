// SPDX-License-Identifier: MIT
// LibpngWriter: a PNG written by libpng itself into a string, for tests and benchmarks that compare with it.
//
//   LibpngWriter writer;
//   writer.PutHead(width, height, 8, PNG_COLOR_TYPE_RGB);
//   png_write_info(writer.png, writer.info);
//   for (int y = 0; y < height; ++y) png_write_row(writer.png, Row(y));
//   const std::string file = writer.Finish();
#pragma once

#include <tovmx/dib.h>

#include <png.h>

#include <algorithm>
#include <string>
#include <utility>

struct LibpngWriter {
  // Warnings are printed when `warn` is null.
  explicit LibpngWriter(png_error_ptr warn = nullptr)
      : png(png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, warn)),
        info(png_create_info_struct(png)) {
    png_set_write_fn(
        png, &file,
        [](png_structp p, png_bytep from, std::size_t size) {
          static_cast<std::string*>(png_get_io_ptr(p))->append(reinterpret_cast<char*>(from), size);
        },
        [](png_structp) {});
  }
  ~LibpngWriter() { png_destroy_write_struct(&png, &info); }
  LibpngWriter(const LibpngWriter&) = delete;
  LibpngWriter& operator=(const LibpngWriter&) = delete;

  void PutHead(int width, int height, int bits, int color, bool interlaced = false) {
    png_set_IHDR(png, info, static_cast<png_uint_32>(width), static_cast<png_uint_32>(height), bits, color,
                 interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                 PNG_FILTER_TYPE_DEFAULT);
  }

  [[nodiscard]] std::string Finish() {
    png_write_end(png, info);
    return std::move(file);
  }

  png_structp png;
  png_infop info;
  std::string file;
};

// The bitmap with the settings that libpng has when nothing is chosen.
[[nodiscard]] inline std::string EncodeByLibpng(const CoreDib& dib) {
  LibpngWriter writer;
  const int bits = dib.GetBitsPerPixel();
  const int colors = dib.GetPaletteSize();
  const int color = bits == 32   ? PNG_COLOR_TYPE_RGB_ALPHA
                    : bits == 24 ? PNG_COLOR_TYPE_RGB
                    : colors > 0 ? PNG_COLOR_TYPE_PALETTE
                                 : PNG_COLOR_TYPE_GRAY;
  writer.PutHead(dib.GetWidth(), dib.GetHeight(), std::min(bits, 8), color);
  png_color palette[256];
  for (int i = 0; i < colors; ++i) {
    const auto entry = dib.GetPaletteEntry(i);
    palette[i] = {static_cast<png_byte>(entry), static_cast<png_byte>(entry >> 8),
                  static_cast<png_byte>(entry >> 16)};
  }
  if (colors > 0) png_set_PLTE(writer.png, writer.info, palette, colors);
  png_write_info(writer.png, writer.info);
  png_set_bgr(writer.png);
  for (int y = 0; y < dib.GetHeight(); ++y) png_write_row(writer.png, dib.GetRow(y));
  return writer.Finish();
}
