// SPDX-License-Identifier: MIT
// Pages that are drawn and written: to a bitmap, or to files with pictures, PDF or SVG.
#pragma once

#include "output.h"
#include "output_format.h"

#include <tovmx/device.h>
#include <tovmx/dib.h>
#include <tovmx/geometry.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace jobs {

struct Page {
  CoreSizeF size;                // device units, 96 to the inch
  float dpi = 96;                // of a bitmap; nothing to a document
  std::uint32_t background = 0;  // 0xAARRGGBB
  // The picture that a bitmap starts as; it replaces size, resolution and background. Must outlive the page.
  const CoreDib* under = nullptr;
  int effort = 0;  // 1 to 9, of a picture; 0 is the format's default
};

// Whether a picture of it needs no alpha channel.
bool IsOpaque(const Page& page);

// Makes a bitmap of 32 bits of the page, which `paint` fills. Throws Error naming `place`, and the bitmap
// then holds anything.
void RenderPage(const Page& page, const std::function<void(CoreDevice&)>& paint, const std::string& place,
                CoreDib& bitmap);

// Makes the page, lets `paint` fill it and writes it; a picture with an opaque background has no alpha.
// Throws Error naming the output.
void WritePage(const Output& output, const OutputFormat& format, const Page& page,
               const std::function<void(CoreDevice&)>& paint);

// Fills the page with this number, counted from 0.
using PaintPage = std::function<void(std::size_t page, CoreDevice& device)>;

// Writes the pages, in order: PDF and TIFF hold them all. Of another format one page is one file, and several
// are files with a number, NumberedFile, that appear one after the other. Throws Error naming the output, for
// memory that shall hold several of those, too. Precondition: there is a page.
void WritePages(const Output& output, const OutputFormat& format, const std::vector<Page>& pages,
                const PaintPage& paint);

// The name of file `number` of `count`: "out.png" becomes "out-01.png" when there are 10 to 99.
std::string NumberedFile(const std::string& file, std::size_t number, std::size_t count);

}  // namespace jobs
