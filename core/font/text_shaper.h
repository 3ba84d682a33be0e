// SPDX-License-Identifier: MIT
// TextShaper: turns text and a font request into glyphs; keeps what it found for the next line.
//
// Every thread has its own, with its own font maps, so that nothing here locks. The caches are bounded: fonts
// in number, lines in number, in glyphs and in characters.
#pragma once

#include "font/color_pictures.h"
#include "font/font_catalog.h"
#include "font/font_request.h"
#include "font/line_shaping.h"
#include "font/shaped_line.h"

#include <pango/pango.h>

#include <array>
#include <cstddef>
#include <list>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

namespace tovmx {

// Longer lines are refused rather than cut.
inline constexpr std::size_t kMaxLineLength = std::size_t{1} << 18;

// Some 240 pictures of the usual size.
inline constexpr std::size_t kMaxPictureBytes = std::size_t{16} << 20;

class TextShaper {
 public:
  static TextShaper& ForThisThread();

  // The line's glyphs at kReferenceSize, valid until the next call. A negative count means up to the NUL.
  // Null for a line that is refused: null characters, a size that is no positive finite number, more than
  // kMaxLineLength characters, a source without fonts, a font whose file cannot be read now. Devices and
  // MeasureText ask here, so that they refuse the same lines.
  [[nodiscard]] const ShapedLine* Shape(const CoreFontRequest& request, const wchar_t* characters, int count,
                                        float pixelSize);

  // True when the source has a font.
  [[nodiscard]] bool HasFonts(int source);

  // What a request comes to. Valid until the next call.
  const FontChoice& Resolve(const CoreFontRequest& request);

  // The pictures of color glyphs, kept for this thread's bitmaps.
  ColorPictures& Pictures() noexcept { return pictures_; }

 private:
  // A source's fonts and the context that itemizes text for them.
  struct Source {
    std::shared_ptr<const FontCatalog> catalog;
    GObjectPtr<PangoFontMap> map;
    GObjectPtr<PangoContext> context;
  };
  struct Typeface {
    CoreFontRequest request;
    FontChoice choice;
    std::unique_ptr<PangoFontDescription, Release<pango_font_description_free>> description;
    bool isUsed = false;  // a line was shaped: from the second on the plain item pays
    std::unique_ptr<PlainItem> plain;
  };
  struct Line {
    std::size_t hash = 0;
    CoreFontRequest request;
    std::wstring text;
    ShapedLine shaped;
  };

  void DropStale();
  void ForgetAll();
  Source& SourceFor(int source);
  Typeface& TypefaceFor(const CoreFontRequest& request);
  ShapedLine ShapeNow(const CoreFontRequest& request, std::wstring_view text);
  static std::size_t SizeOf(const Line& line);
  const ShapedLine* Keep(Line line);

  std::uint64_t generation_ = 0;
  std::array<Source, 4> sources_;
  std::unordered_map<std::size_t, Typeface> typefaces_;
  std::list<Line> lines_;  // the most recently used first
  std::unordered_map<std::size_t, std::list<Line>::iterator> byHash_;
  std::size_t keptSize_ = 0;
  ColorPictures pictures_{kMaxPictureBytes};
  Line passing_;  // the last of those that are too long to be kept beside others
};

}  // namespace tovmx
