// SPDX-License-Identifier: MIT
// The JSON of a job that draws, as a DrawJob. Every member is read and refused before anything is drawn.
#include "background.h"
#include "draw_job.h"
#include "error.h"
#include "job_kind.h"
#include "output_members.h"
#include "page_size.h"

namespace jobs {

void RunDrawKind(Members& members, JobBench& bench, JobResult&) {
  const auto draw = members.Take("draw");
  RefuseDoubleMembers(draw, "draw");
  const WantedOutput wanted = TakeWantedOutput(members, bench.out, OutputKind::kPage);
  DrawJob job{{}, {}, Output::Memory(&bench.output, bench.out), wanted.format};
  job.source = std::make_shared<JsonSource>(bench.textName, bench.text, "/draw", draw);
  job.effort = wanted.effort;
  const auto over = members.TakeText("over");
  const auto size = members.TakeText("size");
  if (size) {
    job.size = ParsePageSize(*size);
    if (!job.size) members.Refuse("size", "'" + *size + "' is no size such as 800x600");
  }
  if (const auto dpi = members.TakeNumber("dpi", 1, 4800)) job.dpi = static_cast<float>(*dpi);
  const auto background = members.TakeText("background");
  if (background) {
    const auto color = ParseBackground(*background);
    if (!color) members.Refuse("background", "'" + *background + "' is no color: none, " + kColorForms);
    job.background = *color;
  }
  members.Finish();
  if (over && (size || background)) members.Refuse(size ? "size" : "background", "\"over\" has its own");
  if (over && bench.input == nullptr) members.Refuse("over", "no folder of input files was given");
  if (over && job.format.document != OutputFormat::Document::kNone) {
    members.Refuse("over", "only a picture can be drawn on, and the output is none");
  }
  const OpenDescriptor under = over ? bench.input->OpenFile(*over) : OpenDescriptor();
  if (over) job.under = Input::Descriptor(under.get(), *over);
  Run(job, bench.observer);
}

}  // namespace jobs
