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
