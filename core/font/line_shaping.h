// SPDX-License-Identifier: MIT
// ShapeLine: one line through Pango, by its itemizing and shaping steps rather than its layout, which would
// break lines and end paragraphs.
#pragma once

#include "font/color_pictures.h"
#include "font/shaped_line.h"

#include <pango/pango.h>

#include <string_view>

namespace tovmx {

// `context` holds the font description and the language; its base direction is set to the text's. `pictures`
// are asked for the ink of color glyphs.
ShapedLine ShapeLine(PangoContext* context, std::wstring_view text, ColorPictures& pictures);

}  // namespace tovmx
