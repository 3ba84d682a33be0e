// SPDX-License-Identifier: MIT
// ShapeLine: one line through Pango, by its itemizing and shaping steps rather than its layout, which would
// break lines and end paragraphs.
#pragma once

#include "font/color_pictures.h"
#include "font/shaped_line.h"

#include <pango/pango.h>

#include <memory>
#include <string>
#include <string_view>

namespace tovmx {

// What the most frequent lines are itemized into: printable ASCII with a letter in it is one item of one
// font, whatever else it says, if all of printable ASCII is. Itemizing takes longer than shaping, so that
// item is made once for a context, and lines get copies of it.
class PlainItem {
 public:
  // For the font description and the language that the context has now.
  explicit PlainItem(PangoContext* context);

  // The item of a whole line, or null when the line has to be itemized.
  PangoItem* For(const std::string& text) const;

 private:
  struct Free {
    void operator()(PangoItem* item) const { pango_item_free(item); }
  };
  std::unique_ptr<PangoItem, Free> item_;
};

// `context` holds the font description and the language; its base direction is set to the text's. `plain` is
// for the same and may be null. `pictures` are asked for the ink of color glyphs.
ShapedLine ShapeLine(PangoContext* context, std::wstring_view text, const PlainItem* plain,
                     ColorPictures& pictures);

}  // namespace tovmx
