// SPDX-License-Identifier: MIT
// A job on its way is a flight, whose number is the id that the executor knows it by. Results are posted to
// the desk's thread, so nothing here is shared but the source.
#include "job_desk.h"

#include "jobs/error.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <utility>

namespace service {

namespace {

using jobs::FailureKind;
using jobs::JobResult;

// Between two starts of an executor: each is twice the one before, up to the longest.
constexpr std::chrono::milliseconds kFirstPause{100};
constexpr std::chrono::milliseconds kLongestPause{10000};

const char* StateOf(const JobResult& result) {
  switch (result.kind) {
    case FailureKind::kNone:
      return "done";
    case FailureKind::kDeadline:
      return "late";
    case FailureKind::kCrash:
      return "crashed";
    default:
      return "failed";
  }
}

}  // namespace

// Lives in the executor's thread.
class JobDesk::Sink final : public jobs::ResultSink {
 public:
  explicit Sink(JobDesk& desk) : desk_(desk) {}

  void Take(const JobResult& result) override {
    desk_.post_([desk = &desk_, own = JobResult(result)]() mutable { desk->Land(std::move(own)); });
  }
  void WorkerBegan() override {
    hasBegun_ = true;
    desk_.post_([desk = &desk_] { desk->whyDown_.clear(); });
  }
  void WorkerReplaced() override {
    desk_.post_([desk = &desk_] { desk->watcher_.replaced(); });
  }

  // Whether there ever was a worker.
  bool hasBegun() const { return hasBegun_; }

