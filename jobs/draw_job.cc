#include "draw_job.h"

#include "drawing.h"
#include "error.h"
#include "json_reader.h"
#include "page.h"

#include <tovmx/font.h>

namespace jobs {

void Run(const DrawJob& job, Observer& observer) {
  for (const std::string& file : job.fontFiles) {
    CheckReadable(file);
    if (!CoreFontLoader::RegisterFontFile(file.c_str())) {
      throw Error(ErrorKind::kInput, file, "holds no font");
    }
  }
  Drawing drawing;
  for (const Input& input : job.descriptions) drawing.AddLines(ReadJson(input), input.name());
  TextBounds bounds;
  drawing.Measure(bounds, observer);
  const Placement placement = job.size ? Placement{*job.size, {}, {}} : Fit(bounds);
  WritePage(job.output, job.format, {placement.size, job.dpi, job.background, job.effort},
            [&](CoreDevice& device) { drawing.Draw(placement, device, observer); });
}

}  // namespace jobs
