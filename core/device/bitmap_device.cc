// SPDX-License-Identifier: MIT
// CoreBitmapDevice: straight into a bitmap of 32 bits while all that is painted on is opaque, through a
// premultiplied copy into every other. Of a large page only the tiles that something reaches are looked at:
//
//     straight   a tile is ready when its pixels were found opaque; the first that are not begin the copy
//     copy       a tile is ready when the copy has its pixels, those of the bitmap or of the last FillPage
#include "device/canvas.h"
#include "device/copy_surface.h"
#include "device/pixels.h"
#include "device/tiles.h"

#include <cmath>
#include <memory>
#include <optional>

namespace {

using tovmx::Box;
using tovmx::PixelArea;

// How far antialiasing reaches past an outline, in pixels, and how far what it may read and blend with.
constexpr int kPaintedBeyond = 1;
constexpr int kReadyBeyond = 4;

bool IsUsable(const CoreDib* bitmap, float dpi) {
  return bitmap != nullptr && bitmap->GetBuffer() != nullptr && std::isfinite(dpi) && dpi > 0 &&
         bitmap->GetWidth() <= CoreBitmapDevice::kMaxSide &&
         bitmap->GetHeight() <= CoreBitmapDevice::kMaxSide;
}

tovmx::CairoSurfacePtr SurfaceOver(CoreDib& bitmap) {
  return tovmx::CairoSurfacePtr(cairo_image_surface_create_for_data(
      bitmap.GetBuffer(), CAIRO_FORMAT_ARGB32, bitmap.GetWidth(), bitmap.GetHeight(), bitmap.GetStride()));
}

tovmx::CairoSurfacePtr CopyOf(const CoreDib& bitmap) {
  return tovmx::CopySurface::Make(bitmap.GetWidth(), bitmap.GetHeight());
}

// The color that Cairo paints for a straight one, premultiplied.
std::uint32_t PaintedColor(std::uint32_t argb) {
  std::uint32_t pixel = 0;
  auto* bytes = static_cast<unsigned char*>(static_cast<void*>(&pixel));
  const tovmx::CairoSurfacePtr surface(
      cairo_image_surface_create_for_data(bytes, CAIRO_FORMAT_ARGB32, 1, 1, sizeof pixel));
  const tovmx::CairoPtr cairo(cairo_create(surface.get()));
  tovmx::SetSource(cairo.get(), argb);
  cairo_set_operator(cairo.get(), CAIRO_OPERATOR_SOURCE);
  cairo_paint(cairo.get());
  cairo_surface_flush(surface.get());
  return pixel;
}

// A surface is measured in pixels.
class BitmapCanvas final : public CoreCanvas {
 public:
  BitmapCanvas(CoreDib& bitmap, float dpi)
      : CoreCanvas(bitmap.GetBitsPerPixel() == 32 ? SurfaceOver(bitmap) : CopyOf(bitmap), bitmap.GetWidth(),
                   bitmap.GetHeight(), dpi / 96.0),
        bitmap_(bitmap),
        isStraight_(bitmap.GetBitsPerPixel() == 32),
        tiles_(bitmap.GetWidth(), bitmap.GetHeight()),
        exchange_(bitmap) {}

  bool FillPage(std::uint32_t argb) override {
    if (!IsGood()) return false;
    damage_.Clear();
    if (bitmap_.GetBitsPerPixel() == 32 && argb >> 24 == 255) {
      if (!isStraight_) Replace(SurfaceOver(bitmap_));
      isStraight_ = true;
      background_.reset();
      isBackgroundNew_ = false;
      tiles_.SetAll(true);
      return CoreCanvas::FillPage(argb);
    }
    if (isStraight_) BeginCopy();
    background_ = PaintedColor(argb);
    isBackgroundNew_ = true;
    tiles_.SetAll(false);
    return IsGood();
  }

  bool Flush() override {
    if (!CoreCanvas::Flush()) return false;
    if (isStraight_) return true;
    exchange_.ReadPalette();
    if (isBackgroundNew_) exchange_.StoreEverywhere(*background_);
    isBackgroundNew_ = false;
    // Between the areas that became one there may be tiles that nobody has painted on.
    const auto store = [this](const PixelArea& part) { exchange_.Store(Surface(), part); };
    for (const PixelArea& area : damage_) tiles_.ForEachReady(area, store);
    damage_.Clear();
    return true;
  }

 private:
  bool Prepare(const Box& ink) override {
    const auto pixels = [&](int margin) {
      return tovmx::PixelsOf(ink, margin, bitmap_.GetWidth(), bitmap_.GetHeight());
    };
    const PixelArea area = pixels(kReadyBeyond);
    if (area.IsEmpty()) return IsGood();
    const auto isOpaque = [this](const PixelArea& tile) { return tovmx::IsOpaque(bitmap_, tile); };
    if (isStraight_) {
      if (tiles_.MakeReady(area, isOpaque)) return IsGood();
      BeginCopy();
      if (!IsGood()) return false;
    }
    LoadTiles(area);
    damage_.Add(pixels(kPaintedBeyond));
    return IsGood();
  }

  // What was painted so far is in the bitmap, from where the tiles come.
  void BeginCopy() {
    isStraight_ = false;
    Replace(CopyOf(bitmap_));
    tiles_.SetAll(false);
  }

  void LoadTiles(const PixelArea& area) {
    bool loads = false;
    const bool loaded = tiles_.MakeReady(area, [this, &loads](const PixelArea& tile) {
      if (!loads) {
        exchange_.ReadPalette();
        cairo_surface_flush(Surface());
      }
      loads = true;
      tovmx::CopySurface::Touch(Surface(), tile.top, tile.bottom);
      if (background_.has_value()) {
        tovmx::FillPixels(Surface(), tile, *background_);
      } else {
        exchange_.Load(tile, Surface());
      }
      return true;
    });
    if (loaded && loads) cairo_surface_mark_dirty(Surface());
  }

  CoreDib& bitmap_;
  bool isStraight_;
  tovmx::Tiles tiles_;
  tovmx::PixelExchange exchange_;
  tovmx::Damage damage_;                     // of the copy since the last Flush
  std::optional<std::uint32_t> background_;  // what the copy has where no tile is ready; else the bitmap
  bool isBackgroundNew_ = false;             // the bitmap does not have it yet
};

std::unique_ptr<CoreCanvas> CanvasFor(CoreDib* bitmap, float dpi) {
  if (!IsUsable(bitmap, dpi)) return std::make_unique<CoreCanvas>(nullptr, 0, 0, 1);
  return std::make_unique<BitmapCanvas>(*bitmap, dpi);
}

}  // namespace

CoreBitmapDevice::CoreBitmapDevice(CoreDib* bitmap, float dpi) : CorePageDevice(CanvasFor(bitmap, dpi)) {}
