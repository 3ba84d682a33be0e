// SPDX-License-Identifier: MIT
// CoreCanvas: the painting behind every device of this core, over a Cairo surface.
#pragma once

#include "font/color_pictures.h"
#include "font/handles.h"
#include "font/shaped_line.h"
#include "tovmx/device.h"

#include <cmath>
#include <cstdint>

namespace tovmx {

inline bool IsFinite(const CoreMatrix& m) {
  return std::isfinite(m.a) && std::isfinite(m.b) && std::isfinite(m.c) && std::isfinite(m.d) &&
         std::isfinite(m.e) && std::isfinite(m.f);
}

// Makes a straight color, 0xAARRGGBB, the one to paint with.
inline void SetSource(cairo_t* cairo, std::uint32_t argb) {
  const auto part = [argb](int shift) { return static_cast<double>(argb >> shift & 0xFF) / 255.0; };
  cairo_set_source_rgba(cairo, part(16), part(8), part(0), part(24));
}

// From device units to surface units.
inline cairo_matrix_t PlaceOf(const CoreMatrix& matrix, double scale) {
  return {matrix.a * scale, matrix.b * scale, matrix.c * scale,
          matrix.d * scale, matrix.e * scale, matrix.f * scale};
}

}  // namespace tovmx

class CoreCanvas {
 public:
  // The size is in surface units; `scale` is how many of them make a device unit. A canvas without a surface
  // has failed.
  CoreCanvas(tovmx::CairoSurfacePtr surface, double width, double height, double scale);
  virtual ~CoreCanvas();
  CoreCanvas(const CoreCanvas&) = delete;
  CoreCanvas& operator=(const CoreCanvas&) = delete;

  bool DrawText(const wchar_t* characters, int count, const CoreFontLoader& fonts, const CoreMatrix& matrix,
                std::uint32_t argb, float pixelSize);
  bool FillPath(const CorePath& path, CoreFillMode fillMode, const CoreMatrix& matrix, std::uint32_t argb);
  bool StrokePath(const CorePath& path, float width, const CoreMatrix& matrix, std::uint32_t argb);
  virtual bool FillPage(std::uint32_t argb);
  virtual bool Flush();
  // Ends the page of a document and starts one of another size, in surface units.
  bool NextPage(double width, double height);
  // Ends the page; nothing can be drawn afterwards.
  virtual bool Finish();
  bool IsGood() const noexcept;

 protected:
  cairo_surface_t* Surface() const noexcept { return surface_.get(); }

  // Lets go of the surface, which may still write what it holds.
  void Release() noexcept;

  // Goes on with another surface of the same size. The path, if there is one, goes along.
  void Replace(tovmx::CairoSurfacePtr surface);

 private:
  // Called before what lies beneath the ink is painted on. Returns whether the canvas is good.
  virtual bool Prepare(const tovmx::Box& /*ink*/) { return IsGood(); }

  void PaintRuns(const tovmx::ShapedLine& line, const cairo_matrix_t& place, bool wholeLineVisible);
  void PaintOutlines(const tovmx::ShapedLine& line, const cairo_matrix_t& place);
  void PaintOutline(cairo_scaled_font_t* font, const cairo_glyph_t& glyph, const cairo_matrix_t& place);
  void PaintPictures(const tovmx::GlyphRun& run, const cairo_matrix_t& place);
  [[nodiscard]] bool PaintPicture(hb_face_t* face, const cairo_glyph_t& glyph, const cairo_matrix_t& place);
  void SetInvisibleFont();
  void WriteText(const tovmx::GlyphRun& run);
  // Makes the path, mapped to the surface, Cairo's own. False, and Cairo has none, for one that cannot be
  // drawn.
  [[nodiscard]] bool TakePath(const CorePath& path, const CoreMatrix& matrix);

  tovmx::CairoSurfacePtr surface_;
  tovmx::CairoPtr cairo_;
  tovmx::Box page_;
  double scale_;
  bool keepsText_;  // the surface writes characters, so none may be left out
  bool isImage_;
  std::vector<cairo_glyph_t> visible_;
  tovmx::CairoFontFacePtr invisibleFont_;
  tovmx::ColorPictures documentPictures_;  // a document holds each of its pictures once, to its end
};
