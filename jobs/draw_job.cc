#include "draw_job.h"

#include "drawing.h"
#include "error.h"
#include "json_source.h"
#include "page.h"

#include <tovmx/font.h>

#include <memory>

namespace jobs {

void Run(const DrawJob& job, Observer& observer) {
  for (const std::string& file : job.fontFiles) {
    CheckReadable(file);
    if (!CoreFontLoader::RegisterFontFile(file.c_str())) {
      throw Error(ErrorKind::kInput, file, "holds no font");
    }
  }
  Drawing drawing;
  for (const Input& input : job.descriptions) drawing.AddLines(std::make_shared<JsonSource>(input));
  TextBounds bounds;
  drawing.Measure(bounds, job.size, observer);
  const Placement placement = job.size ? Placement{*job.size, {}, {}} : Fit(bounds);
  WritePage(job.output, job.format, {placement.size, job.dpi, job.background},
            [&](CoreDevice& device) { drawing.Draw(placement, device, observer); });
}

}  // namespace jobs
