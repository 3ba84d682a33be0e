// A page, and what becomes of it: a bitmap, or a file with a picture, PDF or SVG.
#pragma once

#include "output.h"
#include "output_format.h"

#include <tovmx/device.h>
#include <tovmx/dib.h>
#include <tovmx/geometry.h>

#include <cstdint>
#include <functional>
#include <string>

namespace jobs {

struct Page {
  CoreSizeF size;                // device units, 96 to the inch
  float dpi = 96;                // of a bitmap; nothing to a document
  std::uint32_t background = 0;  // 0xAARRGGBB
  int effort = 0;                // 1 to 9, of a picture; 0 is the format's default
};

// Makes a bitmap of 32 bits of the page, which `paint` fills. Throws Error naming `place`, and the bitmap
// then holds anything.
void RenderPage(const Page& page, const std::function<void(CoreDevice&)>& paint, const std::string& place,
                CoreDib& bitmap);

// Makes the page, lets `paint` fill it and writes it; a picture with an opaque background has no alpha.
// Throws Error naming the output.
void WritePage(const Output& output, const OutputFormat& format, const Page& page,
               const std::function<void(CoreDevice&)>& paint);

}  // namespace jobs
