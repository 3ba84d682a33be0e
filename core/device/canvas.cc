// SPDX-License-Identifier: MIT
// How a line of text is put on a surface. The canvas decides three ways:
//
//     a glyph with a picture       the picture, scaled; in documents its characters too, without ink
//     in reach and of usual size   Cairo's glyphs, which it caches; in documents text that can be searched
//     huge, or far out             outlines, glyph by glyph, of those that meet the page
//
// Nothing is drawn that cannot be seen, but where the surface keeps text, all of a line that meets the page
// is written.
#include "device/canvas.h"

#include "font/text_shaper.h"

#include <cairo-pdf.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

using tovmx::Box;

namespace {

// Ems in surface units. Smaller text is no more than dust, larger text would leave Cairo's number range.
constexpr double kSmallestEm = 1.0 / 64;
constexpr double kLargestEm = 100000;

// From here on glyphs are filled as outlines: a picture of each would take more memory than the page.
constexpr double kLargestPicture = 256;
constexpr double kLargestPrinted = 4096;

// Outlines are taken at this size and magnified; Cairo rounds them to 1/256.
constexpr double kOutlineEm = 4096;

// Lines that reach further are drawn glyph by glyph where they meet the page.
constexpr double kFarthest = 100000;

Box Transform(const cairo_matrix_t& m, const Box& box) {
  double x[4] = {box.left, box.right, box.left, box.right};
  double y[4] = {box.top, box.top, box.bottom, box.bottom};
  for (int i = 0; i < 4; ++i) cairo_matrix_transform_point(&m, &x[i], &y[i]);
  return {*std::min_element(x, x + 4), *std::min_element(y, y + 4), *std::max_element(x, x + 4),
          *std::max_element(y, y + 4)};
}

// The longest and the shortest radius of the ellipse that the map makes of the unit circle.
struct Stretch {
  double most;
  double least;
};

Stretch StretchOf(const cairo_matrix_t& m) {
  const double sum = std::hypot(m.xx + m.yy, m.yx - m.xy);
  const double difference = std::hypot(m.xx - m.yy, m.yx + m.xy);
  return {(sum + difference) / 2, std::fabs(sum - difference) / 2};
}

// From reference pixels to surface units.
cairo_matrix_t PlaceOf(const CoreMatrix& matrix, double textScale, double surfaceScale) {
  const double linear = textScale * surfaceScale;
  return {matrix.a * linear, matrix.b * linear,       matrix.c * linear,
          matrix.d * linear, matrix.e * surfaceScale, matrix.f * surfaceScale};
}

// The run's glyphs that may paint on the page.
void CollectVisible(const tovmx::GlyphRun& run, const cairo_matrix_t& place, const Box& page,
                    std::vector<cairo_glyph_t>& visible) {
  visible.clear();
  for (const cairo_glyph_t& glyph : run.glyphs) {
    if (page.Intersects(Transform(place, run.reach.Moved(glyph.x, glyph.y)))) visible.push_back(glyph);
  }
}

// A glyph without ink: what a reader finds when it looks for the text of a picture. Readers that know nothing
// of such a font's size guess it from the widths of letters, about half an em.
constexpr double kInvisibleAdvance = 0.5;
constexpr double kPictureAdvance = 1.245;  // of an em, in most emoji fonts

cairo_status_t PaintNothing(cairo_scaled_font_t* /*font*/, unsigned long /*glyph*/, cairo_t* /*cairo*/,
                            cairo_text_extents_t* extents) {
  *extents = {0, -0.75, kInvisibleAdvance, 1, kInvisibleAdvance, 0};
  return CAIRO_STATUS_SUCCESS;
}

}  // namespace

CoreCanvas::CoreCanvas(tovmx::CairoSurfacePtr surface, double width, double height, double scale)
    : surface_(std::move(surface)),
      cairo_(surface_ == nullptr ? nullptr : cairo_create(surface_.get())),
      page_{0, 0, width, height},
      scale_(scale),
      keepsText_(surface_ != nullptr && cairo_surface_has_show_text_glyphs(surface_.get()) != 0),
      isImage_(surface_ != nullptr && cairo_surface_get_type(surface_.get()) == CAIRO_SURFACE_TYPE_IMAGE),
      documentPictures_(std::numeric_limits<std::size_t>::max()) {}

CoreCanvas::~CoreCanvas() = default;

bool CoreCanvas::IsGood() const noexcept {
  return cairo_ != nullptr && cairo_status(cairo_.get()) == CAIRO_STATUS_SUCCESS &&
         cairo_surface_status(surface_.get()) == CAIRO_STATUS_SUCCESS;
}

