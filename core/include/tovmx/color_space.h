// SPDX-License-Identifier: MIT
/// \file
/// CoreColorSpace: which components a packed color holds.
///
/// Thread-safety: as an int.
///
/// \code{.cc}
/// CoreColorSpace space;            // RGB
/// space.kind = kCoreColorCmyk;
/// \endcode
#pragma once

#include <cstdint>

/// The kinds of color space.
enum CoreColorSpaceKind : std::uint32_t {
  kCoreColorGray = 1,  ///< one component
  kCoreColorRgb = 2,   ///< red, green, blue
  kCoreColorCmyk = 3,  ///< cyan, magenta, yellow, black
};

/// A color space, told by its kind.
struct CoreColorSpace {
  std::uint32_t kind = kCoreColorRgb;  ///< a CoreColorSpaceKind
};

/// The color on the screen, opaque, as 0xAARRGGBB, of a packed color: gray and RGB with red in bits 0-7,
/// green in 8-15 and blue in 16-23 (bits 24-31 are not read); CMYK with cyan in bits 24-31, magenta in 16-23,
/// yellow in 8-15 and black in 0-7. `kind` is a CoreColorSpaceKind; any other value counts as RGB. Without a
/// profile, red is (255 - cyan) * (255 - black) / 255, rounded to the nearest, and so on.
///
/// \code{.cc}
/// std::uint32_t orange = CoreColorToArgb(0x0080FF, kCoreColorRgb);           // 0xFFFF8000
/// std::uint32_t cyan = CoreColorToArgb(0xFF000000, kCoreColorCmyk);          // 0xFF00FFFF
/// \endcode
constexpr std::uint32_t CoreColorToArgb(std::uint32_t color, std::uint32_t kind) noexcept {
  if (kind != kCoreColorCmyk) {
    return 0xFF000000 | (color & 0xFF) << 16 | (color & 0xFF00) | (color >> 16 & 0xFF);
  }
  const std::uint32_t red = ((255 - (color >> 24)) * (255 - (color & 0xFF)) + 127) / 255;
  const std::uint32_t green = ((255 - (color >> 16 & 0xFF)) * (255 - (color & 0xFF)) + 127) / 255;
  const std::uint32_t blue = ((255 - (color >> 8 & 0xFF)) * (255 - (color & 0xFF)) + 127) / 255;
  return 0xFF000000 | red << 16 | green << 8 | blue;
}
