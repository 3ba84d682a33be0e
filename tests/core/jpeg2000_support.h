// SPDX-License-Identifier: MIT
// JPEG 2000 files as OpenJPEG itself writes them, and what their pixels must be.
#pragma once

#include "image_support.h"

#include <gtest/gtest.h>
#include <openjpeg.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace jpeg2000 {

inline constexpr int kWidth = 20;
inline constexpr int kHeight = 14;

struct Component {
  int bits = 8;
  bool isSigned = false;
  int step = 1;  // one sample for so many pixels across and, unless stepDown says otherwise, down
  bool alpha = false;
  int stepDown = 0;
  int Down() const { return stepDown != 0 ? stepDown : step; }
};

// The 8 bits that sample (x, y) of a component stands for.
inline int Value(std::size_t component, int x, int y) {
  return (static_cast<int>(component) * 60 + x * 9 + y * 13 + 20) % 256;
}

// The same in the component's own range.
inline OPJ_INT32 Stored(const Component& component, int value) {
  const long most = (1L << component.bits) - 1;
  const long number = (value * most + 127) / 255;
  return static_cast<OPJ_INT32>(component.isSigned ? number - (1L << (component.bits - 1)) : number);
}

struct Bytes {
  std::string text;
  std::size_t position = 0;
};

inline OPJ_SIZE_T Write(void* from, OPJ_SIZE_T size, void* data) {
  auto& bytes = *static_cast<Bytes*>(data);
  if (bytes.text.size() < bytes.position + size) bytes.text.resize(bytes.position + size);
  bytes.text.replace(bytes.position, size, static_cast<const char*>(from), size);
  bytes.position += size;
  return size;
}

inline OPJ_OFF_T Skip(OPJ_OFF_T count, void* data) {
  static_cast<Bytes*>(data)->position += static_cast<std::size_t>(count);
  return count;
}

inline OPJ_BOOL Seek(OPJ_OFF_T position, void* data) {
  static_cast<Bytes*>(data)->position = static_cast<std::size_t>(position);
  return OPJ_TRUE;
}

// Writes an image, which is freed.
inline std::string Written(opj_image_t* image, opj_cparameters_t& parameters, OPJ_CODEC_FORMAT format) {
  Bytes bytes;
  opj_codec_t* const codec = opj_create_compress(format);
  opj_stream_t* const stream = opj_stream_default_create(OPJ_FALSE);
  opj_stream_set_write_function(stream, Write);
  opj_stream_set_skip_function(stream, Skip);
  opj_stream_set_seek_function(stream, Seek);
  opj_stream_set_user_data(stream, &bytes, nullptr);
  const bool done = opj_setup_encoder(codec, &parameters, image) != 0 &&
                    opj_start_compress(codec, image, stream) != 0 && opj_encode(codec, stream) != 0 &&
                    opj_end_compress(codec, stream) != 0;
  opj_stream_destroy(stream);
  opj_destroy_codec(codec);
  opj_image_destroy(image);
  EXPECT_TRUE(done);
  return bytes.text;
}

// In tiles of so many pixels a side, or in one without a number.
inline std::string Store(const std::vector<Component>& components, OPJ_COLOR_SPACE colors,
                         OPJ_CODEC_FORMAT format = OPJ_CODEC_JP2, int tile = 0) {
  std::vector<opj_image_cmptparm_t> forms;
  for (const Component& component : components) {
    opj_image_cmptparm_t form = {};
    form.dx = static_cast<OPJ_UINT32>(component.step);
    form.dy = static_cast<OPJ_UINT32>(component.Down());
    form.w = static_cast<OPJ_UINT32>((kWidth + component.step - 1) / component.step);
    form.h = static_cast<OPJ_UINT32>((kHeight + component.Down() - 1) / component.Down());
    form.prec = static_cast<OPJ_UINT32>(component.bits);
    form.sgnd = component.isSigned ? 1 : 0;
    forms.push_back(form);
  }
  opj_image_t* const image = opj_image_create(static_cast<OPJ_UINT32>(forms.size()), forms.data(), colors);
  image->x1 = kWidth;
  image->y1 = kHeight;
  for (std::size_t c = 0; c < components.size(); ++c) {
    image->comps[c].alpha = components[c].alpha ? 1 : 0;
    OPJ_INT32* out = image->comps[c].data;
    for (int y = 0; y < kHeight; y += components[c].Down()) {
      for (int x = 0; x < kWidth; x += components[c].step) *out++ = Stored(components[c], Value(c, x, y));
    }
  }
  opj_cparameters_t parameters;
  opj_set_default_encoder_parameters(&parameters);
  parameters.tcp_numlayers = 1;
  parameters.cp_disto_alloc = 1;
  parameters.numresolution = tile == 1 ? 1 : 2;
  if (tile != 0) {
    parameters.tile_size_on = OPJ_TRUE;
    parameters.cp_tdx = parameters.cp_tdy = tile;
  }
  return Written(image, parameters, format);
}

inline constexpr char kCmyk = 12;

// The library names only the colors that it writes itself.
inline std::string WithColors(std::string file, char enumerated) {
  const std::size_t box = file.find("colr");
  EXPECT_NE(box, std::string::npos);
  file[box + 10] = enumerated;
  return file;
}

// What is told of the picture before it is decoded holds of the bitmap.
inline std::unique_ptr<CoreDib> Decoded(const std::string& file) {
  CoreImageInfo info;
  auto bitmap = image::Decode(file, 0, 0, 0, &info);
  if (bitmap != nullptr) {
    EXPECT_EQ(info.bitsPerPixel, bitmap->GetBitsPerPixel());
  }
  return bitmap;
}

using Argb = std::array<int, 4>;

// The first pixel that is further off than `tolerance`, or an empty text. `expected` returns alpha, red,
// green and blue.
template <typename Expected>
inline std::string Mismatch(const CoreDib* bitmap, const Expected& expected, int tolerance = 0) {
  if (bitmap == nullptr) return "no bitmap";
  if (bitmap->GetWidth() != kWidth || bitmap->GetHeight() != kHeight) return "size";
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      const std::uint32_t argb = bitmap->GetArgb(x, y);
      const Argb wanted = expected(x, y);
      for (std::size_t c = 0; c < 4; ++c) {
        const int seen = static_cast<int>(argb >> (24 - 8 * c) & 255U);
        if (std::abs(seen - wanted[c]) <= tolerance) continue;
        char text[80];
        std::snprintf(text, sizeof text, "at (%d, %d): %d for %d, number %zu", x, y, seen, wanted[c], c);
        return text;
      }
    }
  }
  return {};
}

inline Argb GrayAt(int x, int y) { return {255, Value(0, x, y), Value(0, x, y), Value(0, x, y)}; }
inline Argb RgbAt(int x, int y) { return {255, Value(0, x, y), Value(1, x, y), Value(2, x, y)}; }

}  // namespace jpeg2000