void CoreCanvas::Replace(tovmx::CairoSurfacePtr surface) {
  tovmx::CairoPtr cairo(surface == nullptr ? nullptr : cairo_create(surface.get()));
  if (cairo != nullptr && cairo_ != nullptr) {
    cairo_path_t* path = cairo_copy_path(cairo_.get());
    cairo_append_path(cairo.get(), path);
    cairo_path_destroy(path);
  }
  cairo_ = std::move(cairo);
  surface_ = std::move(surface);
}

bool CoreCanvas::FillPage(std::uint32_t argb) {
  if (!IsGood()) return false;
  tovmx::SetSource(cairo_.get(), argb);
  // A document has no operator but OVER; any other would turn its page into a picture.
  if (isImage_) cairo_set_operator(cairo_.get(), CAIRO_OPERATOR_SOURCE);
  cairo_paint(cairo_.get());
  cairo_set_operator(cairo_.get(), CAIRO_OPERATOR_OVER);
  return IsGood();
}

bool CoreCanvas::DrawText(const wchar_t* characters, int count, const CoreFontLoader& fonts,
                          const CoreMatrix& matrix, std::uint32_t argb, float pixelSize) {
  if (!IsGood() || !tovmx::IsFinite(matrix)) return false;
  const tovmx::ShapedLine* line =
      tovmx::TextShaper::ForThisThread().Shape(fonts.Request(), characters, count, pixelSize);
  if (line == nullptr) return false;

  const cairo_matrix_t place = PlaceOf(matrix, pixelSize / tovmx::kReferenceSize, scale_);
  const Stretch em = StretchOf(place);
  if (!(em.least * tovmx::kReferenceSize >= kSmallestEm && em.most * tovmx::kReferenceSize <= kLargestEm)) {
    return true;
  }
  const Box ink = Transform(place, line->ink);
  if (line->ink.IsEmpty() ? !keepsText_ : !page_.Intersects(ink)) return true;

  if (!Prepare(ink)) return false;
  tovmx::SetSource(cairo_.get(), argb);
  const double size = em.most * tovmx::kReferenceSize;
  const bool farOut = !Box{-kFarthest, -kFarthest, kFarthest, kFarthest}.Holds(ink);
  if (farOut || size > (keepsText_ ? kLargestPrinted : kLargestPicture)) {
    PaintOutlines(*line, place);
  } else {
    PaintRuns(*line, place, page_.Holds(ink));
  }
  return IsGood();
}

void CoreCanvas::PaintRuns(const tovmx::ShapedLine& line, const cairo_matrix_t& place,
                           bool wholeLineVisible) {
  cairo_t* cr = cairo_.get();
  for (const tovmx::GlyphRun& run : line.runs) {
    cairo_set_matrix(cr, &place);
    if (run.pictures != nullptr) {
      if (keepsText_) {
        SetInvisibleFont();
        WriteText(run);
      }
      PaintPictures(run, place);
      continue;
    }
    cairo_set_scaled_font(cr, run.font.get());
    if (keepsText_) {
      WriteText(run);
      continue;
    }
    const std::vector<cairo_glyph_t>* glyphs = &run.glyphs;
    if (!wholeLineVisible) {
      CollectVisible(run, place, page_, visible_);
      glyphs = &visible_;
    }
    cairo_show_glyphs(cr, glyphs->data(), static_cast<int>(glyphs->size()));
  }
  cairo_identity_matrix(cr);
}

// The run's characters and their glyphs in the present font.
void CoreCanvas::WriteText(const tovmx::GlyphRun& run) {
  cairo_show_text_glyphs(cairo_.get(), run.text.c_str(), static_cast<int>(run.text.size()), run.glyphs.data(),
                         static_cast<int>(run.glyphs.size()), run.clusters.data(),
                         static_cast<int>(run.clusters.size()),
                         run.backward ? CAIRO_TEXT_CLUSTER_FLAG_BACKWARD : cairo_text_cluster_flags_t{});
}

// The glyphs on the page of a font with pictures. Those without one are painted as outlines.
void CoreCanvas::PaintPictures(const tovmx::GlyphRun& run, const cairo_matrix_t& place) {
  CollectVisible(run, place, page_, visible_);
  for (const cairo_glyph_t& glyph : visible_) {
    if (!PaintPicture(run.pictures.get(), glyph, place)) PaintOutline(run.font.get(), glyph, place);
  }
}

