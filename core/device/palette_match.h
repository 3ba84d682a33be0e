// SPDX-License-Identifier: MIT
// PaletteMatch: the entry of a palette that is nearest to a color.
#pragma once

#include "tovmx/dib.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace tovmx {

class PaletteMatch {
 public:
  // Precondition: the bitmap has a palette. What is known of other palettes is forgotten.
  void Use(const CoreDib& bitmap);

  // Of entries that are equally near the first. The alpha of the color does not count.
  std::uint8_t Nearest(std::uint32_t argb) {
    Answer& answer = answers_[(argb & 0xFFFFFF) * 0x9E3779B1U >> (32 - kAnswerBits)];
    const std::uint32_t color = argb | 0xFF000000;
    if (answer.color != color) answer = {color, Search(color)};
    return answer.index;
  }

 private:
  static constexpr int kAnswerBits = 12;
  static constexpr std::size_t kMostEntries = 256;

  // Found before; color 0, which no opaque color is, for none.
  struct Answer {
    std::uint32_t color = 0;
    std::uint8_t index = 0;
  };

  std::uint8_t Search(std::uint32_t argb) const;

  // Red and green of an entry, and its blue beside a 0: halves of a word that are multiplied together.
  alignas(16) std::array<std::int16_t, 2 * kMostEntries> redGreen_{};
  alignas(16) std::array<std::int16_t, 2 * kMostEntries> blue_{};
  std::array<std::uint32_t, kMostEntries> entries_{};
  int count_ = 0;
  std::array<Answer, 1 << kAnswerBits> answers_{};
};

}  // namespace tovmx
