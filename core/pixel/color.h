// SPDX-License-Identifier: MIT
// Color arithmetic on bytes, each operation in one place. All of it rounds to the nearest integer.
//
// A packed color here is 0xAARRGGBB. Straight color is independent of alpha; premultiplied color is
// multiplied by alpha / 255, so that no component is greater than alpha. A pixel of alpha 0 has no color: it
// is 0 in both forms.
#pragma once

#include <algorithm>
#include <array>
#include <cassert>
#include <cstdint>

namespace tovmx {

// a * b / 255. There are no ties: 255 is odd.
constexpr std::uint8_t MultiplyBytes(unsigned a, unsigned b) noexcept {
  assert(a <= 255 && b <= 255);
  return static_cast<std::uint8_t>((a * b + 127) / 255);
}

// The light that an ink and black leave of red, green or blue: cyan takes red, magenta green, yellow blue.
// CMYK without a profile.
constexpr std::uint8_t LightBehindInk(unsigned ink, unsigned black) noexcept {
  return MultiplyBytes(255 - ink, 255 - black);
}

// A sample of 0 to `most` as one of 0 to 255. Precondition: most is 1 to 2^55.
constexpr std::uint8_t ByteOfSample(std::uint64_t sample, std::uint64_t most) noexcept {
  assert(most != 0 && sample <= most);
  return static_cast<std::uint8_t>((sample * 255 + most / 2) / most);
}

// A straight component over white.
constexpr std::uint8_t OverWhite(unsigned component, unsigned alpha) noexcept {
  return static_cast<std::uint8_t>((component * alpha + 255 * (255 - alpha) + 127) / 255);
}

// 2^32 / alpha, rounded up: a multiplication divides by it without a rest for what bytes can be.
inline constexpr std::array<std::uint64_t, 256> kOverAlpha = [] {
  std::array<std::uint64_t, 256> factors{};
  for (std::uint64_t alpha = 1; alpha < 256; ++alpha)
    factors[alpha] = ((std::uint64_t{1} << 32) + alpha - 1) / alpha;
  return factors;
}();

// A premultiplied component made straight; one that is greater than alpha counts as alpha. Precondition:
// alpha is not 0.
constexpr std::uint8_t DivideByAlpha(unsigned component, unsigned alpha) noexcept {
  assert(alpha != 0 && alpha <= 255 && component <= 255);
  return static_cast<std::uint8_t>(
      std::min(std::uint64_t{255}, (component * 255 + alpha / 2) * kOverAlpha[alpha] >> 32));
}

constexpr std::uint32_t Premultiplied(std::uint32_t argb) noexcept {
  const std::uint32_t alpha = argb >> 24;
  if (alpha == 255) return argb;
  const auto part = [=](int shift) {
    return std::uint32_t{MultiplyBytes(argb >> shift & 0xff, alpha)} << shift;
  };
  return alpha << 24 | part(16) | part(8) | part(0);
}

constexpr std::uint32_t Straight(std::uint32_t premultiplied) noexcept {
  const std::uint32_t alpha = premultiplied >> 24;
  if (alpha == 255) return premultiplied;
  if (alpha == 0) return 0;
  const auto part = [=](int shift) {
    return std::uint32_t{DivideByAlpha(premultiplied >> shift & 0xff, alpha)} << shift;
  };
  return alpha << 24 | part(16) | part(8) | part(0);
}

// The gray level of a color, alpha aside: the weights of ITU-R BT.601 in 1/256.
constexpr std::uint32_t GrayOf(std::uint32_t argb) noexcept {
  return (77 * (argb >> 16 & 0xff) + 150 * (argb >> 8 & 0xff) + 29 * (argb & 0xff) + 128) >> 8;
}

}  // namespace tovmx
