// SPDX-License-Identifier: MIT
// Pictures that come with their job: changed, or told about.
#include "inline_kinds.h"

#include "image_job.h"
#include "output_members.h"
#include "step_members.h"

#include <tovkit/json.h>

#include <cstdio>
#include <string>

namespace jobs {

namespace {

class PictureInfo final : public Observer {
 public:
  void PictureOpened(CoreImageFormat format, const CoreImageInfo& info) override {
    const auto json = tovkit::Json::Parse(nullptr, 0, nullptr);
    const std::string mediaType = MediaTypeOf({OutputFormat::Document::kNone, format});
    json->SetMemberString("format", mediaType.c_str() + mediaType.find('/') + 1);
    json->SetMemberInt("width", info.width);
    json->SetMemberInt("height", info.height);
    json->SetMemberInt("bitsPerPixel", info.bitsPerPixel);
    json->SetMemberInt("fileBitsPerPixel", info.fileBitsPerPixel);
    json->SetMemberInt("paletteSize", info.paletteSize);
    json->SetMemberInt("frames", info.frameCount);
    text = json->ToString().c_str();
    text.pop_back();
    const bool isKnown = info.dpiX > 0 && info.dpiY > 0;
    text += R"(,"dpiX":)" + (isKnown ? Number(info.dpiX) : "null") + R"(,"dpiY":)" +
            (isKnown ? Number(info.dpiY) : "null") + "}\n";
  }

  std::string text;

 private:
  static std::string Number(float number) {
    char digits[40];
    std::snprintf(digits, sizeof digits, "%.9g", static_cast<double>(number));
    return digits;
  }
};

}  // namespace

void RunInlineImageKind(Members& members, JobBench& bench, JobResult& result) {
  Members options(members.Take("image"), "image");
  members.Finish();
  const WantedOutput wanted = TakeWantedOutput(options, "", OutputKind::kPicture);
  ImageJob job{InlineInput(bench), options.TakeWhole("frame", 1, 1 << 30).value_or(1)};
  job.target = ImageJob::Target{Output::Memory(&bench.output, kAnswerName), wanted.format.picture,
                                options.TakeWhole("quality", 1, 100).value_or(0), wanted.effort};
  job.steps = TakeSteps(options);
  options.Finish();
  Run(job, bench.observer);
  result.mediaType = MediaTypeOf(wanted.format);
}

void RunInlineInfoKind(Members& members, JobBench& bench, JobResult& result) {
  Members(members.Take("info"), "info").Finish();
  members.Finish();
  PictureInfo info;
  Run(ImageJob{InlineInput(bench)}, info);
  AnswerJson(info.text, bench, result);
}

}  // namespace jobs
