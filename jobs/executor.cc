// SPDX-License-Identifier: MIT
// One thread and one poll, since sources, workers and the request to stop are all descriptors. The executor
// knows numbers, texts and results; CrewMember knows what a worker is running and which job is to blame for
// its end.
#include "executor.h"

#include "crew_member.h"
#include "error.h"
#include "folder.h"
#include "sha256.h"
#include "worker_process.h"

#include <poll.h>

#include <algorithm>
#include <deque>
#include <exception>
#include <map>
#include <memory>
#include <utility>

namespace jobs {

namespace {

constexpr std::uint64_t kWindow = 4096;  // jobs between the oldest without a result and the newest, in order
constexpr int kLongestPause = 200;       // milliseconds

// One run of an executor.
class Execution {
 public:
  Execution(const ExecutorOptions& options, JobSource& source, ResultSink& sink, const StopRequest& stop)
      : options_(options), source_(source), sink_(sink), stop_(stop) {
    for (int i = 0; i < options.workers; ++i) crew_.push_back(std::make_unique<CrewMember>(options_, i + 1));
  }

  bool Run() {
    while (stop_.level() != StopRequest::kNow) {
      starved_ = false;
      for (const auto& member : crew_) Feed(*member);
      if (IsIdle()) return End();
      Wait();
      for (std::size_t i = 0; i < crew_.size(); ++i) {
        // Asking those that have nothing to say would cost as much as hearing one that has.
        if (polled_[i].revents != 0) Collect(*crew_[i]);
        crew_[i]->KillWhenLate();
      }
      sink_.Pause();
    }
    return false;
  }

 private:
  bool IsIdle() const {
    return again_.empty() && (exhausted_ || stop_.level() != StopRequest::kNone) &&
           std::all_of(crew_.begin(), crew_.end(), [](const auto& member) { return member->IsIdle(); });
  }

  bool End() {
    for (const auto& member : crew_) member->Dismiss();
    sink_.Pause();
    if (failure_) std::rethrow_exception(failure_);
    return exhausted_;
  }

  void Feed(CrewMember& member) {
    if (!member.WantsJobs()) return;
    while (member.HasRoom()) {
      std::optional<RunningJob> job = NextJob();
      if (!job) break;
      member.Add(std::move(*job));
    }
    member.SendJobs();
  }

  // Jobs that lost their worker go first.
  std::optional<RunningJob> NextJob() {
    if (!again_.empty()) {
      RunningJob job = std::move(again_.front());
      again_.pop_front();
      return job;
    }
    while (!exhausted_ && stop_.level() == StopRequest::kNone &&
           (!options_.ordered || next_ < due_ + kWindow)) {
      starved_ = !source_.IsReady();
      if (starved_) break;
      std::optional<QueuedJob> job = ReadJob();
      if (!job) break;
      const std::uint64_t sequence = next_++;
      if (!job->refused) return RunningJob{sequence, std::move(*job)};
      job->refused->id = job->id;
      Deliver(sequence, std::move(*job->refused));
    }
    return std::nullopt;
  }

  // An error of the source is thrown when every job that it has delivered is done.
  std::optional<QueuedJob> ReadJob() {
    try {
      std::optional<QueuedJob> job = source_.Next();
      exhausted_ = !job;
      return job;
    } catch (const Error&) {
      failure_ = std::current_exception();
      exhausted_ = true;
      return std::nullopt;
    }
  }

  void Wait() {
    auto pause = std::chrono::milliseconds(kLongestPause);
    polled_.clear();
    for (const auto& member : crew_) {
      polled_.push_back(member->Polled());
      pause = std::min(pause, member->TimeLeft());
    }
    // Once raised, the descriptor stays readable. Only a second call still counts, and the pause is short
    // enough to see it.
    if (stop_.level() == StopRequest::kNone) polled_.push_back({stop_.descriptor(), POLLIN, 0});
    if (starved_) polled_.push_back({source_.descriptor(), POLLIN, 0});
    // What an interrupted call leaves there says nothing.
    if (poll(polled_.data(), polled_.size(), static_cast<int>(pause.count())) < 0) {
      for (pollfd& polled : polled_) polled.revents = 0;
    }
  }

