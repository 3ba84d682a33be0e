/// \file
/// CoreColorSpace: which components a packed colour holds.
#pragma once

#include <cstdint>

enum CoreColorSpaceKind : std::uint32_t {
  kCoreColorGray = 1,
  kCoreColorRgb = 2,
  kCoreColorCmyk = 3,
};

struct CoreColorSpace {
  std::uint32_t kind = kCoreColorRgb;
};
