// SPDX-License-Identifier: MIT
// ColorPictures: the pictures that a font holds in the place of outlines, as emoji fonts do.
//
// Such a font has its pictures in one size (OpenType's CBDT and sbix tables), which a device scales to any
// other. What was read is kept for the next time. Thread-safety: belongs to one thread.
#pragma once

#include "font/handles.h"
#include "font/shaped_line.h"

#include <cairo.h>
#include <hb.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <utility>

namespace tovmx {

// In reference pixels, relative to the glyph's origin.
struct ColorPicture {
  CairoSurfacePtr image;
  Box frame;  // of the whole image
};

class ColorPictures {
 public:
  // Keeps images of about `maxBytes` bytes; those that are handed to a document are in its memory anyway.
  explicit ColorPictures(std::size_t maxBytes) : maxBytes_(maxBytes) {}

  // True when the font has pictures, for some of its glyphs at least.
  static bool HasPictures(hb_face_t* face);

  // What the glyph's picture paints; empty when the picture is blank, and null when there is none. Valid
  // until Clear.
  const Box* InkOf(hb_face_t* face, hb_codepoint_t glyph);

  // The glyph's picture with its alpha scaled by `opacity` / 255; null when there is none. Valid until the
  // next call.
  const ColorPicture* Find(hb_face_t* face, hb_codepoint_t glyph, std::uint8_t opacity = 255);

  void Clear();

 private:
  using Glyph = std::pair<hb_face_t*, hb_codepoint_t>;
  struct Ink {
    bool hasPicture = false;
    Box box;
  };

  void Hold(hb_face_t* face);

  std::size_t maxBytes_;
  std::size_t bytes_ = 0;
  std::map<hb_face_t*, HbFacePtr> faces_;  // so that no other face takes the address of a key
  std::map<std::pair<Glyph, std::uint8_t>, ColorPicture> pictures_;
  std::map<Glyph, Ink> inks_;
};

}  // namespace tovmx
