// SPDX-License-Identifier: MIT
// Three filters in a row: the shard, ids that were met before, and results of an earlier run. A second job of
// the same id fails rather than vanishes.
#include "selected_source.h"

#include "error.h"
#include "json_text.h"

namespace jobs {

namespace {

JobResult Duplicate(const QueuedJob& job, std::uint64_t first) {
  std::string id;
  AppendJsonString(id, job.id);
  return FailedResult(Error(ErrorKind::kInput, "line " + std::to_string(job.line),
                            "the id " + id + " is that of line " + std::to_string(first) + " as well"));
}

}  // namespace

std::optional<QueuedJob> SelectedSource::Next() {
  std::optional<QueuedJob> job = source_.Next();
  while (job && !shard_.Holds(job->id)) job = source_.Next();
  if (!job) return job;
  IdIndex::Entry entry = index_.Find(job->id);
  if (entry.line != 0) {
    job->refused = Duplicate(*job, entry.line);
    job->id = "line " + std::to_string(job->line);
    return job;
  }
  if (entry.jobHash != decltype(entry.jobHash){})
    job->earlier = EarlierResult{UnpackHash(entry.jobHash), entry.number};
  entry.line = job->line;
  index_.Store(entry);
  return job;
}

}  // namespace jobs
