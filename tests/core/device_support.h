// SPDX-License-Identifier: MIT
// Lines drawn on devices, and what they left there.
#pragma once

#include <tovmx/device.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace device {

inline constexpr std::uint32_t kBlack = 0xFF000000;
inline constexpr std::uint32_t kWhite = 0xFFFFFFFF;

inline CoreFontLoader Fonts(const wchar_t* family = L"DejaVu Sans", int source = kCoreFontAny) {
  CoreFontLoader fonts(nullptr);
  fonts.LoadFont(family, family, source, 400, false);
  return fonts;
}

inline CoreMatrix At(float x, float y) {
  CoreMatrix matrix;
  matrix.Translate(x, y);
  return matrix;
}

inline bool DrawLine(CoreDevice& device, const wchar_t* text, const CoreMatrix& matrix,
                     std::uint32_t argb = kBlack, float size = 32.0f) {
  const bool drawn = device.DrawText(text, -1, Fonts(), matrix, argb, size);
  return device.EndText() && device.Flush() && drawn;
}

// Where pixels differ from `background`; empty when none do.
inline CoreRect InkOf(const CoreDib& dib, std::uint32_t background = kWhite) {
  CoreRect ink{dib.GetWidth(), dib.GetHeight(), 0, 0};
  for (int y = 0; y < dib.GetHeight(); ++y) {
    for (int x = 0; x < dib.GetWidth(); ++x) {
      if (dib.GetArgb(x, y) == background) continue;
      ink = {std::min(ink.left, x), std::min(ink.top, y), std::max(ink.right, x + 1),
             std::max(ink.bottom, y + 1)};
    }
  }
  return ink.right == 0 ? CoreRect{} : ink;
}

// A white bitmap.
struct Picture {
  CoreDib dib;
  explicit Picture(int width = 200, int height = 120, int bits = 32) {
    EXPECT_TRUE(dib.Create(width, height, bits));
    std::memset(dib.GetBuffer(), 255, dib.GetBufferSize());
  }
  std::vector<std::uint8_t> Bytes() const { return {dib.GetBuffer(), dib.GetBuffer() + dib.GetBufferSize()}; }
};

inline std::string TextOf(const CoreMemoryOutputStream& stream) {
  return {reinterpret_cast<const char*>(stream.GetData()), stream.GetSize()};
}

class RefusingStream final : public CoreOutputStream {
 public:
  bool Write(const void*, std::size_t) override { return false; }
};

}  // namespace device
