// SPDX-License-Identifier: MIT
// Emoji drawn on bitmaps, and how much of them is there.
#pragma once

#include "device_support.h"

#include <tovmx/device.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

namespace emoji {

using namespace device;

inline constexpr wchar_t kSmile[] = L"\U0001F600";

inline bool DrawOn(CoreDevice& device, const wchar_t* text, const CoreMatrix& place, float size,
                   std::uint32_t argb = kBlack, const CoreFontLoader& fonts = Fonts()) {
  const bool drawn = device.DrawText(text, -1, fonts, place, argb, size);
  return device.EndText() && device.Flush() && drawn;
}

inline Picture Drawn(const wchar_t* text, float size = 64, std::uint32_t argb = kBlack,
                     const CoreMatrix& place = At(20, 90)) {
  Picture picture;
  CoreBitmapDevice device(&picture.dib);
  EXPECT_TRUE(DrawOn(device, text, place, size, argb));
  return picture;
}

inline int Channel(std::uint32_t argb, int shift) { return static_cast<int>(argb >> shift & 0xFF); }

inline bool IsColored(std::uint32_t argb) {
  const auto [low, high] = std::minmax({Channel(argb, 16), Channel(argb, 8), Channel(argb, 0)});
  return high - low > 24;
}

inline int ColoredPixels(const CoreDib& dib) {
  int count = 0;
  for (int y = 0; y < dib.GetHeight(); ++y) {
    for (int x = 0; x < dib.GetWidth(); ++x) count += IsColored(dib.GetArgb(x, y)) ? 1 : 0;
  }
  return count;
}

// The mean difference of two pictures of one size, over the channels.
inline double Difference(const CoreDib& a, const CoreDib& b) {
  double sum = 0;
  for (int y = 0; y < a.GetHeight(); ++y) {
    for (int x = 0; x < a.GetWidth(); ++x) {
      for (const int shift : {0, 8, 16}) {
        sum += std::abs(Channel(a.GetArgb(x, y), shift) - Channel(b.GetArgb(x, y), shift));
      }
    }
  }
  return sum / (3.0 * a.GetWidth() * a.GetHeight());
}

inline void Save(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

inline std::string Load(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

}  // namespace emoji
