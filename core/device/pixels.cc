// SPDX-License-Identifier: MIT
// Cairo paints premultiplied pixels of 32 bits; a bitmap of any other form is translated to such a surface
// and back. Back, only pixels that changed are written, so that what nobody painted on stays as it was to
// the bit, although the way there and back would round it.
#include "device/pixels.h"

#include "pixel/color.h"
#include "pixel/packed_index.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

namespace tovmx {

namespace {

std::uint32_t Component(std::uint32_t pixel, int shift) { return pixel >> shift & 0xFF; }

// The palette's entry that is nearest in color; of equals the first.
std::uint32_t NearestEntry(const CoreDib& bitmap, std::uint32_t argb) {
  int best = 0;
  int bestDistance = -1;
  for (int i = 0; i < bitmap.GetPaletteSize(); ++i) {
    const std::uint32_t entry = bitmap.GetPaletteEntry(i);
    const auto difference = [=](int shift, int entryShift) {
      const int d = static_cast<int>(Component(argb, shift)) - static_cast<int>(Component(entry, entryShift));
      return d * d;
    };
    const int distance = difference(16, 0) + difference(8, 8) + difference(0, 16);
    if (bestDistance >= 0 && distance >= bestDistance) continue;
    best = i;
    bestDistance = distance;
  }
  return static_cast<std::uint32_t>(best);
}

// The bitmap's own number for a color.
class Translator {
 public:
  explicit Translator(const CoreDib& bitmap) : bitmap_(bitmap) {}

  std::uint32_t operator()(std::uint32_t argb) {
    if (argb == lastColor_ && known_) return lastValue_;
    known_ = true;
    lastColor_ = argb;
    const int bits = bitmap_.GetBitsPerPixel();
    if (bits >= 24) {
      lastValue_ = argb;
    } else if (bitmap_.GetPaletteSize() > 0) {
      lastValue_ = NearestEntry(bitmap_, argb);
    } else {
      const std::uint32_t top = (1U << bits) - 1;
      lastValue_ = (tovmx::GrayOf(argb) * top + 127) / 255;
    }
    return lastValue_;
  }

 private:
  const CoreDib& bitmap_;
  bool known_ = false;
  std::uint32_t lastColor_ = 0;
  std::uint32_t lastValue_ = 0;
};

void SetPixel(std::uint8_t* row, int x, int bits, std::uint32_t value) {
  const auto column = static_cast<std::size_t>(x);
  if (bits == 32) {
    std::memcpy(row + column * 4, &value, 4);
  } else if (bits == 24) {
    std::memcpy(row + column * 3, &value, 3);
  } else {
    tovmx::SetPackedIndex(row, column, static_cast<unsigned>(bits), value);
  }
}

std::uint32_t* SurfaceRow(cairo_surface_t* surface, int y) {
  const auto stride = static_cast<std::size_t>(cairo_image_surface_get_stride(surface));
  void* row = cairo_image_surface_get_data(surface) + stride * static_cast<std::size_t>(y);
  return static_cast<std::uint32_t*>(row);
}

int Edge(double value, int limit) { return static_cast<int>(std::clamp(value, 0.0, double(limit))); }

}  // namespace

bool IsOpaque32(const CoreDib& bitmap) {
  if (bitmap.GetBitsPerPixel() != 32) return false;
  for (int y = 0; y < bitmap.GetHeight(); ++y) {
    const std::uint8_t* row = bitmap.GetRow(y);
    std::uint8_t all = 255;
    for (int x = 0; x < bitmap.GetWidth(); ++x) all &= row[static_cast<std::size_t>(x) * 4 + 3];
    if (all != 255) return false;
  }
  return true;
}

void LoadPixels(const CoreDib& bitmap, cairo_surface_t* surface) {
  for (int y = 0; y < bitmap.GetHeight(); ++y) {
    std::uint32_t* row = SurfaceRow(surface, y);
    for (int x = 0; x < bitmap.GetWidth(); ++x) row[x] = Premultiplied(bitmap.GetArgb(x, y));
  }
  cairo_surface_mark_dirty(surface);
}

void StorePixels(cairo_surface_t* surface, const Box& area, CoreDib& bitmap) {
  // One pixel more on each side: antialiasing reaches past the outline.
  const int left = Edge(std::floor(area.left) - 1, bitmap.GetWidth());
  const int right = Edge(std::ceil(area.right) + 1, bitmap.GetWidth());
  const int top = Edge(std::floor(area.top) - 1, bitmap.GetHeight());
  const int bottom = Edge(std::ceil(area.bottom) + 1, bitmap.GetHeight());
  Translator translate(bitmap);
  for (int y = top; y < bottom; ++y) {
    const std::uint32_t* from = SurfaceRow(surface, y);
    std::uint8_t* to = bitmap.GetRow(y);
    for (int x = left; x < right; ++x) {
      if (from[x] == Premultiplied(bitmap.GetArgb(x, y))) continue;
      SetPixel(to, x, bitmap.GetBitsPerPixel(), translate(Straight(from[x])));
    }
  }
}

}  // namespace tovmx
