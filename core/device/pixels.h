// SPDX-License-Identifier: MIT
// Pixels between a bitmap of any depth and a premultiplied Cairo surface of the same size.
#pragma once

#include "device/damage.h"
#include "device/palette_match.h"
#include "tovmx/dib.h"

#include <cairo.h>

#include <array>
#include <cstdint>
#include <memory>

namespace tovmx {

// True when every pixel of the area, of a bitmap of 32 bits, has an alpha of 255: straight and premultiplied
// are then the same.
bool IsOpaque(const CoreDib& bitmap, const PixelArea& area) noexcept;

// One color, premultiplied, for the pixels of the surface inside the area.
void FillPixels(cairo_surface_t* surface, const PixelArea& area, std::uint32_t color) noexcept;

// Areas lie inside the bitmap, whose size and depth stay as they are.
class PixelExchange {
 public:
  // The bitmap must outlive the exchange.
  explicit PixelExchange(CoreDib& bitmap);

  // Takes the bitmap's palette for the calls that follow.
  void ReadPalette();

  // Makes the surface's pixels inside the area those of the bitmap.
  void Load(const PixelArea& area, cairo_surface_t* surface);

  // Writes the surface's pixels inside the area that differ from the bitmap's own; the rest keep their bits.
  void Store(cairo_surface_t* surface, const PixelArea& area);

  // Stores one color, premultiplied, in the whole bitmap.
  void StoreEverywhere(std::uint32_t color);

 private:
  std::uint32_t ValueOf(std::uint32_t premultiplied);
  void StoreRow(const std::uint32_t* from, std::uint8_t* row, int left, int right);
  template <unsigned bits>
  void StoreIndices(const std::uint32_t* from, std::uint8_t* row, int left, int right);

  CoreDib& bitmap_;
  const int bits_;
  std::array<std::uint32_t, 256> colors_{};  // of indices and gray levels, premultiplied
  std::unique_ptr<PaletteMatch> match_;      // null while there is no palette
};

}  // namespace tovmx
