// SPDX-License-Identifier: MIT
// Filters in a row: the shard, ids and outputs that were met before, and results of an earlier run. A second
// job of the same id or output fails rather than vanishes. Outputs are noted before the shard is looked at,
// so that the tasks of a cluster, which know nothing of each other, never write the same file.
#include "selected_source.h"

#include "error.h"
#include "json_text.h"

#include <utility>

namespace jobs {

namespace {

JobResult Duplicate(const QueuedJob& job, const char* what, const std::string& name, std::uint64_t first) {
  std::string quoted;
  AppendJsonString(quoted, name);
  return FailedResult(
      Error(ErrorKind::kInput, LineName(job.line),
            std::string(what) + " " + quoted + " is that of " + LineName(first) + " as well"));
}

}  // namespace

// The line that the job's output belongs to.
std::uint64_t SelectedSource::OwnerOf(const QueuedJob& job) {
  if (job.out.empty()) return job.line;
  IdIndex::Entry entry = outputs_.Find(names_.WithoutLinks(job.out));
  if (entry.line == 0) {
    entry.line = job.line;
    outputs_.Store(entry);
  }
  return entry.line;
}

// Takes one job of the source. True when Next has an answer then; false for a job of another shard.
bool SelectedSource::Advance() {
  try {
    next_ = source_.Next();
  } catch (const Error&) {
    failure_ = std::current_exception();
    next_.reset();
  }
  if (next_) owner_ = OwnerOf(*next_);
  known_ = !next_ || shard_.Holds(next_->id);
  return known_;
}

bool SelectedSource::IsReady() {
  while (!known_ && source_.IsReady()) Advance();
  return known_;
}

std::optional<QueuedJob> SelectedSource::Next() {
  while (!known_) Advance();
  known_ = false;
  if (failure_) std::rethrow_exception(std::exchange(failure_, nullptr));
  std::optional<QueuedJob> job = std::exchange(next_, std::nullopt);
  if (!job) return job;
  IdIndex::Entry entry = index_.Find(job->id);
  if (entry.line != 0) {
    job->refused = Duplicate(*job, "the id", job->id, entry.line);
    job->id = LineName(job->line);
    return job;
  }
  if (owner_ != job->line) job->refused = Duplicate(*job, "the output", job->out, owner_);
  if (entry.jobHash != decltype(entry.jobHash){})
    job->earlier = EarlierResult{UnpackHash(entry.jobHash), entry.number, UnpackHash(entry.outputHash)};
  job->mayStand = resumed_;
  entry.line = job->line;
  index_.Store(entry);
  return job;
}

}  // namespace jobs
