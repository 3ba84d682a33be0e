// SPDX-License-Identifier: MIT
// Lines are collected and written in large pieces, since a batch may have millions of them.
#include "batch_sink.h"

#include "batch.h"
#include "error.h"

namespace cli {

namespace {

constexpr std::size_t kWrittenAtOnce = 1 << 16;
constexpr std::size_t kMostHeld = 1 << 20;  // bytes that standard output did not take

}  // namespace

void BatchSink::Notice(const jobs::JobResult& result) {
  if (result.kind != jobs::FailureKind::kNone) failing_();
}

// A worker knows no files: it calls the text of its job "job" and the template "template".
std::string BatchSink::MessageOf(const jobs::JobResult& result) const {
  const std::string job = std::string(jobs::kJobName) + ":1:";
  const std::string jobTemplate = std::string(jobs::kTemplateName) + ":";
  const auto begins = [&result](const std::string& text) {
    return result.message.compare(0, text.size(), text) == 0;
  };
  if (!result.excerpt || result.line == 0) return result.message;
  if (begins(job)) {
    return names_.jobs + ":" + std::to_string(result.line) + ":" + result.message.substr(job.size());
  }
  return begins(jobTemplate) ? names_.jobTemplate + ":" + result.message.substr(jobTemplate.size())
                             : result.message;
}

void BatchSink::Take(const jobs::JobResult& taken) {
  jobs::JobResult result = taken;
  result.message = MessageOf(taken);
  if (result.excerpt && !firstMisread_) firstMisread_ = result;
  const bool failed = result.kind != jobs::FailureKind::kNone;
  const bool skipped = result.state == jobs::JobState::kSkipped;
  ++total_;
  failed_ += failed ? 1 : 0;
  skipped ? progress_.CountSkipped() : progress_.Count(failed);
  if (!skipped) lines_ += ToJsonLine(result);
  if (lines_.size() >= kWrittenAtOnce) Write();
}

void BatchSink::TakeLeft(const jobs::QueuedJob& job) {
  jobs::JobResult result;
  result.id = job.id;
  result.state = jobs::JobState::kSkipped;
  result.attempts = 0;
  result.message = "not begun, as a job had failed";
  ++total_;
  ++left_;
  progress_.CountSkipped();
  lines_ += ToJsonLine(result);
  if (lines_.size() >= kWrittenAtOnce) Write();
}

void BatchSink::Pause() {
  Write();
  progress_.Show();
}

void BatchSink::Write() {
  if (file_ != nullptr) {
    if (!lines_.empty()) file_->Append(lines_);
    lines_.clear();
    return;
  }
  standardOutput_.Write(lines_);
  lines_.clear();
  // Jobs wait for a reader that is slow; those that run at a request to stop do not.
  while (standardOutput_.held() > kMostHeld && stop_.level() == jobs::StopRequest::kNone) {
    StandardOutput::Await(stop_.descriptor());
    standardOutput_.Write("");
    progress_.Show();
  }
}

void BatchSink::Finish() {
  Write();
  while (standardOutput_.held() != 0) {
    if (stop_.level() == jobs::StopRequest::kNow) {
      throw CommandError("interrupted before standard output took all results", kInterrupted);
    }
    StandardOutput::Await(-1);
    standardOutput_.Write("");
  }
}

}  // namespace cli
