// SPDX-License-Identifier: MIT
// ShapedLine: one line of text as positioned glyphs, ready to be painted at any size.
//
// Lines are shaped at kReferenceSize pixels to the em, without hinting, so that the same glyphs stand at the
// same places on every device; a device scales them.
#pragma once

#include "font/handles.h"
#include "geometry/box.h"
#include "tovmx/font.h"

#include <cairo.h>
#include <pango/pango.h>

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace tovmx {

inline constexpr double kReferenceSize = 64.0;

using PangoFontPtr = GObjectPtr<PangoFont>;
using ScaledFontPtr = std::unique_ptr<cairo_scaled_font_t, Release<cairo_scaled_font_destroy>>;

// Glyphs of one font in the order in which they stand from left to right.
struct GlyphRun {
  ScaledFontPtr font;
  PangoFontPtr face;       // the same font, which knows where it comes from
  std::string text;        // UTF-8
  std::size_t offset = 0;  // of the text in the line's drawable text
  int script = 0;          // a GUnicodeScript
  std::vector<cairo_glyph_t> glyphs;
  std::vector<cairo_text_cluster_t> clusters;
  bool backward = false;  // the clusters run from right to left
  double left = 0;        // from this place of the pen
  double right = 0;       // to this one
  Box reach;              // what any glyph may paint, relative to its own origin
  HbFacePtr pictures;     // the font, when it has pictures for its glyphs; otherwise null
};

// Boxes are in reference pixels, from the left end of the baseline.
struct ShapedLine {
  std::vector<GlyphRun> runs;
  Box ink;
  Box logical;
  std::size_t glyphCount = 0;
  bool isWhole = true;  // else the file of a font cannot be read now, and its glyphs are missing
  mutable std::unique_ptr<const CoreTextDescription> told;  // what was told of it, at kReferenceSize
};

}  // namespace tovmx
