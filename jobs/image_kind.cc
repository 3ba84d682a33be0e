#include "error.h"
#include "image_job.h"
#include "job_kind.h"
#include "output_format.h"

namespace jobs {

namespace {

CoreRect RectangleOf(const tovkit::SharedPtr<tovkit::JsonValue>& edges, const std::string& place) {
  CoreRect rect;
  int* const targets[] = {&rect.left, &rect.top, &rect.right, &rect.bottom};
  bool whole = edges->Size() == 4;
  for (int i = 0; whole && i < 4; ++i) {
    const auto edge = edges->GetAt(i);
    whole = (edge->GetType() == tovkit::JsonInt || edge->GetType() == tovkit::JsonUint) &&
            edge->GetInt(*targets[i]);
  }
  if (!whole)
    throw Error(ErrorKind::kInput, place, "four whole numbers, left, top, right and bottom, are expected");
  return rect;
}

void TakeSteps(Members& members, ImageJob& job) {
  const auto steps = members.TakeArray("steps");
  for (int i = 0; steps && i < static_cast<int>(steps->Size()); ++i) {
    const std::string place = "steps: element " + std::to_string(i);
    Members step(steps->GetAt(i), place);
    const auto edges = step.TakeArray("erase");
    step.Finish();
    if (!edges) step.Refuse("", "no step; \"erase\" is one");
    job.erased.push_back(RectangleOf(edges, place + ": erase"));
  }
}

}  // namespace

void RunImageKind(Members& members, JobBench& bench, JobResult&) {
  const std::string name = members.NeedText("image");
  const std::string formatName = members.TakeText("format").value_or(ExtensionOf(bench.out));
  const auto format = FindOutputFormat(formatName, OutputKind::kPicture);
  if (!format) throw Error(ErrorKind::kInput, bench.out, WhyNoOutputFormat(formatName));
  const int quality = members.TakeWhole("quality", 1, 100).value_or(0);
  if (bench.input == nullptr) members.Refuse("image", "no folder of input files was given");
  ImageJob job{Input::Memory({}, name), members.TakeWhole("frame", 1, 1 << 30).value_or(1)};
  TakeSteps(members, job);
  members.Finish();
  const OpenDescriptor file = bench.input->OpenFile(name);
  job.picture = Input::Descriptor(file.get(), name);
  job.target = ImageJob::Target{Output::Memory(&bench.output, bench.out), format->picture, quality};
  Run(job, bench.observer);
}

}  // namespace jobs
