// SPDX-License-Identifier: MIT
// Courier: carries jobs from a queue to an executor and results back, in a thread of its own that alone has
// the connection. It makes a new one when that breaks, with growing pauses.
//
//   Courier courier(options, jobs, stop, tell);
//   executor.Run(jobs, sink, stop);            // the sink calls Deliver
//   courier.Finish();                          // the last results are confirmed
#pragma once

#include "acknowledgments.h"
#include "back_off.h"
#include "connection.h"
#include "ledger.h"

#include "jobs/folder.h"
#include "jobs/live_source.h"
#include "jobs/result.h"
#include "jobs/stop_request.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace queue {

// Takes a line for a person, from any thread.
using Tell = std::function<void(const std::string&)>;

struct CourierOptions {
  Connection::Settings broker;
  std::string jobQueue;
  std::string resultQueue;
  bool declare = false;  // makes both, and one for what is rejected, where they are not there
  int prefetch = 2;
  int workers = 1;                    // of the executor
  std::chrono::milliseconds idle{0};  // without a job after which the worker ends, 0 for never
};

class Courier {
 public:
  struct Counts {
    std::uint64_t done = 0;
    std::uint64_t failed = 0;
    std::uint64_t dead = 0;  // of the failed ones
  };

  // Begins. Source and request to stop stay the caller's. With the latter the courier gives up when there is
  // no use in going on. Throws jobs::Error when the system has no descriptor left.
  Courier(CourierOptions options, jobs::LiveSource& source, jobs::StopRequest& stop, Tell tell);
  // Lets go of the connection: what is not settled will be delivered again.
  ~Courier();
  Courier(const Courier&) = delete;
  Courier& operator=(const Courier&) = delete;

  // Results whose ids are those of the jobs that the source was given.
  void Deliver(std::vector<jobs::JobResult>&& results);

  // No further results come. Returns when those that the broker takes are confirmed. Throws what made the
  // courier give up: BrokerError.
  void Finish();

  // Of what is settled. Precondition: Finish has returned.
  const Counts& counts() const { return counts_; }

 private:
  using Clock = std::chrono::steady_clock;

  void Serve() noexcept;
  void ServeConnection();
  bool Exchange(Connection& connection);
  void Open(Connection& connection);
  bool MayGoOn(const BrokerError& error) const;
  void Pause(const BrokerError& error);
  void Discard();

  bool TakeResults();
  void Send(Connection& connection);
  void Handle(Connection& connection, Connection::Event& event);
  void Admit(Message&& message);
  void Refuse(Ledger::Delivery&& delivery, jobs::JobResult&& refused);
  void Settle(Connection& connection, const std::vector<Ledger::Settled>& settled);
  void Postpone(const std::string& why);
  void NoteRefusal(const BrokerError& error);
  void EndWhenIdle();
  bool IsOver();
  void AwaitTurn(const Connection& connection, bool spoken);
  void Await(int descriptor, std::chrono::milliseconds longest);
  void SetEnough(std::size_t count);
  void Wake() const;

  const CourierOptions options_;
  jobs::LiveSource& source_;
  jobs::StopRequest& stop_;
  const Tell tell_;
  const jobs::OpenDescriptor wake_;

  std::mutex mutex_;
  std::vector<jobs::JobResult> results_;  // guarded
  std::size_t enough_ = 1;                // guarded; results that wake the thread
  bool finishing_ = false;                // guarded
  bool abandoned_ = false;                // guarded

  // The thread's own.
  Ledger ledger_;
  Acknowledgments acknowledgments_;
  BackOff backOff_;
  bool served_ = false;                                   // a connection has worked
  bool canceled_ = false;                                 // no further jobs were asked for
  bool blocked_ = false;                                  // the broker is full
  bool last_ = false;                                     // no further results come
  Clock::time_point resend_ = Clock::time_point::max();   // when postponed answers are sent again
  Clock::time_point busy_ = Clock::now();                 // the last time that there was a job
  Clock::time_point drained_ = Clock::time_point::max();  // when the last result came
  std::set<std::string> refused_;  // digests of jobs whose results the broker does not take
  std::exception_ptr failure_;
  Counts counts_;

  std::thread thread_;
};

}  // namespace queue
