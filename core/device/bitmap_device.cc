// SPDX-License-Identifier: MIT
// CoreBitmapDevice: straight into an opaque 32-bit bitmap, through a premultiplied copy into every other.
#include "device/canvas.h"
#include "device/pixels.h"

#include <cmath>
#include <utility>

namespace {

bool IsUsable(const CoreDib* bitmap, float dpi) {
  return bitmap != nullptr && bitmap->GetBuffer() != nullptr && std::isfinite(dpi) && dpi > 0 &&
         bitmap->GetWidth() <= CoreBitmapDevice::kMaxSide &&
         bitmap->GetHeight() <= CoreBitmapDevice::kMaxSide;
}

// The surface to paint on; null when the bitmap cannot be drawn into or memory is short.
tovmx::CairoSurfacePtr SurfaceFor(CoreDib* bitmap, float dpi, bool direct) {
  if (!IsUsable(bitmap, dpi)) return nullptr;
  const int width = bitmap->GetWidth();
  const int height = bitmap->GetHeight();
  if (direct) {
    return tovmx::CairoSurfacePtr(cairo_image_surface_create_for_data(
        bitmap->GetBuffer(), CAIRO_FORMAT_ARGB32, width, height, bitmap->GetStride()));
  }
  tovmx::CairoSurfacePtr copy(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height));
  if (cairo_surface_status(copy.get()) != CAIRO_STATUS_SUCCESS) return nullptr;
  tovmx::LoadPixels(*bitmap, copy.get());
  return copy;
}

// A surface is measured in pixels. A bitmap that changes under the device is refused at the next Flush.
class BitmapCanvas final : public CoreCanvas {
 public:
  BitmapCanvas(CoreDib* bitmap, float dpi, bool direct)
      : CoreCanvas(SurfaceFor(bitmap, dpi, direct), bitmap == nullptr ? 0 : bitmap->GetWidth(),
                   bitmap == nullptr ? 0 : bitmap->GetHeight(), dpi / 96.0),
        bitmap_(bitmap),
        direct_(direct) {}

  // Through a copy from now on: the bitmap would get premultiplied colors.
  bool FillPage(std::uint32_t argb) override {
    if (direct_ && IsGood() && argb >> 24 != 255) {
      Replace(tovmx::CairoSurfacePtr(
          cairo_image_surface_create(CAIRO_FORMAT_ARGB32, bitmap_->GetWidth(), bitmap_->GetHeight())));
      direct_ = false;
    }
    return CoreCanvas::FillPage(argb);
  }

  bool Flush() override {
    if (!CoreCanvas::Flush()) return false;
    const tovmx::Box damage = TakeDamage();
    if (!direct_ && !damage.IsEmpty()) tovmx::StorePixels(Surface(), damage, *bitmap_);
    return true;
  }

 private:
  CoreDib* bitmap_;
  bool direct_;
};

std::unique_ptr<CoreCanvas> CanvasFor(CoreDib* bitmap, float dpi) {
  const bool direct = IsUsable(bitmap, dpi) && tovmx::IsOpaque32(*bitmap);
  return std::make_unique<BitmapCanvas>(bitmap, dpi, direct);
}

}  // namespace

CoreBitmapDevice::CoreBitmapDevice(CoreDib* bitmap, float dpi) : CorePageDevice(CanvasFor(bitmap, dpi)) {}