 private:
  JobDesk& desk_;
  bool hasBegun_ = false;
};

JobDesk::JobDesk(const jobs::ExecutorOptions& options, std::size_t capacity, Post post, Watcher watcher)
    : options_(options), source_(capacity), post_(std::move(post)), watcher_(std::move(watcher)) {
  options_.runner.namesNoFiles = true;
  options_.runner.directory = "/";  // nothing is written
  options_.attempts = 1;
  options_.ahead = false;
}

JobDesk::~JobDesk() {
  StopNow();
  if (crew_.joinable()) crew_.join();
}

void JobDesk::Start() {
  crew_ = std::thread([this] { Run(); });
}

void JobDesk::Close() {
  source_.Close();
  const std::lock_guard lock(mutex_);
  isClosed_ = true;
  closing_.notify_all();
}

void JobDesk::StopNow() {
  Close();
  stop_.Raise();
  stop_.Raise();
}

// Workers that could be started may be again: a file of fonts comes back, others give memory back.
void JobDesk::Run() {
  Sink sink(*this);
  std::chrono::milliseconds pause = kFirstPause;
  for (;;) {
    const auto start = Clock::now();
    const std::string failure = RunExecutor(sink);
    if (!failure.empty()) post_([this, failure] { OnFailure(failure); });
    if (failure.empty() || !sink.hasBegun()) return post_([this, failure] { watcher_.stopped(failure); });
    if (Clock::now() - start > kLongestPause) pause = kFirstPause;
    if (!Rest(pause)) return post_([this] { watcher_.stopped(""); });
    pause = std::min(2 * pause, kLongestPause);
  }
}

// Why it has failed; empty when it has done what it should.
std::string JobDesk::RunExecutor(Sink& sink) {
  try {
    return jobs::Executor(options_).Run(source_, sink, stop_) ? "" : "interrupted";
  } catch (const std::exception& e) {
    return e.what();
  }
}

// False when no further jobs come.
bool JobDesk::Rest(std::chrono::milliseconds pause) {
  std::unique_lock lock(mutex_);
  return !closing_.wait_for(lock, pause, [this] { return isClosed_; });
}

// Nobody has the jobs any more.
void JobDesk::OnFailure(const std::string& failure) {
  whyDown_ = failure;
  Outcome outcome;
  outcome.whyNoWorker = failure;
  while (!flights_.empty()) {
    const std::uint64_t number = flights_.begin()->first;
    static_cast<void>(source_.Cancel(std::to_string(number)));
    Tell(number, outcome, "failed");
  }
}

std::size_t JobDesk::running() const {
  const std::size_t queued = source_.size();
  return flights_.size() > queued ? flights_.size() - queued : 0;
}

// One that is as old as a job may become takes nobody in, so that it has an end.
std::uint64_t JobDesk::FindFlight(const std::string& key, Clock::time_point now) const {
  const auto known = byKey_.find(key);
  if (known == byKey_.end()) return 0;
  return now - flights_.at(known->second).since < options_.timeout ? known->second : 0;
}

// The number is taken before anything can fail: no answer may ever be that of another job.
std::uint64_t JobDesk::Begin(Job&& job, Clock::time_point now) {
  const std::uint64_t number = nextFlight_++;
  jobs::QueuedJob queued{0, std::to_string(number), std::move(job.text)};
  queued.input = std::move(job.input);
  const auto awaited = std::make_shared<std::atomic<Clock::time_point>>(Clock::time_point());
  queued.awaited = awaited;
  if (source_.Add(std::move(queued)) != jobs::LiveSource::Added::kQueued) return 0;
  byKey_[job.key] = number;
  flights_[number] = {job.key, job.kind, now, awaited, {}};
  return number;
}

std::optional<JobDesk::Ticket> JobDesk::Ask(Job&& job, Told told) {
  const Clock::time_point now = Clock::now();
  const Clock::time_point end = now + options_.timeout;
  std::uint64_t number = FindFlight(job.key, now);
  if (number != 0) {
    flights_[number].awaited->store(end);
  } else {
    number = Begin(std::move(job), now);
    if (number == 0) return std::nullopt;
  }
  const Ticket ticket = nextTicket_++;
  flights_[number].waiters[ticket] = std::move(told);
  tickets_[ticket] = {number, end};
  return ticket;
}

// Takes somebody who waits away. A job that nobody else waits for, and that has not begun, ends so.
void JobDesk::Leave(Ticket ticket, const char* state) {
  const std::uint64_t number = tickets_.at(ticket).flight;
  tickets_.erase(ticket);
  Flight& flight = flights_.at(number);
  flight.waiters.erase(ticket);
  if (!flight.waiters.empty() || !source_.Cancel(std::to_string(number))) return;
  watcher_.ended(flight.kind, state, 0);
  Forget(number);
}

void JobDesk::Forget(std::uint64_t number) {
  const auto flight = flights_.find(number);
  const auto named = byKey_.find(flight->second.key);
  if (named != byKey_.end() && named->second == number) byKey_.erase(named);
  flights_.erase(flight);
}

void JobDesk::TakeBack(Ticket ticket) {
  if (tickets_.count(ticket) != 0) Leave(ticket, "canceled");
}

void JobDesk::ExpireLate() {
  const Clock::time_point now = Clock::now();
  char text[80];
  std::snprintf(text, sizeof text, "job: not done within %g s, the wait for a worker included",
                static_cast<double>(options_.timeout.count()) / 1000);
  Outcome outcome;
  outcome.result.kind = FailureKind::kDeadline;
  outcome.result.message = text;
  while (!tickets_.empty() && tickets_.begin()->second.end <= now) {
    const auto [ticket, waiting] = *tickets_.begin();
    const Told told = std::move(flights_.at(waiting.flight).waiters.at(ticket));
    Leave(ticket, "late");
    told(outcome);
  }
}

void JobDesk::Land(JobResult&& result) {
  Outcome outcome;
  outcome.result = std::move(result);
  if (outcome.result.kind == FailureKind::kNone) {
    outcome.answer = std::make_shared<const Answer>(
        Answer{std::move(outcome.result.mediaType), std::move(outcome.result.content).value_or("")});
  }
  Tell(std::strtoull(outcome.result.id.c_str(), nullptr, 10), outcome, StateOf(outcome.result));
}

void JobDesk::Tell(std::uint64_t number, const Outcome& outcome, const std::string& state) {
  const auto found = flights_.find(number);
  if (found == flights_.end()) return;  // it was taken back
  const Flight flight = found->second;
  Forget(number);
  watcher_.ended(flight.kind, state, outcome.result.seconds);
  for (const auto& [ticket, told] : flight.waiters) tickets_.erase(ticket);
  for (const auto& [ticket, told] : flight.waiters) told(outcome);
}

}  // namespace service
