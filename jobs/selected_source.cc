// SPDX-License-Identifier: MIT
// Filters in a row: the shard, ids and outputs that were met before, and results of an earlier run. A second
// job of the same id or output fails rather than vanishes. Outputs are noted before the shard is looked at,
// so that the tasks of a cluster, which know nothing of each other, never write the same file.
#include "selected_source.h"

#include "error.h"
#include "json_text.h"

namespace jobs {

namespace {

JobResult Duplicate(const QueuedJob& job, const char* what, const std::string& name, std::uint64_t first) {
  std::string quoted;
  AppendJsonString(quoted, name);
  return FailedResult(
      Error(ErrorKind::kInput, "line " + std::to_string(job.line),
            std::string(what) + " " + quoted + " is that of line " + std::to_string(first) + " as well"));
}

}  // namespace

// The line that the job's output belongs to.
std::uint64_t SelectedSource::OwnerOf(const QueuedJob& job) {
  if (job.out.empty()) return job.line;
  IdIndex::Entry entry = outputs_.Find(job.out);
  if (entry.line == 0) {
    entry.line = job.line;
    outputs_.Store(entry);
  }
  return entry.line;
}

std::optional<QueuedJob> SelectedSource::Next() {
  std::optional<QueuedJob> job;
  std::uint64_t owner = 0;
  do {
    job = source_.Next();
    if (!job) return job;
    owner = OwnerOf(*job);
  } while (!shard_.Holds(job->id));
  IdIndex::Entry entry = index_.Find(job->id);
  if (entry.line != 0) {
    job->refused = Duplicate(*job, "the id", job->id, entry.line);
    job->id = "line " + std::to_string(job->line);
    return job;
  }
  if (owner != job->line) job->refused = Duplicate(*job, "the output", job->out, owner);
  if (entry.jobHash != decltype(entry.jobHash){})
    job->earlier = EarlierResult{UnpackHash(entry.jobHash), entry.number};
  entry.line = job->line;
  index_.Store(entry);
  return job;
}

}  // namespace jobs
