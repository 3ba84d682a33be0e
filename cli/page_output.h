// The page that `tovkit draw` fills and the file that it becomes: a picture, PDF or SVG by the extension.
#pragma once

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

// Throws JobError when no format goes by the file's extension. Made to be called before any work is done.
void CheckOutputFormat(const std::string& file);

// Makes the page, lets `paint` fill it and puts the file in its place. Throws JobError naming the file; an
// existing file then stays as it was.
void WritePage(const std::string& file, const Page& page, const std::function<void(CoreDevice&)>& paint);

}  // namespace cli
