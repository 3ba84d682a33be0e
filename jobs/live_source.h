// SPDX-License-Identifier: MIT
// LiveSource: a bounded queue of jobs that other threads put in while an executor takes them out.
//
//   LiveSource source(64);
//   std::thread crew([&] { finished = executor.Run(source, sink, stop); });
//   if (source.Add({0, "7", R"({"draw": ...})"}) == LiveSource::Added::kFull) ...
//   source.Close();   // the executor does what is queued and returns
//
// Any thread may call Add, Cancel, Close and size; one executor calls the rest.
#pragma once

#include "folder.h"
#include "job_source.h"

#include <cstddef>
#include <deque>
#include <mutex>
#include <optional>
#include <string>

namespace jobs {

class LiveSource final : public JobSource {
 public:
  enum class Added { kQueued, kFull, kClosed };

  // At most so many jobs wait at a time, at least one. Throws Error when the system has no descriptor left.
  explicit LiveSource(std::size_t capacity);

  // Puts a job behind the others. It stays as it is unless it was queued.
  [[nodiscard]] Added Add(QueuedJob&& job);

  // Takes a job that waits back, so that it never runs. False when no job with this id waits: it has begun,
  // or never came. A job that was taken back may still have a result, which then says that it was skipped.
  bool Cancel(const std::string& id);

  // No further jobs come. Those that wait are still handed out.
  void Close();

  // Jobs that wait.
  std::size_t size() const;

  // Precondition: IsReady.
  [[nodiscard]] std::optional<QueuedJob> Next() override;
  bool IsReady() override;
  int descriptor() const override { return event_.get(); }

 private:
  void Signal();
  std::size_t Waiting() const;

  const std::size_t capacity_;
  const OpenDescriptor event_;  // readable while there is a job or the end
  mutable std::mutex mutex_;
  std::deque<QueuedJob> jobs_;
  bool refusedFirst_ = false;  // the first one was taken back
  bool closed_ = false;
};

}  // namespace jobs
