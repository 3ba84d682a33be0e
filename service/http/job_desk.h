// SPDX-License-Identifier: MIT
// JobDesk: hands jobs to an executor, which runs in a thread of its own, and brings their outcomes back to
// the thread that asked. Equal jobs that are asked for at the same time run once.
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

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
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

  // Tells those whose jobs have waited longer than the time limit of a job that they are late.
  void ExpireWaiting();

  // No further jobs come.
  void Close() { source_.Close(); }
  // Nobody waits for what runs.
  void StopNow();

  std::size_t queued() const { return source_.size(); }
  std::size_t running() const;

 private:
  class Sink;
  struct Flight {
    std::string key;
    std::string kind;
    std::chrono::steady_clock::time_point since;
    std::map<Ticket, Told> waiters;
  };

  void Run();
  void Land(jobs::JobResult&& result);
  void Tell(std::uint64_t number, const Outcome& outcome, const std::string& state);

  jobs::ExecutorOptions options_;
  jobs::LiveSource source_;
  jobs::StopRequest stop_;
  Post post_;
  Watcher watcher_;
  std::map<std::uint64_t, Flight> flights_;  // by number, so the oldest first
  std::unordered_map<std::string, std::uint64_t> byKey_;
  std::map<Ticket, std::uint64_t> tickets_;
  std::uint64_t nextFlight_ = 1;
  Ticket nextTicket_ = 1;
  std::thread crew_;
};

}  // namespace service
