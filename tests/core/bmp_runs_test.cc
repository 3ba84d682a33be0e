// SPDX-License-Identifier: MIT
// The runs of a BMP, of every kind and in any order.
#include "bmp_support.h"
#include "image_support.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace {

using bmp::Bmp;
using bmp::Put;

constexpr std::uint32_t kBlack = 0xff000000;

// Runs drawn at random, and a picture that is drawn besides, pixel by pixel.
class Runs {
 public:
  Runs(unsigned bits, int width, int height, unsigned seed)
      : bits_(bits), width_(width), height_(height), state_(seed) {
    pixels_.assign(static_cast<std::size_t>(width) * static_cast<std::size_t>(height), 0);
    for (int i = 0; i < 40; ++i) Add();
    bytes_ += std::string("\0\1", 2);
  }
  const std::string& Bytes() const { return bytes_; }
  // Index or color of each pixel, top row first, of a file from the bottom up.
  std::uint32_t At(int x, int y) const { return pixels_[Place(x, height_ - 1 - y)]; }

 private:
  std::size_t Place(int x, int y) const {
    return static_cast<std::size_t>(y) * static_cast<std::size_t>(width_) + static_cast<std::size_t>(x);
  }

  unsigned Next(unsigned below) {
    state_ = state_ * 1664525U + 1013904223U;
    return (state_ >> 8) % below;
  }
  std::uint32_t NextPixel() { return bits_ == 24 ? Next(1U << 24) : Next(1U << bits_); }
  void Draw(std::uint32_t pixel) {
    if (x_ < width_ && y_ < height_) pixels_[Place(x_, y_)] = pixel;
    ++x_;
  }
  void Add() {
    switch (Next(8)) {
      case 0:
        bytes_ += std::string("\0\0", 2);
        x_ = 0, ++y_;
        return;
      case 1: {
        const unsigned right = Next(5), up = Next(2);
        bytes_ += std::string("\0\2", 2) + static_cast<char>(right) + static_cast<char>(up);
        x_ += static_cast<int>(right), y_ += static_cast<int>(up);
        return;
      }
      case 2:
      case 3:
      case 4:
        return AddLiteral(3 + Next(6));
      default:
        return AddRun(1 + Next(6));
    }
  }
  void AddRun(unsigned count) {
    const std::uint32_t first = NextPixel(), second = bits_ == 4 ? NextPixel() : first;
    bytes_ += static_cast<char>(count);
    bits_ == 4 ? Put(bytes_, first << 4 | second, 1) : Put(bytes_, first, static_cast<int>(bits_) / 8);
    for (unsigned i = 0; i < count; ++i) Draw(i % 2 == 0 ? first : second);
  }
  void AddLiteral(unsigned count) {
    std::string data;
    std::uint32_t pair = 0;
    for (unsigned i = 0; i < count; ++i) {
      const std::uint32_t pixel = NextPixel();
      Draw(pixel);
      if (bits_ != 4) {
        Put(data, pixel, static_cast<int>(bits_) / 8);
        continue;
      }
      pair = i % 2 == 0 ? pixel << 4 : pair | pixel;
      if (i % 2 == 1 || i + 1 == count) Put(data, pair, 1);
    }
    if (data.size() % 2 == 1) data += '\x7f';
    bytes_ += '\0' + std::string(1, static_cast<char>(count)) + data;
  }

  unsigned bits_;
  int width_, height_;
  unsigned state_;
  int x_ = 0, y_ = 0;
  std::string bytes_;
  std::vector<std::uint32_t> pixels_;
};

TEST(BmpRuns, OfEveryKindDrawWhatIsDrawnPixelByPixel) {
  for (const unsigned bits : {4U, 8U, 24U}) {
    std::string palette;
    for (unsigned i = 0; bits <= 8 && i < 1U << bits; ++i) Put(palette, i * 0x010305U, 4);
    for (unsigned seed = 0; seed < 60; ++seed) {
      const int width = 1 + static_cast<int>(seed % 13);
      const Runs runs(bits, width, 9, seed);
      const Bmp form{.head = bits == 24 ? 64U : 40U,
                     .width = width,
                     .height = 9,
                     .bits = bits,
                     .packing = bits == 24  ? 4U
                                : bits == 4 ? 2U
                                            : 1U,
                     .palette = palette,
                     .pixels = runs.Bytes()};
      const auto bitmap = image::Decode(bmp::Bytes(form));
      ASSERT_NE(bitmap, nullptr);
      for (int y = 0; y < 9; ++y) {
        for (int x = 0; x < width; ++x) {
          const std::uint32_t pixel = runs.At(x, y);
          ASSERT_EQ(bitmap->GetArgb(x, y), kBlack | (bits == 24 ? pixel : pixel * 0x010305U & 0xffffffU))
              << bits << " bits, seed " << seed << " at " << x << ", " << y;
        }
      }
      for (std::size_t size = 0; size < runs.Bytes().size(); ++size) {
        Bmp cut = form;
        cut.pixels.resize(size);
        ASSERT_EQ(image::Decode(bmp::Bytes(cut)), nullptr)
            << bits << " bits, seed " << seed << " cut at " << size;
      }
    }
  }
}

}  // namespace
