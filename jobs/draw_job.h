// SPDX-License-Identifier: MIT
// DrawJob: lines of text, described in JSON, onto pages.
//
//   DrawJob job{{Input::File("hello.json")}, {}, Output::File("hello.png")};
//   job.format = *FindOutputFormat("png", OutputKind::kPage);
//   Observer silent;
//   Run(job, silent);
#pragma once

#include "input.h"
#include "json_source.h"
#include "observer.h"
#include "output.h"
#include "output_format.h"

#include <tovmx/dib.h>
#include <tovmx/geometry.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace jobs {

struct DrawJob {
  // JSON: an object is one line, an array several, an array of arrays several pages. Each begins a new page.
  std::vector<Input> descriptions;
  std::vector<std::string> fontFiles;  // to draw with, beside the installed fonts
  Output output;
  OutputFormat format;
  std::optional<CoreSizeF> size = std::nullopt;  // device units, 96 to the inch; else what the text needs
  float dpi = 96;                                // of a picture
  std::uint32_t background = 0xFFFFFFFF;         // 0xAARRGGBB
  bool onePage = false;                          // for every line, whatever its description
  // A picture that every page is drawn on, in place of size and background; its first frame, turned as its
  // orientation mark says. The format is then a picture's.
  std::optional<Input> under = std::nullopt;
  // The same, of a picture in memory with its orientation mark; it stays the caller's.
  const CoreDib* underPicture = nullptr;
  int underOrientation = 1;
  int effort = 0;  // 1 to 9, of a picture; 0 is the format's default
  // A description that is read already; it comes before the others.
  std::shared_ptr<JsonSource> source = nullptr;
};

// Throws Error; an output file then stays as it was.
void Run(const DrawJob& job, Observer& observer);

// Lays the lines out and draws nothing: the observer hears of every line. Returns the sizes of the pages.
// Throws Error.
std::vector<CoreSizeF> Measure(const DrawJob& job, Observer& observer);

// Draws the job's one page to a bitmap, which has an alpha channel unless the background is opaque; output
// and format are not looked at. Throws Error, for several pages too.
[[nodiscard]] CoreDib Render(const DrawJob& job, Observer& observer);

}  // namespace jobs
