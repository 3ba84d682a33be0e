// SPDX-License-Identifier: MIT
// The JSON of a job that draws, as a DrawJob. Every member is read and refused before anything is drawn.
#include "draw_job.h"
#include "error.h"
#include "job_kind.h"
#include "output_members.h"
#include "page_members.h"

namespace jobs {

void RunDrawKind(Members& members, JobBench& bench, JobResult&) {
  const auto draw = members.Take("draw");
  RefuseDoubleMembers(draw, "draw");
  const WantedOutput wanted = TakeWantedOutput(members, bench.out, OutputKind::kPage);
  DrawJob job{{}, {}, Output::Memory(&bench.output, bench.out), wanted.format};
  job.source = std::make_shared<JsonSource>(bench.textName, bench.text, "/draw", draw);
  job.effort = wanted.effort;
  const auto over = members.TakeText("over");
  const bool size = TakePageSize(members, job);
  TakeDpi(members, job);
  const bool background = TakeBackground(members, job);
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
