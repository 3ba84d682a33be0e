// SPDX-License-Identifier: MIT
// Two spellings of a color: hexadecimal digits behind "#", whose number decides the color space, or decimal
// numbers, whose count does.
#include "tovkit/imaging.h"

#include <tovmx/color_space.h>

#include <array>
#include <cctype>
#include <cstddef>
#include <cstdlib>
#include <cstring>

namespace tovkit {

namespace {

constexpr int kNoDigit = -1;

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return kNoDigit;
}

// The byte of two digits. A bad first digit sets all bits above the low half-byte, a bad second one sets all.
//
// Compatibility: the extra ones spill into the bytes above.
std::uint32_t HexPair(const char* text) {
  constexpr std::uint32_t kBadHigh = 0xFFFFFFF0;  // -16
  constexpr std::uint32_t kBadLow = 0xFFFFFFFF;   // -1
  const int high = HexDigit(text[0]);
  const int low = HexDigit(text[1]);
  if (low == kNoDigit) return kBadLow;
  if (high == kNoDigit) return kBadHigh;
  return static_cast<std::uint32_t>(high * 16 + low);
}

std::uint32_t PackGray(std::uint32_t g) { return g | g << 8 | g << 16; }
std::uint32_t PackRgb(std::uint32_t r, std::uint32_t g, std::uint32_t b) { return r | g << 8 | b << 16; }
std::uint32_t PackCmyk(std::uint32_t c, std::uint32_t m, std::uint32_t y, std::uint32_t k) {
  return c << 24 | m << 16 | y << 8 | k;
}

bool ParseHex(const char* digits, std::uint32_t& color, std::uint32_t& kind) {
  switch (std::strlen(digits)) {
    case 2:
      kind = kCoreColorGray;
      color = PackGray(HexPair(digits));
      return true;
    case 6:
      kind = kCoreColorRgb;
      color = PackRgb(HexPair(digits), HexPair(digits + 2), HexPair(digits + 4));
      return true;
    case 8:
      kind = kCoreColorCmyk;
      color = PackCmyk(HexPair(digits), HexPair(digits + 2), HexPair(digits + 4), HexPair(digits + 6));
      return true;
    default:
      return false;
  }
}

// No color has as many numbers, so further ones need not be read.
constexpr std::size_t kTooMany = 5;

struct Numbers {
  std::array<int, kTooMany> values{};
  std::size_t count = 0;
};

// Reads the first five numbers, which are divided by spaces. Allocates nothing, since memory may be short.
Numbers ReadNumbers(const char* text) {
  Numbers numbers;
  while (*text != '\0' && numbers.count < kTooMany) {
    // A long beyond 32 bits keeps its low half.
    numbers.values[numbers.count++] = static_cast<int>(std::strtol(text, nullptr, 10));
    while (*text != '\0' && *text != ' ') ++text;
    while (*text == ' ') ++text;
  }
  return numbers;
}

bool ParseNumbers(const char* text, std::uint32_t& color, std::uint32_t& kind) {
  while (std::isspace(static_cast<unsigned char>(*text)) != 0) ++text;
  const Numbers numbers = ReadNumbers(text);
  const auto number = [&numbers](std::size_t index) {
    return static_cast<std::uint32_t>(numbers.values[index]);
  };
  switch (numbers.count) {
    case 1:
      kind = kCoreColorGray;
      color = PackGray(number(0));
      return true;
    case 3:
      kind = kCoreColorRgb;
      color = PackRgb(number(0), number(1), number(2));
      return true;
    case 4:
      kind = kCoreColorCmyk;
      color = PackCmyk(number(0), number(1), number(2), number(3));
      return true;
    default:
      return false;
  }
}

}  // namespace

bool ParseColor(const char* text, std::uint32_t& color, std::uint32_t& kind) {
  if (text == nullptr) return false;
  return *text == '#' ? ParseHex(text + 1, color, kind) : ParseNumbers(text, color, kind);
}

}  // namespace tovkit
