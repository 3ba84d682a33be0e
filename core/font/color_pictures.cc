// SPDX-License-Identifier: MIT
// HarfBuzz finds the pictures in the font's tables, Cairo decodes them as PNG. The head of each is looked
// at first: its size is foreign, and the memory for it is not yet taken.
#include "font/color_pictures.h"

#include <hb-ot.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>

namespace tovmx {

namespace {

constexpr std::uint32_t kMaxSide = 1024;  // of a picture; emoji fonts have at most 320

constexpr int kUnits = 1024;  // HarfBuzz counts in whole numbers, of which so many make a pixel

using HbBlobPtr = std::unique_ptr<hb_blob_t, Release<hb_blob_destroy>>;
using HbFontPtr = std::unique_ptr<hb_font_t, Release<hb_font_destroy>>;

std::uint32_t BigEndian(const char* bytes) {
  std::uint32_t value = 0;
  for (int i = 0; i < 4; ++i) value = value << 8 | static_cast<unsigned char>(bytes[i]);
  return value;
}

// Whether the bytes begin a PNG file whose pixels are worth the memory.
bool IsSmallPng(std::string_view png) {
  constexpr std::string_view kStart("\x89PNG\r\n\x1A\n\0\0\0\rIHDR", 16);
  if (png.size() < kStart.size() + 8 || png.substr(0, kStart.size()) != kStart) return false;
  const std::uint32_t width = BigEndian(png.data() + kStart.size());
  const std::uint32_t height = BigEndian(png.data() + kStart.size() + 4);
  return width >= 1 && width <= kMaxSide && height >= 1 && height <= kMaxSide;
}

cairo_status_t ReadText(void* text, unsigned char* data, unsigned int length) {
  auto& rest = *static_cast<std::string_view*>(text);
  if (rest.size() < length) return CAIRO_STATUS_READ_ERROR;
  std::memcpy(data, rest.data(), length);
  rest.remove_prefix(length);
  return CAIRO_STATUS_SUCCESS;
}

CairoSurfacePtr ReadPng(std::string_view png) {
  if (!IsSmallPng(png)) return nullptr;
  CairoSurfacePtr image(cairo_image_surface_create_from_png_stream(ReadText, &png));
  if (cairo_surface_status(image.get()) != CAIRO_STATUS_SUCCESS) return nullptr;
  return image;
}

ColorPicture ReadPicture(hb_face_t* face, hb_codepoint_t glyph) {
  ColorPicture picture;
  const HbFontPtr font(hb_font_create(face));
  const int scale = static_cast<int>(kReferenceSize) * kUnits;
  hb_font_set_scale(font.get(), scale, scale);
  const HbBlobPtr blob(hb_ot_color_glyph_reference_png(font.get(), glyph));
  unsigned int size = 0;
  const char* data = hb_blob_get_data(blob.get(), &size);
  hb_glyph_extents_t extents{};
  if (size == 0 || hb_font_get_glyph_extents(font.get(), glyph, &extents) == 0) return picture;
  const auto pixels = [](int units) { return static_cast<double>(units) / kUnits; };
  picture.frame.left = pixels(extents.x_bearing);
  picture.frame.top = -pixels(extents.y_bearing);
  picture.frame.right = picture.frame.left + pixels(extents.width);
  picture.frame.bottom = picture.frame.top - pixels(extents.height);
  if (!picture.frame.IsEmpty()) picture.image = ReadPng({data, size});
  return picture;
}

CairoSurfacePtr Faded(cairo_surface_t* image, std::uint8_t opacity) {
  CairoSurfacePtr faded(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, cairo_image_surface_get_width(image),
                                                   cairo_image_surface_get_height(image)));
  const CairoPtr cr(cairo_create(faded.get()));
  cairo_set_source_surface(cr.get(), image, 0, 0);
  cairo_paint_with_alpha(cr.get(), opacity / 255.0);
  return faded;
}

std::size_t BytesOf(cairo_surface_t* image) {
  return static_cast<std::size_t>(cairo_image_surface_get_stride(image)) *
         static_cast<std::size_t>(cairo_image_surface_get_height(image));
}

// The smallest box of the image's pixels that holds every one with ink; an opaque format is full of it.
Box PixelInkOf(cairo_surface_t* image) {
  const int width = cairo_image_surface_get_width(image);
  const int height = cairo_image_surface_get_height(image);
  if (cairo_image_surface_get_format(image) != CAIRO_FORMAT_ARGB32) {
    return {0, 0, double(width), double(height)};
  }
  Box ink;
  for (int y = 0; y < height; ++y) {
    const unsigned char* row = cairo_image_surface_get_data(image) +
                               static_cast<std::ptrdiff_t>(cairo_image_surface_get_stride(image)) * y;
    int first = width;
    int last = -1;
    for (int x = 0; x < width; ++x) {
      std::uint32_t pixel = 0;
      std::memcpy(&pixel, row + static_cast<std::ptrdiff_t>(x) * 4, 4);
      if (pixel >> 24 == 0) continue;
      first = std::min(first, x);
      last = x;
    }
    ink.Add({double(first), double(y), double(last + 1), double(y + 1)});
  }
  return ink;
}

// Scaling spreads the outermost pixels by half of one.
Box InkIn(const ColorPicture& picture) {
  const Box ink = PixelInkOf(picture.image.get());
  if (ink.IsEmpty()) return {};
  const Box& frame = picture.frame;
  const double x = (frame.right - frame.left) / cairo_image_surface_get_width(picture.image.get());
  const double y = (frame.bottom - frame.top) / cairo_image_surface_get_height(picture.image.get());
  return {frame.left + (ink.left - 0.5) * x, frame.top + (ink.top - 0.5) * y,
          frame.left + (ink.right + 0.5) * x, frame.top + (ink.bottom + 0.5) * y};
}

}  // namespace

bool ColorPictures::HasPictures(hb_face_t* face) { return hb_ot_color_has_png(face) != 0; }

void ColorPictures::Hold(hb_face_t* face) {
  if (faces_.find(face) == faces_.end()) faces_[face].reset(hb_face_reference(face));
}

const ColorPicture* ColorPictures::Find(hb_face_t* face, hb_codepoint_t glyph, std::uint8_t opacity) {
  const std::pair key(Glyph(face, glyph), opacity);
  if (const auto known = pictures_.find(key); known != pictures_.end()) return &known->second;
  ColorPicture picture = ReadPicture(face, glyph);
  if (picture.image == nullptr) return nullptr;
  if (opacity < 255) picture.image = Faded(picture.image.get(), opacity);
  const std::size_t bytes = BytesOf(picture.image.get());
  if (bytes_ + bytes > maxBytes_) {
    pictures_.clear();
    bytes_ = 0;
  }
  Hold(face);
  bytes_ += bytes;
  return &pictures_.emplace(key, std::move(picture)).first->second;
}

const Box* ColorPictures::InkOf(hb_face_t* face, hb_codepoint_t glyph) {
  const Glyph key(face, glyph);
  auto known = inks_.find(key);
  if (known == inks_.end()) {
    const ColorPicture* picture = Find(face, glyph);
    Hold(face);
    known = inks_.emplace(key, picture == nullptr ? Ink{} : Ink{true, InkIn(*picture)}).first;
  }
  return known->second.hasPicture ? &known->second.box : nullptr;
}

void ColorPictures::Clear() {
  pictures_.clear();
  inks_.clear();
  faces_.clear();
  bytes_ = 0;
}

}  // namespace tovmx
