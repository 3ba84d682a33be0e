// SPDX-License-Identifier: MIT
// DrawReview: what `tovkit draw` tells of the lines besides drawing them: a report, notes, a refusal.
#pragma once

#include "jobs/output.h"
#include "jobs/text_review.h"
#include "report_table.h"

#include <tovmx/stream.h>

#include <cstdint>
#include <optional>
#include <string>

namespace cli {

// What the options ask for.
struct ReviewOptions {
  std::string report;  // a file, "-" for standard output, empty for none
  std::string strict;  // names of findings with commas between them; empty for none
  std::uint32_t limit = 1000;
  bool quiet = false;
};

// The kinds that are named, with commas between them; "all" names every one. Nothing when one of them is
// unknown.
[[nodiscard]] std::optional<jobs::TextReview::Mask> ParseFindings(const std::string& names);

class DrawReview {
 public:
  // `output` is where the page goes. Throws UsageError when the report would go there too.
  DrawReview(const ReviewOptions& options, const std::string& output);
  DrawReview(const DrawReview&) = delete;
  DrawReview& operator=(const DrawReview&) = delete;

  void Look(const jobs::MeasuredLine& line, const std::optional<CoreSizeF>& page);

  // Ends the report and prints on standard error, in a line for each kind of finding, what was met first.
  // Throws FindingsError when there are findings that are failures.
  void Conclude();

 private:
  void PrintNotes() const;
  jobs::TextReview::Settings Settings();
  void Take(const tovkit::JsonValue& report);

  ReviewOptions options_;
  bool isNeeded_;
  std::optional<jobs::OutputWriter> file_;
  std::optional<ReportTable> table_;
  jobs::TextReview review_;
};

}  // namespace cli
