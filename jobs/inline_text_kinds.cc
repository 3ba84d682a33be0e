// SPDX-License-Identifier: MIT
// Descriptions that come with their job: drawn, or told about.
#include "inline_kinds.h"

#include "draw_job.h"
#include "output_members.h"
#include "page_members.h"
#include "text_review.h"

#include <cstdio>
#include <string>
#include <vector>

namespace jobs {

namespace {

// A report has up to so many lines, and a line's lists so many elements.
constexpr std::uint64_t kMostLines = 1000;
constexpr std::uint32_t kMostElements = 1000;

class LineReports final : public Observer {
 public:
  LineReports() : review_(Settings()) {}

  void LineMeasured(const MeasuredLine& line, const std::optional<CoreSizeF>& page) override {
    if (++lines_ <= kMostLines) review_.Look(line, page);
  }

  const std::string& reports() const { return reports_; }
  std::uint64_t MoreLines() const { return lines_ > kMostLines ? lines_ - kMostLines : 0; }
  std::vector<std::string> Notes() const { return review_.Counts(); }

 private:
  TextReview::Settings Settings() {
    TextReview::Settings settings;
    settings.limit = kMostElements;
    settings.sink = [this](const tovkit::JsonValue& report) {
      if (!reports_.empty()) reports_ += ',';
      reports_ += report.ToString().c_str();
    };
    return settings;
  }

  TextReview review_;
  std::string reports_;
  std::uint64_t lines_ = 0;
};

std::string JsonOf(const LineReports& reports, const std::vector<CoreSizeF>& pages) {
  char page[80];
  std::snprintf(page, sizeof page, R"("page":{"width":%.9g,"height":%.9g})",
                static_cast<double>(pages.back().width), static_cast<double>(pages.back().height));
  std::string notes;
  for (const std::string& note : reports.Notes()) {
    notes.append(notes.empty() ? "\"" : ",\"").append(note).append("\"");
  }
  return R"({"lines":[)" + reports.reports() + R"(],"moreLines":)" + std::to_string(reports.MoreLines()) +
         "," + page + R"(,"pages":)" + std::to_string(pages.size()) + R"(,"notes":[)" + notes + "]}\n";
}

DrawJob JobOf(const JobBench& bench, const OutputFormat& format) {
  DrawJob job{{}, {}, Output::Memory(&bench.output, kAnswerName), format};
  job.source = std::make_shared<JsonSource>(InlineInput(bench));
  return job;
}

}  // namespace

void RunInlineDrawKind(Members& members, JobBench& bench, JobResult& result) {
  Members options(members.Take("draw"), "draw");
  members.Finish();
  const WantedOutput wanted = TakeWantedOutput(options, "", OutputKind::kPage);
  DrawJob job = JobOf(bench, wanted.format);
  job.effort = wanted.effort;
  TakePageSize(options, job);
  TakeDpi(options, job);
  TakeBackground(options, job);
  job.onePage = options.TakeFlag("one-page").value_or(false);
  options.Finish();
  Run(job, bench.observer);
  result.mediaType = MediaTypeOf(wanted.format);
}

void RunInlineDescribeKind(Members& members, JobBench& bench, JobResult& result) {
  Members options(members.Take("describe"), "describe");
  members.Finish();
  DrawJob job = JobOf(bench, {});
  TakePageSize(options, job);
  job.onePage = options.TakeFlag("one-page").value_or(false);
  options.Finish();
  LineReports reports;
  const std::vector<CoreSizeF> pages = Measure(job, reports);
  AnswerJson(JsonOf(reports, pages), bench, result);
}

}  // namespace jobs
