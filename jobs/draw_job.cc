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
#include <string>
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

// What the pages are drawn on, turned upright, and in full color, so that text of any color can be drawn on
// it.
std::unique_ptr<CoreDib> ReadUnder(const DrawJob& job) {
  std::unique_ptr<CoreDib> picture;
  std::string name = job.output.name();
  if (job.under) {
    name = job.under->name();
    PictureReader reader(*job.under);
    picture = reader.ReadFrame(1);
    TurnUpright(*picture, reader.ReadOrientation(1), name);
  } else if (job.underPicture != nullptr) {
    picture = std::make_unique<CoreDib>();
    if (!picture->CopyFrom(*job.underPicture)) throw Error(ErrorKind::kLimit, name, "not enough memory");
    TurnUpright(*picture, job.underOrientation, name);
  }
  if (picture != nullptr) ToFullColor(*picture, name);
  return picture;
}

// The size of a page that does not follow from its text.
CoreSizeF SizeOf(const DrawJob& job, const CoreDib* under) {
  if (under == nullptr) return job.size.value_or(CoreSizeF());
  const auto units = [&job](int pixels) { return static_cast<float>(pixels) * 96.0f / job.dpi; };
  return {units(under->GetWidth()), units(under->GetHeight())};
}

void RegisterFonts(const DrawJob& job) {
  for (const std::string& file : job.fontFiles) {
    CheckReadable(file);
    if (!CoreFontLoader::RegisterFontFile(file.c_str())) {
      throw Error(ErrorKind::kInput, file, "holds no font");
    }
  }
}

// Pages with what is to be drawn on them.
struct Layout {
  std::vector<Drawing> drawings;
  std::unique_ptr<CoreDib> under;
  std::vector<Placement> placements;
  std::vector<Page> pages;
};

Layout LayOut(const DrawJob& job, Observer& observer) {
  RegisterFonts(job);
  Layout layout{ReadDrawings(job), ReadUnder(job), {}, {}};
  const CoreDib* const under = layout.under.get();
  for (const Drawing& drawing : layout.drawings) {
    TextBounds bounds;
    const bool fits = !job.size && under == nullptr;
    drawing.Measure(bounds, fits ? std::nullopt : std::optional(SizeOf(job, under)), observer);
    layout.placements.push_back(fits ? Fit(bounds) : Placement{job.size.value_or(CoreSizeF()), {}, {}});
    layout.pages.push_back({layout.placements.back().size, job.dpi, job.background, under, job.effort});
  }
  observer.LinesMeasured();
  return layout;
}

}  // namespace

void Run(const DrawJob& job, Observer& observer) {
  const Layout layout = LayOut(job, observer);
  WritePages(job.output, job.format, layout.pages, [&](std::size_t page, CoreDevice& device) {
    layout.drawings[page].Draw(layout.placements[page], device, observer);
  });
}

std::vector<CoreSizeF> Measure(const DrawJob& job, Observer& observer) {
  const Layout layout = LayOut(job, observer);
  std::vector<CoreSizeF> sizes;
  for (const Placement& placement : layout.placements) sizes.push_back(placement.size);
  return sizes;
}

CoreDib Render(const DrawJob& job, Observer& observer) {
  const Layout layout = LayOut(job, observer);
  const std::string& place = job.output.name();
  if (layout.pages.size() != 1) {
    throw Error(ErrorKind::kInput, place,
                "one page is drawn, and there are " + std::to_string(layout.pages.size()));
  }
  CoreDib picture;
  RenderPage(
      layout.pages[0],
      [&](CoreDevice& device) { layout.drawings[0].Draw(layout.placements[0], device, observer); }, place,
      picture);
  if (IsOpaque(layout.pages[0])) CoreDropAlpha(&picture);
  return picture;
}

}  // namespace jobs
