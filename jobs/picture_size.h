// SPDX-License-Identifier: MIT
// The size that a picture is to have, as people write it.
#pragma once

#include <tovmx/geometry.h>

#include <optional>
#include <string>

namespace jobs {

struct PictureSize {
  CoreSize pixels;     // a side of 0 keeps the proportions
  double percent = 0;  // above 0 in place of pixels
};

// "800x600", "800x", "x600" or "50%": whole pixels from 1 on, or a decimal number above 0. Nothing for any
// other text.
[[nodiscard]] std::optional<PictureSize> ParsePictureSize(const std::string& text);

// The pixels of a picture of the size `own` that gets this one: rounded, and at least 1.
CoreSize PixelsOf(const PictureSize& size, CoreSize own);

}  // namespace jobs
