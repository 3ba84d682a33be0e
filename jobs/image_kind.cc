// SPDX-License-Identifier: MIT
// The JSON of a job about a picture, as an ImageJob. Every member is read and refused before a file is
// opened.
#include "error.h"
#include "image_job.h"
#include "job_kind.h"
#include "output_members.h"
#include "step_members.h"

namespace jobs {

void RunImageKind(Members& members, JobBench& bench, JobResult&) {
  const std::string name = members.NeedText("image");
  const WantedOutput wanted = TakeWantedOutput(members, bench.out, OutputKind::kPicture);
  const int quality = members.TakeWhole("quality", 1, 100).value_or(0);
  if (bench.input == nullptr) members.Refuse("image", "no folder of input files was given");
  ImageJob job{Input::Memory({}, name), members.TakeWhole("frame", 1, 1 << 30).value_or(1)};
  job.steps = TakeSteps(members);
  members.Finish();
  const OpenDescriptor file = bench.input->OpenFile(name);
  job.picture = Input::Descriptor(file.get(), name);
  job.target = ImageJob::Target{Output::Memory(&bench.output, bench.out), wanted.format.picture, quality,
                                wanted.effort};
  Run(job, bench.observer);
}

}  // namespace jobs
