// SPDX-License-Identifier: MIT
// The codec libraries called as directly as can be, with the settings that the encoders use.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace direct {

// 24-bit pixels, blue first, rows one after the other without padding (the width is a multiple of 4).
struct Picture {
  Picture(int w, int h)
      : width(w),
        height(h),
        pixels(static_cast<std::uint8_t*>(std::calloc(1, static_cast<std::size_t>(w) * h * 3))) {}
  ~Picture() { std::free(pixels); }
  Picture(const Picture&) = delete;
  Picture& operator=(const Picture&) = delete;
  std::uint8_t* Row(int y) const { return pixels + static_cast<std::size_t>(y) * width * 3; }

  int width;
  int height;
  std::uint8_t* pixels;
};

// Each returns the encoded bytes, or fills a new picture; none checks for errors beyond what it must.
std::string EncodePng(const Picture& picture);
std::string EncodeJpeg(const Picture& picture, int quality);
std::string EncodeTiff(const Picture& picture);
std::string EncodeWebp(const Picture& picture, int quality);
std::string EncodeJpeg2000(const Picture& picture);
std::uint8_t DecodePng(const std::string& bytes, int width, int height);
std::uint8_t DecodeJpeg(const std::string& bytes, int width, int height);
std::uint8_t DecodeTiff(const std::string& bytes, int width, int height);
std::uint8_t DecodeWebp(const std::string& bytes, int width, int height);
std::uint8_t DecodeJpeg2000(const std::string& bytes, int width, int height);

// One bit for each pixel, black 0; rows of width / 8 bytes (the width is a multiple of 32).
std::string EncodeG4(const std::uint8_t* bits, int width, int height);
std::uint8_t DecodeG4(const std::string& bytes, int width, int height);

// A GIF of `frames` frames that fill the canvas, each pixel an index into 256 grays. Decoding returns the
// indices of the first frame.
std::string EncodeGif(const std::uint8_t* indices, int width, int height, int frames);
std::uint8_t DecodeGif(const std::string& bytes, int width, int height);

}  // namespace direct
