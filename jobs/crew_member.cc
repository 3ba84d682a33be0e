// SPDX-License-Identifier: MIT
// Jobs are kept in the order in which the worker runs them, so that a result belongs to the first. How many a
// worker gets ahead follows from the time that recent ones took: enough that it never waits, few enough that
// a slow job does not hold others up.
#include "crew_member.h"

#include "error.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <utility>

namespace jobs {

namespace {

using Clock = WorkerProcess::Clock;

constexpr double kSecondsAhead = 0.02;  // of work that a worker has at hand
constexpr std::size_t kBytesAhead = 1 << 18;
constexpr int kVainStarts = 10;
constexpr std::chrono::seconds kStartLimit{60};
constexpr std::chrono::seconds kSilence{1};
constexpr double kWeight = 0.1;  // of the latest job in the average

std::size_t SizeOf(const QueuedJob& job) { return job.text.size() + job.input.size(); }

}  // namespace

std::size_t CrewMember::Ahead() const {
  if (!options_.ahead) return 1;
  const double jobs = kSecondsAhead / std::max(secondsPerJob_, 1e-6);
  return std::clamp<std::size_t>(static_cast<std::size_t>(jobs), 2, kMostAhead);
}

CrewMember::CrewMember(const ExecutorOptions& options, int number) : options_(options), number_(number) {
  Start();
}

void CrewMember::Start() {
  WorkerSettings settings;
  settings.runner = options_.runner;
  settings.memory = options_.memory;
  settings.parent = getpid();
  worker_ = std::make_unique<WorkerProcess>(options_.program, settings);
  given_ = 0;
  ready_ = killedLate_ = confused_ = retired_ = false;
  heard_ = Clock::now();
}

bool CrewMember::WantsJobs() const {
  return !retired_ && jobs_.size() <= Ahead() / 2 && bytes_ < kBytesAhead;
}

bool CrewMember::HasRoom() const { return !retired_ && jobs_.size() < Ahead() && bytes_ < kBytesAhead; }

void CrewMember::Add(RunningJob&& job) {
  added_.Put(job.sequence);
  added_.Put(job.job.earlier.has_value());
  if (job.job.earlier) {
    added_.Put(job.job.earlier->jobHash);
    added_.Put(job.job.earlier->bytes);
  }
  added_.Put(job.job.text);
  added_.Put(job.job.input);
  bytes_ += SizeOf(job.job);
  jobs_.push_back(std::move(job));
  retired_ = ++given_ == options_.recycle;
}

void CrewMember::SendJobs() {
  if (added_.empty()) return;
  worker_->Send(added_.TakeFrame());
  heard_ = Clock::now();
}

pollfd CrewMember::Polled() const {
  return {worker_->socket(), static_cast<short>(worker_->HasMoreToSend() ? POLLIN | POLLOUT : POLLIN), 0};
}

// How far the running job, or the start, is beyond its time limit; negative before that. A worker that has
// jobs and runs none is between two of them, for a moment only.
std::chrono::nanoseconds CrewMember::Lateness() const {
  Clock::time_point since;
  const bool runs = ready_ && worker_->Running(since) != 0;
  if (ready_ && !runs && jobs_.empty()) return -kStartLimit;
  if (ready_ && !runs) return Clock::now() - heard_ - options_.timeout - kSilence;
  if (!ready_) return Clock::now() - worker_->started() - kStartLimit;
  Clock::time_point end = since + options_.timeout;
  if (!jobs_.empty() && jobs_.front().job.awaited) end = std::max(end, jobs_.front().job.awaited->load());
  return Clock::now() - end;
}

std::chrono::milliseconds CrewMember::TimeLeft() const {
  return std::max(std::chrono::ceil<std::chrono::milliseconds>(-Lateness()), std::chrono::milliseconds(0));
}

void CrewMember::KillWhenLate() {
  if (killedLate_ || Lateness() < std::chrono::nanoseconds(0)) return;
  killedLate_ = true;
  worker_->Kill();
}

bool CrewMember::Collect(const Deliver& deliver) {
  worker_->SendMore();
  const bool alive = worker_->Receive();
  std::string_view message;
  try {
    while (worker_->NextMessage(message)) Handle(WireReader(message), deliver);
  } catch (const BrokenMessage&) {
    confused_ = true;
    return false;
  }
  if (alive && retired_ && jobs_.empty()) {
    Dismiss();
    Start();
  }
  return alive;
}

void CrewMember::Handle(WireReader message, const Deliver& deliver) {
  heard_ = Clock::now();
  if (!ready_) {
    if (!message.Take<bool>()) throw Error(ErrorKind::kInput, "worker", message.TakeResult().message);
    ready_ = true;
    return;
  }
  while (!message.AtEnd()) {
    const auto sequence = message.Take<std::uint64_t>();
    JobResult result = message.TakeResult();
    // Results come in the order of the jobs.
    if (jobs_.empty() || sequence != jobs_.front().sequence) throw BrokenMessage("a result of no job");
    vainStarts_ = 0;
    const RunningJob job = std::move(jobs_.front());
    jobs_.pop_front();
    result.id = job.job.id;
    result.attempts = job.attempts;
    result.worker = number_;
    result.line = job.job.line;
    bytes_ -= SizeOf(job.job);
    secondsPerJob_ += kWeight * (result.seconds - secondsPerJob_);
    deliver(job, std::move(result));
  }
}

std::optional<CrewMember::Blame> CrewMember::Replace(std::deque<RunningJob>& again) {
  Clock::time_point since;
  std::uint64_t running = worker_->Running(since);
  const double seconds = running == 0 ? 0 : std::chrono::duration<double>(Clock::now() - since).count();
  const bool late = killedLate_;
  if (running == 0 && (late || confused_) && !jobs_.empty()) running = jobs_.front().sequence;
  worker_->Kill();
  std::string end = worker_->WaitForEnd();
  if (confused_) end = "sent what is no result";
  MarkWritten();
  // Of a job that is to blame the attempts are counted. One that had begun and nothing to do was no vain
  // start.
  const bool wasIdle = ready_ && jobs_.empty();
  if (running == 0 && !wasIdle && ++vainStarts_ == kVainStarts) {
    throw Error(ErrorKind::kLimit, options_.program,
                (ready_ ? "workers end without a result: " : "workers end before they begin: ") + end);
  }
  std::optional<Blame> blame;
  for (; !jobs_.empty(); jobs_.pop_back()) {
    if (running != 0 && jobs_.back().sequence == running) {
      blame = Blame{std::move(jobs_.back()), late, seconds,
                    late ? "job: " + WhyLate() : "job: the worker " + end, worker_->HashOf(running)};
    } else {
      again.push_front(std::move(jobs_.back()));
    }
  }
  bytes_ = 0;
  added_ = WireWriter();
  Start();
  return blame;
}

// Jobs run in their order: the outputs up to the last that was written may stand, and nobody will tell of
// them.
void CrewMember::MarkWritten() {
  const auto last = std::find_if(jobs_.rbegin(), jobs_.rend(), [this](const RunningJob& job) {
    return job.sequence == worker_->Written();
  });
  std::for_each(last, jobs_.rend(), [](RunningJob& job) { job.job.mayStand = true; });
}

std::string CrewMember::WhyLate() const {
  char text[60];
  std::snprintf(text, sizeof text, "not done within %g s",
                static_cast<double>(options_.timeout.count()) / 1000);
  return text;
}

void CrewMember::Dismiss() {
  worker_->Finish();
  worker_.reset();
}

}  // namespace jobs