  void Collect(CrewMember& member) {
    const bool wasReady = member.IsReady();
    const bool alive =
        member.Collect([this](const RunningJob& job, JobResult&& result) { Settle(job, std::move(result)); });
    if (!wasReady && member.IsReady()) sink_.WorkerBegan();
    if (alive) return;
    std::optional<CrewMember::Blame> blame = member.Replace(again_);
    sink_.WorkerReplaced();
    if (!blame) return;
    // It is tried again in the fresh worker, and nowhere else.
    if (blame->job.attempts < options_.attempts) {
      ++blame->job.attempts;
      member.Add(std::move(blame->job));
      member.SendJobs();
      return;
    }
    Settle(blame->job, Quarantined(*blame, member.number()));
  }

  void Settle(const RunningJob& job, JobResult&& result) {
    if (result.kind != FailureKind::kNone && job.job.mayStand) RemoveUntold(job.job);
    Deliver(job.sequence, std::move(result));
  }

  // Removes what stands of a job that has failed, unless an earlier result tells of it.
  void RemoveUntold(const QueuedJob& job) const {
    if (job.out.empty()) return;
    const Folder directory(options_.runner.directory, ErrorKind::kOutput, options_.runner.kept);
    if (!job.earlier || !IsToldOf(directory, job)) directory.RemoveFile(job.out);
  }

  static bool IsToldOf(const Folder& directory, const QueuedJob& job) {
    try {
      const std::string hash = Sha256OfFile(directory.OpenFile(job.out).get());
      return hash.compare(0, job.earlier->outputHash.size(), job.earlier->outputHash) == 0;
    } catch (const Error&) {
      return false;
    }
  }

  static JobResult Quarantined(const CrewMember::Blame& blame, int worker) {
    JobResult result;
    result.id = blame.job.job.id;
    result.state = JobState::kQuarantined;
    result.kind = blame.late ? FailureKind::kDeadline : FailureKind::kCrash;
    result.message = blame.text;
    result.jobHash = blame.jobHash;
    result.seconds = blame.seconds;
    result.attempts = blame.job.attempts;
    result.worker = worker;
    return result;
  }

  void Deliver(std::uint64_t sequence, JobResult&& result) {
    sink_.Notice(result);
    if (!options_.ordered) return sink_.Take(result);
    waiting_.emplace(sequence, std::move(result));
    for (auto first = waiting_.begin(); first != waiting_.end() && first->first == due_;
         first = waiting_.erase(first), ++due_) {
      sink_.Take(first->second);
    }
  }

  const ExecutorOptions& options_;
  JobSource& source_;
  ResultSink& sink_;
  const StopRequest& stop_;
  std::vector<std::unique_ptr<CrewMember>> crew_;
  std::vector<pollfd> polled_;  // the crew's in its order, then the others
  std::deque<RunningJob> again_;
  std::uint64_t next_ = 1;                      // number of the next job
  std::uint64_t due_ = 1;                       // of the next result, in order
  std::map<std::uint64_t, JobResult> waiting_;  // for those before them
  bool exhausted_ = false;
  bool starved_ = false;  // a worker waits for what the source does not have yet
  std::exception_ptr failure_;
};

}  // namespace

Executor::Executor(ExecutorOptions options) : options_(std::move(options)) {
  if (options_.program.empty()) options_.program = FindWorkerProgram();
}

bool Executor::Run(JobSource& source, ResultSink& sink, const StopRequest& stop) {
  // Where they are missing from the beginning no job can be done.
  Folder(options_.runner.directory, ErrorKind::kOutput).Check();
  if (!options_.runner.input.empty()) Folder(options_.runner.input, ErrorKind::kInput).Check();
  return Execution(options_, source, sink, stop).Run();
}

}  // namespace jobs
