// SPDX-License-Identifier: MIT
// A percentage, or two sides around an x of which one may be missing.
#include "picture_size.h"

#include "number_text.h"

#include <algorithm>
#include <charconv>
#include <climits>
#include <cmath>

namespace jobs {

namespace {

// A whole number from 1 on, 0 for an empty text, nothing for another.
std::optional<int> ParseSide(const std::string& text) {
  if (text.empty()) return 0;
  int side = 0;
  const char* const end = text.data() + text.size();
  const auto [behind, error] = std::from_chars(text.data(), end, side);
  if (error != std::errc() || behind != end || side < 1) return std::nullopt;
  return side;
}

int Rounded(double side) { return static_cast<int>(std::clamp(std::round(side), 1.0, double{INT_MAX})); }

}  // namespace

std::optional<PictureSize> ParsePictureSize(const std::string& text) {
  if (!text.empty() && text.back() == '%') {
    const std::optional<float> percent = ParseNumber(text.substr(0, text.size() - 1));
    if (!percent || !(*percent > 0)) return std::nullopt;
    return PictureSize{{}, static_cast<double>(*percent)};
  }
  const std::size_t cross = text.find_first_of("xX");
  if (cross == std::string::npos || text.size() == 1) return std::nullopt;
  const auto width = ParseSide(text.substr(0, cross));
  const auto height = ParseSide(text.substr(cross + 1));
  if (!width || !height) return std::nullopt;
  return PictureSize{{*width, *height}};
}

CoreSize PixelsOf(const PictureSize& size, CoreSize own) {
  if (size.percent > 0) {
    return {Rounded(own.width * size.percent / 100), Rounded(own.height * size.percent / 100)};
  }
  CoreSize pixels = size.pixels;
  if (pixels.width == 0) pixels.width = Rounded(static_cast<double>(pixels.height) * own.width / own.height);
  if (pixels.height == 0) pixels.height = Rounded(static_cast<double>(pixels.width) * own.height / own.width);
  return pixels;
}

}  // namespace jobs
