// SPDX-License-Identifier: MIT
// The parent reads only the id of a job and the name of its output, which it needs to choose shards and to
// find duplicates. Lines that are no JSON are refused here, with the column; everything else is refused by
// the worker.
#include "job_source.h"

#include "error.h"
#include "job_runner.h"
#include "json_text.h"
#include "members.h"
#include "places.h"

#include <utility>

namespace jobs {

namespace {

bool IsLineName(const std::string& id) {
  return id.size() > 5 && id.compare(0, 5, "line ") == 0 &&
         id.find_first_not_of("0123456789", 5) == std::string::npos;
}

}  // namespace

std::string LineName(std::uint64_t line) { return "line " + std::to_string(line); }

void CheckId(const std::string& id, const std::string& place) {
  if (id.empty()) throw Error(ErrorKind::kInput, place, "empty");
  if (!IsUtf8(id)) throw Error(ErrorKind::kInput, place, "the text is no UTF-8");
  if (IsLineName(id))
    throw Error(ErrorKind::kInput, place, "'" + id + "' is the name of a job without an id");
}

FileSource::FileSource(int fd, std::string name, const std::string& jobTemplate, Format format)
    : lines_(fd, std::move(name), kLongestLine) {
  if (!jobTemplate.empty()) template_ = ParseJobLine(jobTemplate, kTemplateName);
  if (format == Format::kCsv) csv_.emplace(lines_).ReadHeader();
}

// The next line that is not blank; false at the end. Throws Error for a line that is no JSON or too long.
bool FileSource::NextText(QueuedJob& job) {
  if (csv_) {
    const bool more = csv_->Next(job.text);
    job.line = csv_->line();
    return more;
  }
  for (;;) {
    const LineReader::Outcome outcome = lines_.Next(job.text);
    job.line = lines_.number();
    if (outcome == LineReader::kEnd) return false;
    if (outcome == LineReader::kTooLong) {
      throw Error(ErrorKind::kLimit, LineName(job.line), "longer than 16 MiB");
    }
    if (job.text.find_first_not_of(" \t\r") != std::string::npos) return true;
  }
}

// A text of the job, its places filled. Nothing for a value of another kind, which is the worker's to refuse.
std::optional<std::string> FileSource::TextMember(const char* name, const tovkit::JsonValue& object,
                                                  const std::string& place) const {
  const auto member = template_ ? template_->GetMember(name) : object.GetMember(name);
  if (!member || member->GetType() != tovkit::JsonString) return std::nullopt;
  const std::string text = TextOf(*member, place + ": " + name);
  return template_ ? FillText(text, object) : text;
}

void FileSource::ReadNames(QueuedJob& job) const {
  const std::string place = LineName(job.line);
  const auto object = ParseJobLine(job.text, lines_.name(), job.line);
  if (auto id = TextMember("id", *object, place)) {
    CheckId(*id, place + ": id");
    job.id = std::move(*id);
  }
  try {
    job.out = TextMember("out", *object, place).value_or("");
  } catch (const Error&) {
    // The worker meets the same, and tells it with the job's own id.
  }
}

// Blank lines are no jobs, and what comes behind them may not be there yet.
bool FileSource::IsReady() {
  if (!lines_.IsReady()) return false;
  if (csv_) return true;
  lines_.SkipBlank();
  return lines_.IsReady();
}

std::optional<QueuedJob> FileSource::Next() {
  QueuedJob job;
  const std::uint64_t before = lines_.offset();
  try {
    if (!NextText(job)) return std::nullopt;
    job.id = LineName(job.line);
    ReadNames(job);
  } catch (const Error& error) {
    // An input that cannot be read any more fails the run, not one job.
    if (lines_.offset() == before) throw;
    if (csv_) job.line = csv_->line();
    job.id = LineName(job.line);
    job.refused = FailedResult(error);
    job.text.clear();
  }
  return job;
}

}  // namespace jobs
