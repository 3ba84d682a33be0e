// SPDX-License-Identifier: MIT
// The JSON of a hit test, as a HitJob. Every member is read and refused before the path is.
#include "error.h"
#include "hit_job.h"
#include "hit_members.h"
#include "job_kind.h"

namespace jobs {

void RunHitKind(Members& members, JobBench& bench, JobResult& result) {
  Members hit(members.Take("hit"), "hit");
  members.Finish();
  const auto text = hit.TakeText("path");
  const auto name = hit.TakeText("file");
  if (text.has_value() == name.has_value()) hit.Refuse("", "one of \"path\" and \"file\" is expected");
  if (name && bench.input == nullptr) hit.Refuse("file", "no folder of input files was given");
  const OpenDescriptor file = name ? bench.input->OpenFile(*name) : OpenDescriptor();
  HitJob job{name ? Input::Descriptor(file.get(), *name) : Input::Memory(*text, "path")};
  TakeHitMembers(hit, true, job);
  hit.Finish();
  result.hits = Run(job, bench.observer);
}

}  // namespace jobs
