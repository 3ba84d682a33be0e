// SPDX-License-Identifier: MIT
// Submission: sends jobs to a queue and collects their results from another.
//
//   Submission submission(options, sink, stop, tell);
//   const bool complete = submission.Run(source);
//
// A result is acknowledged when the sink has written it: Pause() of the sink has returned. Results of other
// jobs stay in their queue.
#pragma once

#include "acknowledgments.h"
#include "back_off.h"
#include "connection.h"
#include "courier.h"

#include "jobs/executor.h"
#include "jobs/id_index.h"
#include "jobs/job_source.h"
#include "jobs/stop_request.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <exception>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace queue {

struct SubmitOptions {
  Connection::Settings broker;
  std::string jobQueue;
  std::string resultQueue;                // empty when nobody collects results here
  bool declare = false;                   // makes the queues where they are not there, as CourierOptions
  std::chrono::milliseconds patience{0};  // without a result after which it gives up, 0 for never
};

class Submission {
 public:
  // Sink and request to stop stay the caller's. Throws jobs::Error when there is no room for temporary files.
  Submission(SubmitOptions options, jobs::ResultSink& sink, const jobs::StopRequest& stop, Tell tell);

  // A job that an earlier run may have sent, with its hash: a result of it that waits is taken, and the job
  // is not sent then.
  void Expect(const std::string& id, const std::string& jobHash);

  // Sends the jobs of the source but those that have a result. The first to stop lets the broker confirm what
  // was sent. True when every job is confirmed and has its result, where those are collected; false when it
  // was stopped or has lost its patience before. Throws BrokerError and what the sink throws.
  [[nodiscard]] bool Run(jobs::JobSource& source);

  std::uint64_t sent() const { return sent_; }                // jobs that the broker has
  std::uint64_t outstanding() const { return outstanding_; }  // of these, without a result

 private:
  using Clock = std::chrono::steady_clock;

  struct Sending {
    std::string id;
    std::string text;
  };

  void Open(Connection& connection);
  bool ServeConnection(jobs::JobSource& source);
  bool MayGoOn(const BrokerError& error) const;
  void Pause(const BrokerError& error);
  void Send(Connection& connection, jobs::JobSource& source);
  std::optional<jobs::QueuedJob> Read(jobs::JobSource& source);
  bool HasToSend(jobs::JobSource& source);
  bool IsToSend(jobs::QueuedJob& job);
  void Handle(const Connection::Event& event);
  void TakeResult(const Message& message);
  void Confirm(std::uint64_t sequence, bool multiple, bool taken);
  void Postpone(const std::string& why);
  void Acknowledge(Connection& connection);
  bool IsComplete() const;
  void Await(int broker, int source) const;

  const SubmitOptions options_;
  jobs::ResultSink& sink_;
  const jobs::StopRequest& stop_;
  const Tell tell_;
  BackOff backOff_;
  jobs::IdIndex jobs_;  // `number` is what became of the job
  std::uint64_t expected_ = 0;
  std::uint64_t sent_ = 0;
  std::uint64_t outstanding_ = 0;
  bool exhausted_ = false;      // the source
  bool starving_ = false;       // it has nothing at the moment
  std::exception_ptr failure_;  // of the source
  bool served_ = false;         // a connection has worked
  bool blocked_ = false;
  std::deque<Sending> toSend_;                // the next job, and what was sent and is not with the broker
  Clock::time_point resend_;                  // when the latter is sent
  std::map<std::uint64_t, Sending> sending_;  // by sequence, until it is confirmed
  std::size_t sendingBytes_ = 0;
  std::vector<std::string> strays_;         // ids whose message no queue took; their confirms come later
  Acknowledgments taken_;                   // of results that the sink has, not yet written
  std::uint64_t waiting_ = 0;               // results that were there before, still to come
  std::uint64_t others_ = 0;                // results that are not ours
  Clock::time_point arrived_;               // the last result
  Clock::time_point heard_ = Clock::now();  // the last one that was ours
};

// The SHA-256 of a job as its result tells it; empty for a text that is no job.
[[nodiscard]] std::string HashOfJob(const std::string& text);

}  // namespace queue
