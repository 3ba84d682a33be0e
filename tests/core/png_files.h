// SPDX-License-Identifier: MIT
// PNG files in every form, made by libpng, and the chunks that they are made of.
#pragma once

#include "libpng_writer.h"

#include <png.h>
#include <zlib.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace png_files {

struct Form {
  int color = PNG_COLOR_TYPE_RGB;
  int bits = 8;
  int width = 19;
  int height = 13;
  bool interlaced = false;
  int filters = PNG_ALL_FILTERS;
  int colors = 0;                 // of the palette; 0 is as many as there can be
  bool transparent = false;       // by a color, or some of the palette
  bool extras = false;            // gamma, times, texts and whatever else a file may tell
  std::size_t chunkBytes = 8192;  // of compressed rows
  bool resolution = false;
};

inline std::string Describe(const Form& form) {
  return "color " + std::to_string(form.color) + ", " + std::to_string(form.bits) + " bits, " +
         std::to_string(form.width) + " x " + std::to_string(form.height) +
         (form.interlaced ? ", interlaced" : "") + ", filters " + std::to_string(form.filters) + ", colors " +
         std::to_string(form.colors) + (form.transparent ? ", transparent" : "") +
         (form.extras ? ", extras" : "") + ", chunks of " + std::to_string(form.chunkBytes);
}

inline void PutExtras(png_structp png, png_infop info) {
  png_set_gAMA(png, info, 0.3);
  png_set_cHRM(png, info, 0.31, 0.33, 0.64, 0.33, 0.3, 0.6, 0.15, 0.06);
  const png_time time = {2020, 2, 3, 4, 5, 6};
  png_set_tIME(png, info, &time);
  char key[] = "Title";
  char value[] = "what it is called";
  png_text texts[2] = {};
  for (png_text& text : texts) {
    text.key = key;
    text.text = value;
    text.text_length = sizeof value - 1;
  }
  texts[0].compression = PNG_TEXT_COMPRESSION_NONE;
  texts[1].compression = PNG_TEXT_COMPRESSION_zTXt;
  png_set_text(png, info, texts, 2);
}

// Whole pixels with some order and some noise.
inline std::string Make(const Form& form) {
  LibpngWriter writer([](png_structp, png_const_charp) {});
  png_structp png = writer.png;
  png_infop info = writer.info;
  png_set_benign_errors(png, 1);  // such as indices beyond a palette
  png_set_compression_buffer_size(png, std::max<std::size_t>(form.chunkBytes, 6));
  png_set_filter(png, PNG_FILTER_TYPE_BASE, form.filters);
  writer.PutHead(form.width, form.height, form.bits, form.color, form.interlaced);
  const int colors = form.colors == 0 ? 1 << std::min(form.bits, 8) : form.colors;
  if (form.color == PNG_COLOR_TYPE_PALETTE) {
    std::vector<png_color> palette;
    for (int i = 0; i < colors; ++i) {
      palette.push_back(
          {static_cast<png_byte>(i * 7), static_cast<png_byte>(255 - i), static_cast<png_byte>(i * 31 + 1)});
    }
    png_set_PLTE(png, info, palette.data(), colors);
  }
  if (form.transparent) {
    const png_color_16 key = {0, 1, 1, 1, 1};
    const std::vector<png_byte> alpha(static_cast<std::size_t>((colors + 1) / 2), 77);
    const bool palette = form.color == PNG_COLOR_TYPE_PALETTE;
    png_set_tRNS(png, info, palette ? alpha.data() : nullptr, palette ? static_cast<int>(alpha.size()) : 1,
                 &key);
  }
  if (form.extras) PutExtras(png, info);
  if (form.resolution) png_set_pHYs(png, info, 5906, 2953, PNG_RESOLUTION_METER);
  png_write_info(png, info);
  std::vector<std::vector<png_byte>> rows(static_cast<std::size_t>(form.height),
                                          std::vector<png_byte>(png_get_rowbytes(png, info)));
  unsigned state = 1;
  for (std::size_t y = 0; y < rows.size(); ++y) {
    for (std::size_t x = 0; x < rows[y].size(); ++x) {
      state = state * 1664525U + 1013904223U;
      rows[y][x] =
          static_cast<png_byte>(x * 5 + y * 3 + (state >> 29) + ((state >> 8 & 15U) == 0 ? state >> 24 : 0));
    }
  }
  std::vector<png_bytep> pointers;
  for (auto& row : rows) pointers.push_back(row.data());
  png_write_image(png, pointers.data());
  return writer.Finish();
}

inline std::string Word(std::uint32_t value) {
  return {static_cast<char>(value >> 24), static_cast<char>(value >> 16), static_cast<char>(value >> 8),
          static_cast<char>(value)};
}

inline std::uint32_t WordAt(const std::string& text, std::size_t at) {
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < 4; ++i) value = value << 8 | static_cast<unsigned char>(text[at + i]);
  return value;
}

// With a right checksum.
inline std::string Chunk(const std::string& type, const std::string& content) {
  const std::string summed = type + content;
  const auto sum = crc32(0, reinterpret_cast<const Bytef*>(summed.data()), static_cast<uInt>(summed.size()));
  return Word(static_cast<std::uint32_t>(content.size())) + summed + Word(static_cast<std::uint32_t>(sum));
}

struct Piece {
  std::string type;
  std::string content;
};

inline std::vector<Piece> Split(const std::string& file) {
  std::vector<Piece> pieces;
  for (std::size_t at = 8; at + 12 <= file.size();) {
    const std::size_t size = WordAt(file, at);
    pieces.push_back({file.substr(at + 4, 4), file.substr(at + 8, size)});
    at += 12 + size;
  }
  return pieces;
}

inline std::string Join(const std::vector<Piece>& pieces) {
  std::string file = "\x89PNG\r\n\x1a\n";
  for (const Piece& piece : pieces) file += Chunk(piece.type, piece.content);
  return file;
}

inline std::string Zlib(const std::string& data, int level = 6, int windowBits = 15) {
  z_stream zlib = {};
  deflateInit2(&zlib, level, Z_DEFLATED, windowBits, 8, Z_DEFAULT_STRATEGY);
  std::string out(deflateBound(&zlib, static_cast<uLong>(data.size())) + 64, '\0');
  zlib.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.data()));
  zlib.avail_in = static_cast<uInt>(data.size());
  zlib.next_out = reinterpret_cast<Bytef*>(out.data());
  zlib.avail_out = static_cast<uInt>(out.size());
  deflate(&zlib, Z_FINISH);
  out.resize(zlib.total_out);
  deflateEnd(&zlib);
  return out;
}

}  // namespace png_files
