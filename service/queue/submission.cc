// SPDX-License-Identifier: MIT
// One thread: publish while there is room, take what comes, have it written, acknowledge it. What became of
// each job is in an index of constant size:
//
//   expected -> answered                 a result was there before
//   sent     -> answered                 the first result of its text; later ones are dropped
#include "submission.h"

#include "jobs/job_runner.h"
#include "jobs/result.h"
#include "jobs/sha256.h"

#include <tovkit/json.h>

#include <poll.h>

#include <algorithm>
#include <cstdio>
#include <random>
#include <utility>

namespace queue {

namespace {

using std::chrono::milliseconds;

enum State : std::uint64_t { kUnknown, kExpected, kSent, kAnswered };

constexpr std::size_t kMostSending = 1000;           // messages that are not confirmed
constexpr std::size_t kMostSendingBytes = 16 << 20;  // of them
constexpr milliseconds kTurn{200};
constexpr std::chrono::seconds kNoneLeft{3};  // without a result that was there before

bool IsOf(const jobs::IdIndex::Entry& job, const jobs::JobResult& result) {
  return result.jobHash.empty() || jobs::PackHash(result.jobHash) == job.jobHash;
}

}  // namespace

std::string HashOfJob(const std::string& text) {
  try {
    return jobs::Sha256(jobs::ParseJobLine(text, jobs::kJobName)->ToString().c_str());
  } catch (const jobs::Error&) {
    return "";
  }
}

Submission::Submission(SubmitOptions options, jobs::ResultSink& sink, const jobs::StopRequest& stop,
                       Tell tell)
    : options_(std::move(options)),
      sink_(sink),
      stop_(stop),
      tell_(std::move(tell)),
      backOff_(std::random_device{}()) {}

void Submission::Expect(const std::string& id, const std::string& jobHash) {
  jobs::IdIndex::Entry entry = jobs_.Find(id);
  if (entry.number != kUnknown) return;
  entry.line = 1;
  entry.number = kExpected;
  entry.jobHash = jobs::PackHash(jobHash);
  jobs_.Store(entry);
  ++expected_;
}

bool Submission::Run(jobs::JobSource& source) {
  for (;;) {
    try {
      const bool complete = ServeConnection(source);
      if (failure_) std::rethrow_exception(failure_);
      return complete;
    } catch (const BrokerError& error) {
      // What was not confirmed may have come or not: a job that runs twice makes the same bytes.
      for (auto& [sequence, sending] : sending_) toSend_.push_back(std::move(sending));
      sending_.clear();
      sendingBytes_ = 0;
      taken_.Clear();
      strays_.clear();
      if (!MayGoOn(error)) throw;
      if (stop_.level() == jobs::StopRequest::kNone) Pause(error);
      if (stop_.level() != jobs::StopRequest::kNone) return false;
    }
  }
}

void Submission::Open(Connection& connection) {
  if (options_.declare) {
    const std::string dead = options_.jobQueue + ".dead";
    connection.Declare(dead, "");
    connection.Declare(options_.jobQueue, dead);
    if (!options_.resultQueue.empty()) connection.Declare(options_.resultQueue, "");
  }
  connection.CountMessages(options_.jobQueue);
  waiting_ = others_ = 0;
  if (!options_.resultQueue.empty()) {
    if (expected_ != 0) waiting_ = connection.CountMessages(options_.resultQueue);
    connection.Consume(options_.resultQueue, 0, true);
  }
  served_ = true;
  blocked_ = false;
  resend_ = heard_ = arrived_ = Clock::now();
}

bool Submission::ServeConnection(jobs::JobSource& source) {
  Connection connection(options_.broker);
  Open(connection);
  Connection::Event event;
  for (;;) {
    const bool stopping = stop_.level() != jobs::StopRequest::kNone;
    // Some may have gone another way since they were counted.
    if (Clock::now() - arrived_ > kNoneLeft) waiting_ = 0;
    {
      const Connection::Together together(connection);
      if (!stopping && waiting_ == 0) Send(connection, source);
      while (connection.Next(event)) Handle(event);
      sink_.Pause();
      Acknowledge(connection);
    }
    const bool patient = options_.patience.count() == 0 || Clock::now() - heard_ < options_.patience;
    if (IsComplete() || (stopping && sending_.empty()) || !patient) break;
    Await(connection.descriptor(), starving_ ? source.descriptor() : -1);
  }
  if (others_ != 0) {
    tell_(std::to_string(others_) + " results of other jobs stay in '" + options_.resultQueue + "'");
  }
  connection.Close();
  return IsComplete();
}

bool Submission::IsComplete() const {
  return exhausted_ && toSend_.empty() && sending_.empty() &&
         (options_.resultQueue.empty() || outstanding_ == 0);
}

// A person waits: what does not work at first is told at once. Later, also a consumer of our own that the
// broker has not yet missed passes.
bool Submission::MayGoOn(const BrokerError& error) const {
  return served_ && error.cause() != BrokerError::kRefused && error.cause() != BrokerError::kPublish;
}

void Submission::Pause(const BrokerError& error) {
  const milliseconds pause = backOff_.Next();
  tell_(std::string(error.what()) + "; next attempt in " + SecondsText(pause));
  pollfd stopped = {stop_.descriptor(), POLLIN, 0};
  poll(&stopped, 1, static_cast<int>(pause.count()));
}

void Submission::Send(Connection& connection, jobs::JobSource& source) {
  while (!blocked_ && sending_.size() < kMostSending && sendingBytes_ < kMostSendingBytes &&
         HasToSend(source)) {
    // It leaves its place when it is sent: a connection that breaks meanwhile throws.
    Sending& next = toSend_.front();
    const std::uint64_t sequence = connection.Publish(options_.jobQueue, next.text, {next.id, next.id});
    sendingBytes_ += next.text.size();
    sending_.emplace(sequence, std::move(next));
    toSend_.pop_front();
  }
}

// Whether the first of what is to be sent may go now.
bool Submission::HasToSend(jobs::JobSource& source) {
  if (!toSend_.empty() && Clock::now() >= resend_) return true;
  while (!exhausted_) {
    starving_ = !source.IsReady();
    if (starving_) break;
    std::optional<jobs::QueuedJob> job = Read(source);
    if (!job || !IsToSend(*job)) continue;
    toSend_.push_front({std::move(job->id), std::move(job->text)});
    return true;
  }
  return false;
}

// An error of the source is thrown when every job that it has delivered is done.
std::optional<jobs::QueuedJob> Submission::Read(jobs::JobSource& source) {
  std::optional<jobs::QueuedJob> job;
  try {
    job = source.Next();
  } catch (const jobs::Error&) {
    failure_ = std::current_exception();
  }
  exhausted_ = !job;
  return job;
}

// Whether the job has no result yet, which is noted then. One that is no job has one here.
bool Submission::IsToSend(jobs::QueuedJob& job) {
  if (job.refused) {
    job.refused->id = job.id;
    sink_.Notice(*job.refused);
    sink_.Take(*job.refused);
    return false;
  }
  jobs::IdIndex::Entry entry = jobs_.Find(job.id);
  if (entry.number == kAnswered) return false;
  const std::string hash = HashOfJob(job.text);
  if (job.earlier && hash.compare(0, job.earlier->jobHash.size(), job.earlier->jobHash) == 0) {
    jobs::JobResult skipped;
    skipped.id = job.id;
    skipped.state = jobs::JobState::kSkipped;
    sink_.Take(skipped);
    return false;
  }
  entry.line = 1;
  entry.number = kSent;
  entry.jobHash = jobs::PackHash(hash);
  jobs_.Store(entry);
  ++outstanding_;
  return true;
}

void Submission::Handle(const Connection::Event& event) {
  switch (event.kind) {
    case Connection::Event::kDelivered:
      return TakeResult(event.message);
    case Connection::Event::kConfirmed:
      return Confirm(event.sequence, event.multiple, true);
    case Connection::Event::kNotTaken:
      Confirm(event.sequence, event.multiple, false);
      return Postpone("the broker does not take jobs for '" + options_.jobQueue + "'");
    case Connection::Event::kReturned:
      strays_.push_back(event.message.names.messageId);
      return Postpone("no queue '" + options_.jobQueue + "' takes jobs");
    case Connection::Event::kBlocked:
      blocked_ = true;
      return tell_("the broker takes nothing more (" + event.text + "): waiting");
    case Connection::Event::kUnblocked:
      blocked_ = false;
      return tell_("the broker takes messages again");
    case Connection::Event::kCanceled:
      throw BrokerError(BrokerError::kBroken, options_.broker.address.Name() + ": the queue '" +
                                                  options_.resultQueue + "' is gone");
  }
}

// A result that is not ours stays without an answer, and so goes back to its queue with the connection.
void Submission::TakeResult(const Message& message) {
  taken_.Delivered(message.tag);
  if (waiting_ != 0) --waiting_;
  arrived_ = Clock::now();
  const std::optional<jobs::JobResult> result =
      message.size > options_.broker.longest ? std::nullopt : jobs::ParseResultLine(message.body);
  jobs::IdIndex::Entry entry = result ? jobs_.Find(result->id) : jobs::IdIndex::Entry();
  // One of an older text of the job, or of somebody's whose jobs have the same names.
  if (entry.number == kUnknown || !IsOf(entry, *result)) {
    ++others_;
    return;
  }
  heard_ = Clock::now();
  taken_.Acknowledged(message.tag);
  if (entry.number == kAnswered) return;  // of a job that ran twice
  if (entry.number == kSent) --outstanding_;
  entry.number = kAnswered;
  jobs_.Store(entry);
  sink_.Notice(*result);
  sink_.Take(*result);
}

void Submission::Confirm(std::uint64_t sequence, bool multiple, bool taken) {
  const auto end = sending_.upper_bound(sequence);
  for (auto at = multiple ? sending_.begin() : sending_.find(sequence); at != sending_.end() && at != end;) {
    Sending& sending = at->second;
    sendingBytes_ -= sending.text.size();
    const auto stray = std::find(strays_.begin(), strays_.end(), sending.id);
    if (taken && stray == strays_.end()) {
      ++sent_;
      backOff_.Reset();
    } else {
      if (stray != strays_.end()) strays_.erase(stray);
      toSend_.push_back(std::move(sending));
    }
    at = sending_.erase(at);
  }
}

void Submission::Postpone(const std::string& why) {
  if (Clock::now() < resend_) return;
  const milliseconds pause = backOff_.Next();
  resend_ = Clock::now() + pause;
  tell_(why + "; next attempt in " + SecondsText(pause));
}

void Submission::Acknowledge(Connection& connection) {
  for (const Acknowledgments::Word word : taken_.TakeWords()) connection.Acknowledge(word.tag, word.multiple);
}

void Submission::Await(int broker, int source) const {
  // Once raised, the request to stop stays readable.
  const bool stopped = stop_.level() != jobs::StopRequest::kNone;
  pollfd polled[] = {
      {broker, POLLIN, 0}, {source, POLLIN, 0}, {stopped ? -1 : stop_.descriptor(), POLLIN, 0}};
  poll(polled, std::size(polled), static_cast<int>(kTurn.count()));
}

}  // namespace queue
