// SPDX-License-Identifier: MIT
// Lay out, draw, write: each step is a file of its own, and this puts them in order.
#include "draw_job.h"

#include "drawing.h"
#include "error.h"
#include "page.h"
#include "picture_reader.h"
#include "picture_steps.h"
#include "picture_turn.h"

#include <tovmx/font.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <vector>

namespace jobs {

namespace {

std::vector<Drawing> ReadDrawings(const DrawJob& job) {
  std::vector<Drawing> drawings(job.onePage ? 1 : 0);
  const auto add = [&](const std::shared_ptr<JsonSource>& source) {
    job.onePage ? drawings.front().AddLines(source) : AddPages(source, drawings);
  };
  if (job.source) add(job.source);
  for (const Input& input : job.descriptions) add(std::make_shared<JsonSource>(input));
  return drawings;
}

// Turned upright, and in full color, so that text of any color can be drawn on it.
std::unique_ptr<CoreDib> ReadUnder(const Input& input) {
  PictureReader reader(input);
  auto picture = reader.ReadFrame(1);
  TurnUpright(*picture, reader.ReadOrientation(1), input.name());
  ToFullColor(*picture, input.name());
  return picture;
}

// The size of a page that does not follow from its text.
CoreSizeF SizeOf(const DrawJob& job, const CoreDib* under) {
  if (under == nullptr) return job.size.value_or(CoreSizeF());
  const auto units = [&job](int pixels) { return static_cast<float>(pixels) * 96.0f / job.dpi; };
  return {units(under->GetWidth()), units(under->GetHeight())};
}

}  // namespace

void Run(const DrawJob& job, Observer& observer) {
  for (const std::string& file : job.fontFiles) {
    CheckReadable(file);
    if (!CoreFontLoader::RegisterFontFile(file.c_str())) {
      throw Error(ErrorKind::kInput, file, "holds no font");
    }
  }
  const std::vector<Drawing> drawings = ReadDrawings(job);
  const std::unique_ptr<CoreDib> under = job.under ? ReadUnder(*job.under) : nullptr;
  std::vector<Placement> placements;
  std::vector<Page> pages;
  for (const Drawing& drawing : drawings) {
    TextBounds bounds;
    const bool fits = !job.size && under == nullptr;
    drawing.Measure(bounds, fits ? std::nullopt : std::optional(SizeOf(job, under.get())), observer);
    placements.push_back(fits ? Fit(bounds) : Placement{job.size.value_or(CoreSizeF()), {}, {}});
    pages.push_back({placements.back().size, job.dpi, job.background, under.get(), job.effort});
  }
  observer.LinesMeasured();
  WritePages(job.output, job.format, pages, [&](std::size_t page, CoreDevice& device) {
    drawings[page].Draw(placements[page], device, observer);
  });
}

}  // namespace jobs
