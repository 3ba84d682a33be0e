// The page that `tovkit draw` fills and the file that it becomes: a picture, PDF or SVG.
#pragma once

#include "output_format.h"

#include <tovmx/device.h>

#include <cstdint>
#include <functional>
#include <string>

namespace cli {

struct Page {
  float width = 0;  // device units, 96 to the inch
  float height = 0;
  float dpi = 96.0f;             // of a picture; nothing to a document
  std::uint32_t background = 0;  // 0xAARRGGBB
};

// Makes the page, lets `paint` fill it and puts the file in its place; "-" is standard output. Throws
// JobError naming the file; an existing file then stays as it was.
void WritePage(const std::string& file, const OutputFormat& format, const Page& page,
               const std::function<void(CoreDevice&)>& paint);

}  // namespace cli
