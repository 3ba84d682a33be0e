// SPDX-License-Identifier: MIT
// The JSON of a job that draws, as a DrawJob. Every member is read and refused before anything is drawn.
#include "background.h"
#include "draw_job.h"
#include "error.h"
#include "job_kind.h"
#include "output_format.h"
#include "page_size.h"

namespace jobs {

namespace {

OutputFormat FormatOf(Members& members, const std::string& out) {
  const std::string name = members.TakeText("format").value_or(ExtensionOf(out));
  const auto format = FindOutputFormat(name, OutputKind::kPage);
  if (!format) throw Error(ErrorKind::kInput, out, WhyNoOutputFormat(name));
  return *format;
}

}  // namespace

void RunDrawKind(Members& members, JobBench& bench, JobResult&) {
  const auto draw = members.Take("draw");
  RefuseDoubleMembers(draw, "draw");
  const CoreString lines = draw->ToString();
  DrawJob job{{Input::Memory(lines.c_str(), "draw")},
              {},
              Output::Memory(&bench.output, bench.out),
              FormatOf(members, bench.out)};
  if (const auto size = members.TakeText("size")) {
    job.size = ParsePageSize(*size);
    if (!job.size) members.Refuse("size", "'" + *size + "' is no size such as 800x600");
  }
  if (const auto dpi = members.TakeNumber("dpi", 1, 4800)) job.dpi = static_cast<float>(*dpi);
  if (const auto background = members.TakeText("background")) {
    const auto color = ParseBackground(*background);
    if (!color) members.Refuse("background", "'" + *background + "' is no color: none, " + kColorForms);
    job.background = *color;
  }
  const auto over = members.TakeText("over");
  members.Finish();
  if (over && bench.input == nullptr) members.Refuse("over", "no folder of input files was given");
  if (over && job.format.document != OutputFormat::Document::kNone) {
    members.Refuse("over", "only a picture can be drawn on, and the output is none");
  }
  const OpenDescriptor under = over ? bench.input->OpenFile(*over) : OpenDescriptor();
  if (over) job.under = Input::Descriptor(under.get(), *over);
  Run(job, bench.observer);
}

}  // namespace jobs
