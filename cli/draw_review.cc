// SPDX-License-Identifier: MIT
// Lines are looked at while they are measured, before anything is drawn: a finding that is a failure costs no
// drawing. A report in a file appears whole; one on a terminal becomes a table.
#include "draw_review.h"

#include "error.h"
#include "failure.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

namespace cli {

std::optional<jobs::TextReview::Mask> ParseFindings(const std::string& names) {
  jobs::TextReview::Mask mask = 0;
  for (std::size_t from = 0; from <= names.size();) {
    // Several options are joined with line feeds.
    const std::size_t to = std::min(names.find_first_of(",\n", from), names.size());
    const std::string name = names.substr(from, to - from);
    const auto& known = jobs::FindingNames();
    const auto found = std::find(known.begin(), known.end(), name);
    if (found == known.end() && name != "all") return std::nullopt;
    mask |= name == "all" ? jobs::TextReview::kAll : 1U << (found - known.begin());
    from = to + 1;
  }
  return mask;
}

DrawReview::DrawReview(const ReviewOptions& options, const std::string& output)
    : options_(options),
      isNeeded_(!options.quiet || !options.report.empty() || !options.strict.empty()),
      review_(Settings()) {
  if (options.report.empty()) return;
  if (options.report == "-" && output == "-") {
    throw UsageError("the page and the report cannot both go to standard output");
  }
  if (options.report != "-") {
    file_.emplace(jobs::Output::File(options.report));
  } else if (isatty(STDOUT_FILENO) == 1) {
    table_.emplace();
  }
}

jobs::TextReview::Settings DrawReview::Settings() {
  jobs::TextReview::Settings settings;
  settings.strict = ParseFindings(options_.strict).value_or(0);
  settings.limit = options_.limit;
  if (!options_.report.empty()) settings.sink = [this](const tovkit::JsonValue& report) { Take(report); };
  return settings;
}

void DrawReview::Take(const tovkit::JsonValue& report) {
  if (table_) {
    table_->Print(report);
    return;
  }
  CoreString line = report.ToString();
  line += "\n";
  const auto length = static_cast<std::size_t>(line.GetLength());
  if (file_) {
    file_->stream().Write(line.c_str(), length);
  } else {
    std::fwrite(line.c_str(), 1, length, stdout);
  }
}

void DrawReview::Look(const jobs::MeasuredLine& line, const std::optional<CoreSizeF>& page) {
  if (isNeeded_) review_.Look(line, page);
}

void DrawReview::Conclude() {
  if (file_) {
    file_->Close();
    file_->Commit();
  }
  if (table_) table_->End(review_.Counts());
  if (!review_.Failures().empty()) throw FindingsError(review_.Failures(), review_.MoreFailures());
  // The table has said it.
  if (!options_.quiet && !table_) PrintNotes();
}

void DrawReview::PrintNotes() const {
  const std::string where = options_.report.empty()  ? "; --report tells all"
                            : options_.report == "-" ? ""
                                                     : "; " + options_.report + " tells all";
  for (const jobs::TextReview::Note& note : review_.Notes()) {
    PrintMessage(note.first,
                 note.more == 0 ? "" : " (and " + std::to_string(note.more) + " more" + where + ")");
  }
}

}  // namespace cli
