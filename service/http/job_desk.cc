// SPDX-License-Identifier: MIT
// A job on its way is a flight, whose number is the id that the executor knows it by. Results are posted to
// the desk's thread, so nothing here is shared but the source.
#include "job_desk.h"

#include "jobs/error.h"

#include <cstdlib>
#include <exception>
#include <utility>

namespace service {

namespace {

using jobs::FailureKind;
using jobs::JobResult;

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
  void WorkerReplaced() override {
    desk_.post_([desk = &desk_] { desk->watcher_.replaced(); });
  }

 private:
  JobDesk& desk_;
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

void JobDesk::StopNow() {
  source_.Close();
  stop_.Raise();
  stop_.Raise();
}

void JobDesk::Run() {
  std::string failure;
  try {
    Sink sink(*this);
    if (!jobs::Executor(options_).Run(source_, sink, stop_)) failure = "interrupted";
  } catch (const std::exception& e) {
    failure = e.what();
  }
  post_([this, failure] { watcher_.stopped(failure); });
}

std::size_t JobDesk::running() const {
  const std::size_t queued = source_.size();
  return flights_.size() > queued ? flights_.size() - queued : 0;
}

std::optional<JobDesk::Ticket> JobDesk::Ask(Job&& job, Told told) {
  const auto known = byKey_.find(job.key);
  std::uint64_t number = known == byKey_.end() ? 0 : known->second;
  if (number == 0) {
    number = nextFlight_;
    jobs::QueuedJob queued{0, std::to_string(number), std::move(job.text)};
    queued.input = std::move(job.input);
    if (source_.Add(std::move(queued)) != jobs::LiveSource::Added::kQueued) return std::nullopt;
    ++nextFlight_;
    byKey_[job.key] = number;
    flights_[number] = {job.key, job.kind, std::chrono::steady_clock::now(), {}};
  }
  const Ticket ticket = nextTicket_++;
  flights_[number].waiters[ticket] = std::move(told);
  tickets_[ticket] = number;
  return ticket;
}

void JobDesk::TakeBack(Ticket ticket) {
  const auto found = tickets_.find(ticket);
  if (found == tickets_.end()) return;
  const std::uint64_t number = found->second;
  tickets_.erase(found);
  Flight& flight = flights_[number];
  flight.waiters.erase(ticket);
  if (!flight.waiters.empty() || !source_.Cancel(std::to_string(number))) return;
  watcher_.ended(flight.kind, "canceled", 0);
  byKey_.erase(flight.key);
  flights_.erase(number);
}

void JobDesk::ExpireWaiting() {
  const auto now = std::chrono::steady_clock::now();
  std::vector<std::uint64_t> late;
  for (const auto& [number, flight] : flights_) {
    if (now - flight.since < options_.timeout) break;
    if (source_.Cancel(std::to_string(number))) late.push_back(number);
  }
  for (const std::uint64_t number : late) {
    Outcome outcome;
    outcome.result.kind = FailureKind::kDeadline;
    outcome.result.message = "job: no worker was free within its time";
    Tell(number, outcome, "late");
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
  const Flight flight = std::move(found->second);
  flights_.erase(found);
  byKey_.erase(flight.key);
  watcher_.ended(flight.kind, state, outcome.result.seconds);
  for (const auto& [ticket, told] : flight.waiters) tickets_.erase(ticket);
  for (const auto& [ticket, told] : flight.waiters) told(outcome);
}

}  // namespace service