// False when the glyph has no picture. Of the present color only the alpha counts.
bool CoreCanvas::PaintPicture(hb_face_t* face, const cairo_glyph_t& glyph, const cairo_matrix_t& place) {
  cairo_t* cr = cairo_.get();
  double alpha = 1;
  cairo_pattern_get_rgba(cairo_get_source(cr), nullptr, nullptr, nullptr, &alpha);
  // Alpha is in the picture itself: Cairo's SVG cuts an image off that is painted with one.
  const auto opacity = static_cast<std::uint8_t>(std::lround(alpha * 255));
  tovmx::ColorPictures& pictures =
      isImage_ ? tovmx::TextShaper::ForThisThread().Pictures() : documentPictures_;
  const tovmx::ColorPicture* picture = pictures.Find(face, static_cast<hb_codepoint_t>(glyph.index), opacity);
  if (picture == nullptr) return false;
  cairo_surface_t* image = picture->image.get();
  const Box frame = picture->frame.Moved(glyph.x, glyph.y);
  cairo_matrix_t full = place;
  cairo_matrix_translate(&full, frame.left, frame.top);
  cairo_matrix_scale(&full, (frame.right - frame.left) / cairo_image_surface_get_width(image),
                     (frame.bottom - frame.top) / cairo_image_surface_get_height(image));
  cairo_save(cr);
  cairo_set_matrix(cr, &full);
  cairo_set_source_surface(cr, image, 0, 0);
  cairo_paint(cr);
  cairo_restore(cr);
  return true;
}

void CoreCanvas::PaintOutlines(const tovmx::ShapedLine& line, const cairo_matrix_t& place) {
  for (const tovmx::GlyphRun& run : line.runs) {
    if (run.pictures != nullptr) {
      PaintPictures(run, place);
      continue;
    }
    CollectVisible(run, place, page_, visible_);
    for (const cairo_glyph_t& glyph : visible_) PaintOutline(run.font.get(), glyph, place);
  }
}

// The outline is taken at a size at which Cairo's rounding does not show, and magnified.
void CoreCanvas::PaintOutline(cairo_scaled_font_t* font, const cairo_glyph_t& glyph,
                              const cairo_matrix_t& place) {
  cairo_t* cr = cairo_.get();
  const double shrink = std::min(1.0, kOutlineEm / (StretchOf(place).most * tovmx::kReferenceSize));
  // The outline alone, without the place of its origin, which may be far out.
  cairo_matrix_t small = {place.xx * shrink, place.yx * shrink, place.xy * shrink, place.yy * shrink, 0, 0};
  const cairo_glyph_t alone = {glyph.index, 0, 0};
  cairo_set_matrix(cr, &small);
  cairo_set_scaled_font(cr, font);
  cairo_new_path(cr);
  cairo_glyph_path(cr, &alone, 1);
  cairo_path_t* outline = cairo_copy_path(cr);
  cairo_new_path(cr);
  cairo_matrix_t full = place;
  cairo_matrix_translate(&full, glyph.x, glyph.y);
  cairo_set_matrix(cr, &full);
  cairo_append_path(cr, outline);
  cairo_path_destroy(outline);
  cairo_fill(cr);
  cairo_identity_matrix(cr);
}

void CoreCanvas::SetInvisibleFont() {
  if (invisibleFont_ == nullptr) {
    invisibleFont_.reset(cairo_user_font_face_create());
    cairo_user_font_face_set_render_glyph_func(invisibleFont_.get(), PaintNothing);
  }
  cairo_matrix_t size;
  cairo_matrix_init_scale(&size, tovmx::kReferenceSize * kPictureAdvance / kInvisibleAdvance,
                          tovmx::kReferenceSize);
  cairo_set_font_face(cairo_.get(), invisibleFont_.get());
  cairo_set_font_matrix(cairo_.get(), &size);
}

bool CoreCanvas::Flush() {
  if (!IsGood()) return false;
  cairo_surface_flush(surface_.get());
  return IsGood();
}

bool CoreCanvas::NextPage(double width, double height) {
  if (!IsGood()) return false;
  cairo_show_page(cairo_.get());
  cairo_pdf_surface_set_size(surface_.get(), width, height);
  page_ = {0, 0, width, height};
  return IsGood();
}

bool CoreCanvas::Finish() {
  if (!IsGood()) return false;
  cairo_show_page(cairo_.get());
  const bool drawn = IsGood();
  cairo_.reset();
  cairo_surface_finish(surface_.get());
  return drawn && cairo_surface_status(surface_.get()) == CAIRO_STATUS_SUCCESS;
}

void CoreCanvas::Release() noexcept {
  cairo_.reset();
  surface_.reset();
}
