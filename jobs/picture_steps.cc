// SPDX-License-Identifier: MIT
// Each step makes a new bitmap, whose size is looked at before memory is taken.
#include "picture_steps.h"

#include "error.h"
#include "picture_turn.h"

#include <tovkit/imaging.h>
#include <tovmx/codec.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

namespace jobs {

namespace {

std::string SizeText(CoreSize size) {
  return std::to_string(size.width) + " x " + std::to_string(size.height);
}

CoreSize SizeOf(const CoreDib& picture) { return {picture.GetWidth(), picture.GetHeight()}; }

void CheckLimit(CoreSize size, int bits, const std::string& place) {
  const std::uint64_t bytes = CoreDib::BytesNeeded(size.width, size.height, bits);
  if (bytes != 0 && bytes <= CoreCodecRegistry::Get().GetPixelLimit()) return;
  throw Error(ErrorKind::kLimit, place, "a picture of " + SizeText(size) + " pixels is too large");
}

}  // namespace

CoreDib Cropped(const CoreDib& picture, CoreRect rect, const std::string& place) {
  const std::string asked = std::to_string(rect.left) + "," + std::to_string(rect.top) + "," +
                            std::to_string(rect.right) + "," + std::to_string(rect.bottom);
  if (rect.left > rect.right) std::swap(rect.left, rect.right);
  if (rect.top > rect.bottom) std::swap(rect.top, rect.bottom);
  const CoreSize own = SizeOf(picture);
  rect = {std::max(rect.left, 0), std::max(rect.top, 0), std::min(rect.right, own.width),
          std::min(rect.bottom, own.height)};
  if (rect.left >= rect.right || rect.top >= rect.bottom) {
    throw Error(ErrorKind::kInput, place,
                "cropped to " + asked + " nothing is left of " + SizeText(own) + " pixels");
  }
  CoreDib part = NewPictureLike(picture, rect.right - rect.left, rect.bottom - rect.top, place);
  const int bits = picture.GetBitsPerPixel();
  for (int y = 0; y < part.GetHeight(); ++y) {
    if (bits < 8) {
      for (int x = 0; x < part.GetWidth(); ++x) {
        CopyPackedPixel(picture, rect.left + x, rect.top + y, part, x, y);
      }
      continue;
    }
    const auto size = static_cast<std::size_t>(bits / 8);
    std::memcpy(part.GetRow(y), picture.GetRow(rect.top + y) + static_cast<std::size_t>(rect.left) * size,
                static_cast<std::size_t>(part.GetWidth()) * size);
  }
  return part;
}

CoreDib Resized(const CoreDib& picture, const ResizeStep& step, const std::string& place) {
  const CoreSize size = PixelsOf(step.size, SizeOf(picture));
  CheckLimit(size, 32, place);
  CoreDib resized;
  if (!CoreResample(picture, size.width, size.height, step.filter, resized)) {
    throw Error(ErrorKind::kLimit, place,
                "a picture of " + SizeText(size) + " pixels needs more memory than there is");
  }
  return resized;
}

namespace {

// One overload for each step.
struct Steps {
  CoreDib& picture;
  int& orientation;
  const std::string& place;

  void operator()(const EraseStep& step) const { tovkit::DeleteRectDib(&picture, step.rect); }
  void operator()(const CropStep& step) const { picture = Cropped(picture, step.rect, place); }
  void operator()(const ResizeStep& step) const { picture = Resized(picture, step, place); }
  void operator()(const UprightStep&) const {
    TurnUpright(picture, orientation, place);
    orientation = 1;
  }
};

}  // namespace

std::optional<CoreFilter> FindFilter(const std::string& name) {
  constexpr std::pair<const char*, CoreFilter> kFilters[] = {{"nearest", kCoreFilterNearest},
                                                             {"linear", kCoreFilterTriangle},
                                                             {"cubic", kCoreFilterCubic},
                                                             {"lanczos", kCoreFilterLanczos}};
  for (const auto& [known, filter] : kFilters) {
    if (name == known) return filter;
  }
  return std::nullopt;
}

void Apply(const PictureSteps& steps, CoreDib& picture, int orientation, const std::string& place) {
  for (const PictureStep& step : steps) std::visit(Steps{picture, orientation, place}, step);
}

void ToFullColor(CoreDib& picture, const std::string& place) {
  if (picture.GetBitsPerPixel() > 8) return;
  const int bits = picture.HasAlpha() ? 32 : 24;
  CheckLimit(SizeOf(picture), bits, place);
  CoreDib full;
  if (!full.Create(picture.GetWidth(), picture.GetHeight(), bits)) CheckLimit({0, 0}, bits, place);
  full.SetDpi(picture.GetDpiX(), picture.GetDpiY());
  for (int y = 0; y < full.GetHeight(); ++y) {
    std::uint8_t* out = full.GetRow(y);
    for (int x = 0; x < full.GetWidth(); ++x) {
      const std::uint32_t argb = picture.GetArgb(x, y);
      for (int shift = 0; shift < bits; shift += 8) *out++ = static_cast<std::uint8_t>(argb >> shift);
    }
  }
  picture = std::move(full);
}

}  // namespace jobs
