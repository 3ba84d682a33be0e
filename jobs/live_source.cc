// SPDX-License-Identifier: MIT
// The event counts to one at most: it is written when the queue stops being empty and read when it becomes
// so.
//
// Between IsReady and Next another thread may take a job back. Next would then have nothing to return, which
// is the end for an executor. So the last job in the queue is not removed but refused.
#include "live_source.h"

#include "error.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <utility>

namespace jobs {

LiveSource::LiveSource(std::size_t capacity)
    : capacity_(std::max<std::size_t>(1, capacity)), event_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (event_.get() < 0) throw Error::OfSystem(ErrorKind::kLimit, "queue", "");
}

LiveSource::Added LiveSource::Add(QueuedJob&& job) {
  const std::lock_guard lock(mutex_);
  if (closed_) return Added::kClosed;
  if (Waiting() >= capacity_) return Added::kFull;
  jobs_.push_back(std::move(job));
  if (jobs_.size() == 1) Signal();
  return Added::kQueued;
}

bool LiveSource::Cancel(const std::string& id) {
  const std::lock_guard lock(mutex_);
  const auto job = std::find_if(jobs_.begin(), jobs_.end(), [&id](const QueuedJob& queued) {
    return queued.id == id && !queued.refused;
  });
  if (job == jobs_.end()) return false;
  if (jobs_.size() > 1) {
    jobs_.erase(job);
    return true;
  }
  QueuedJob refused{job->line, job->id, {}};
  refused.refused.emplace().state = JobState::kSkipped;
  *job = std::move(refused);
  refusedFirst_ = true;
  return true;
}

void LiveSource::Close() {
  const std::lock_guard lock(mutex_);
  if (closed_) return;
  closed_ = true;
  if (jobs_.empty()) Signal();
}

std::size_t LiveSource::size() const {
  const std::lock_guard lock(mutex_);
  return Waiting();
}

// A job that was taken back is the first one, if it is there.
std::size_t LiveSource::Waiting() const { return jobs_.size() - (refusedFirst_ ? 1 : 0); }

std::optional<QueuedJob> LiveSource::Next() {
  const std::lock_guard lock(mutex_);
  if (jobs_.empty()) return std::nullopt;
  QueuedJob job = std::move(jobs_.front());
  jobs_.pop_front();
  refusedFirst_ = false;
  if (jobs_.empty() && !closed_) {
    std::uint64_t count = 0;
    [[maybe_unused]] const ssize_t taken = read(event_.get(), &count, sizeof count);
  }
  return job;
}

bool LiveSource::IsReady() {
  const std::lock_guard lock(mutex_);
  return closed_ || !jobs_.empty();
}

void LiveSource::Signal() {
  const std::uint64_t one = 1;
  [[maybe_unused]] const ssize_t written = write(event_.get(), &one, sizeof one);
}

}  // namespace jobs
