// SPDX-License-Identifier: MIT
// JobDesk: hands jobs to an executor, which runs in a thread of its own, and brings their outcomes back to
// the thread that asked. Equal jobs that are asked for at the same time run once; each who asks has the time
// limit of a job from then on. An executor that fails, once it had a worker, is started again.
//
//   JobDesk desk(options, [&io](std::function<void()> task) { boost::asio::post(io, std::move(task)); });
//   desk.Start();
//   const JobDesk::Ticket ticket = desk.Ask({key, "draw", job, body}, [](const JobDesk::Outcome& outcome)
//   {...}); desk.Close();   // what is there is done, then `ended` is called
//
// All calls and all callbacks are of one thread.
#pragma once

#include "answer_cache.h"

#include "jobs/executor.h"
#include "jobs/live_source.h"
#include "jobs/result.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

namespace service {

class JobDesk {
 public:
  // Runs a task in the thread that the desk belongs to. Called from another.
  using Post = std::function<void(std::function<void()> task)>;

  struct Job {
    std::string key;  // equal jobs have equal ones
    std::string kind;
    std::string text;   // of a job of jobs::InlineKinds
    std::string input;  // the client's
  };

  // What became of a job: an answer, or the result of one that has none.
  struct Outcome {
    std::shared_ptr<const Answer> answer;
    jobs::JobResult result;
    std::string whyNoWorker;  // empty when there was one
  };
  using Told = std::function<void(const Outcome& outcome)>;
  using Ticket = std::uint64_t;  // 0 is none

  // Who hears of every job that has ended and of workers that were replaced.
  struct Watcher {
    std::function<void(const std::string& kind, const std::string& state, double seconds)> ended;
    std::function<void()> replaced;
    std::function<void(const std::string& failure)>
        stopped;  // no job runs any more; empty when it was asked for
  };

  JobDesk(const jobs::ExecutorOptions& options, std::size_t capacity, Post post, Watcher watcher);
  // Stops at once what still runs. Nothing is told any more.
  ~JobDesk();
  JobDesk(const JobDesk&) = delete;
  JobDesk& operator=(const JobDesk&) = delete;

  void Start();

  // Asks for a job. Nothing when the queue is full; else `told` is called once, later, unless the ticket is
  // taken back before.
  [[nodiscard]] std::optional<Ticket> Ask(Job&& job, Told told);

  // Takes a ticket back. A job that nobody waits for any more does not begin.
  void TakeBack(Ticket ticket);

  // Tells those whose time is over that they are late.
  void ExpireLate();

  // Why there are no workers at the moment; empty when there are. Nobody is there for what is asked for
  // meanwhile.
  const std::string& whyDown() const { return whyDown_; }

  // No further jobs come.
  void Close();
  // Nobody waits for what runs.
  void StopNow();

  std::size_t queued() const { return source_.size(); }
  std::size_t running() const;

 private:
  class Sink;
  using Clock = std::chrono::steady_clock;
  struct Flight {
    std::string key;
    std::string kind;
    Clock::time_point since;
    std::shared_ptr<std::atomic<Clock::time_point>> awaited;
    std::map<Ticket, Told> waiters;
  };
  struct Waiting {
    std::uint64_t flight;
    Clock::time_point end;
  };

  // In the executor's thread.
  void Run();
  std::string RunExecutor(Sink& sink);
  bool Rest(std::chrono::milliseconds pause);

  std::uint64_t FindFlight(const std::string& key, Clock::time_point now) const;
  // 0 when the queue is full.
  std::uint64_t Begin(Job&& job, Clock::time_point now);
  void Leave(Ticket ticket, const char* state);
  void Forget(std::uint64_t number);
  void Land(jobs::JobResult&& result);
  void Tell(std::uint64_t number, const Outcome& outcome, const std::string& state);
  void OnFailure(const std::string& failure);

  jobs::ExecutorOptions options_;
  jobs::LiveSource source_;
  jobs::StopRequest stop_;
  Post post_;
  Watcher watcher_;
  std::map<std::uint64_t, Flight> flights_;  // by number, so the oldest first
  std::unordered_map<std::string, std::uint64_t> byKey_;
  std::map<Ticket, Waiting> tickets_;  // those that end first are first
  std::uint64_t nextFlight_ = 1;
  Ticket nextTicket_ = 1;
  std::string whyDown_;
  std::mutex mutex_;
  std::condition_variable closing_;
  bool isClosed_ = false;  // the mutex guards it
  std::thread crew_;
};

}  // namespace service
