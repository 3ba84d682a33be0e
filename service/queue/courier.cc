// SPDX-License-Identifier: MIT
// One loop of turns: results in, answers out, what the broker says, and a wait for the next. Each turn
// interrupts the broker and the workers: while these have enough to do, many results make one turn.
// Results are published before their jobs are acknowledged, so that a job is lost in no case; where something
// breaks in between, it is delivered again, and the same job makes the same bytes.
#include "courier.h"

#include "message_job.h"

#include "jobs/error.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <utility>

namespace queue {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds kTurn{500};               // heartbeats are sent and missed between two turns
constexpr milliseconds kHeldBack{20};            // the longest time from a turn to the next while that waits
constexpr std::size_t kMany = 16;                // jobs in hand with which the next one may wait,
constexpr std::size_t kManyEach = 4;             // and for each worker
constexpr std::chrono::seconds kPatience{20};    // with a broker that confirms nothing, at the end
constexpr std::size_t kMostSentBytes = 4 << 20;  // that a broker has not confirmed
constexpr std::size_t kMostRefused = 1000;

std::string RandomPrefix() {
  std::random_device random;
  char text[40];
  std::snprintf(text, sizeof text, "%08x%08x-", random(), random());
  return text;
}

}  // namespace

Courier::Courier(CourierOptions options, jobs::LiveSource& source, jobs::StopRequest& stop, Tell tell)
    : options_(std::move(options)),
      source_(source),
      stop_(stop),
      tell_(std::move(tell)),
      wake_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      ledger_(RandomPrefix()),
      backOff_(std::random_device{}()) {
  if (wake_.get() < 0) throw jobs::Error::OfSystem(jobs::ErrorKind::kInput, "queue", "cannot have an event");
  thread_ = std::thread([this] { Serve(); });
}

Courier::~Courier() {
  if (!thread_.joinable()) return;
  {
    const std::lock_guard lock(mutex_);
    abandoned_ = true;
  }
  Wake();
  thread_.join();
}

void Courier::Deliver(std::vector<jobs::JobResult>&& results) {
  if (results.empty()) return;
  bool enough = false;
  {
    const std::lock_guard lock(mutex_);
    const std::size_t before = results_.size();
    std::move(results.begin(), results.end(), std::back_inserter(results_));
    enough = before < enough_ && results_.size() >= enough_;
  }
  results.clear();
  if (enough) Wake();
}

// How many results wake the thread.
void Courier::SetEnough(std::size_t count) {
  const std::lock_guard lock(mutex_);
  enough_ = count;
  if (results_.size() >= count) Wake();
}

void Courier::Finish() {
  {
    const std::lock_guard lock(mutex_);
    finishing_ = true;
  }
  Wake();
  thread_.join();
  if (failure_) std::rethrow_exception(failure_);
}

void Courier::Wake() const {
  const std::uint64_t one = 1;
  // A failed write means that the counter is full, and then the descriptor is readable already.
  [[maybe_unused]] const ssize_t written = write(wake_.get(), &one, sizeof one);
}

void Courier::Serve() noexcept {
  try {
    while (!IsOver()) {
      try {
        ServeConnection();
        return;
      } catch (const BrokerError& error) {
        NoteRefusal(error);
        Discard();
        if (!MayGoOn(error)) throw;
        Pause(error);
      }
    }
  } catch (...) {
    failure_ = std::current_exception();
    stop_.GiveUp();
  }
}

void Courier::Open(Connection& connection) {
  if (options_.declare) {
    const std::string dead = options_.jobQueue + ".dead";
    connection.Declare(dead, "");
    connection.Declare(options_.jobQueue, dead);
    connection.Declare(options_.resultQueue, "");
  }
  connection.CountMessages(options_.resultQueue);
  connection.Consume(options_.jobQueue, options_.prefetch, false);
  tell_(options_.broker.address.Name() + ": taking jobs from '" + options_.jobQueue + "', results go to '" +
        options_.resultQueue + "'");
  served_ = true;
  canceled_ = blocked_ = false;
}

void Courier::ServeConnection() {
  Connection connection(options_.broker);
  Open(connection);
  for (;;) {
    const bool spoken = Exchange(connection);
    if (stop_.level() != jobs::StopRequest::kNone && !canceled_) {
      connection.CancelConsumer();
      canceled_ = true;
    }
    EndWhenIdle();
    if (IsOver()) break;
    AwaitTurn(connection, spoken);
  }
  if (ledger_.unsettled() != 0) {
    tell_(std::to_string(ledger_.unsettled()) +
          " results were not confirmed: their jobs will be delivered again");
  }
  connection.Close();
}

// Sends what there is and hears what the broker says. False when there was nothing of either.
bool Courier::Exchange(Connection& connection) {
  const Connection::Together together(connection);
  bool spoken = TakeResults();
  Send(connection);
  for (Connection::Event event; connection.Next(event); spoken = true) Handle(connection, event);
  for (const Acknowledgments::Word word : acknowledgments_.TakeWords())
    connection.Acknowledge(word.tag, word.multiple);
  Send(connection);
  return spoken;
}

// Before there was a connection a queue that is missing is a wrong name; later somebody may be making it
// anew.
bool Courier::MayGoOn(const BrokerError& error) const {
  if (error.cause() == BrokerError::kRefused) return false;
  return error.cause() != BrokerError::kMissing || served_;
}

void Courier::Pause(const BrokerError& error) {
  const milliseconds pause = backOff_.Next();
  tell_(std::string(error.what()) + "; next attempt in " + SecondsText(pause));
  const auto end = Clock::now() + pause;
  SetEnough(1);
  for (;;) {
    // What runs for the connection that is gone has no use, and its results are void.
    TakeResults();
    EndWhenIdle();
    if (IsOver() || Clock::now() >= end) return;
    Await(-1, std::chrono::ceil<milliseconds>(end - Clock::now()));
  }
}

// Nothing of the connection that is gone can be acknowledged. What has not begun does not begin.
void Courier::Discard() {
  for (const std::uint64_t ticket : ledger_.Running()) source_.Cancel(std::to_string(ticket));
  ledger_.Clear();
  acknowledgments_.Clear();
  resend_ = Clock::time_point::max();
}

// A broker that refuses a result closes the channel. The longest one was too long; its job would be delivered
// and refused again for ever.
void Courier::NoteRefusal(const BrokerError& error) {
  const Ledger::Answer* const longest = ledger_.LongestSent();
  if (error.cause() != BrokerError::kPublish || longest == nullptr) return;
  if (refused_.size() >= kMostRefused) refused_.clear();
  refused_.insert(longest->delivery.digest);
}

// False when there are none.
bool Courier::TakeResults() {
  std::vector<jobs::JobResult> results;
  {
    const std::lock_guard lock(mutex_);
    results.swap(results_);
    last_ = finishing_;
  }
  if (last_ && drained_ == Clock::time_point::max()) drained_ = Clock::now();
  for (jobs::JobResult& result : results) {
    const std::uint64_t ticket = std::strtoull(result.id.c_str(), nullptr, 10);
    const std::string message = result.message;
    const Ledger::Answer* const answer = ledger_.Finish(ticket, std::move(result));
    if (answer != nullptr && answer->dead) {
      tell_("'" + answer->delivery.id + "' goes to the dead letters: " + message);
    }
  }
  if (!results.empty()) busy_ = Clock::now();
  return !results.empty();
}

void Courier::Send(Connection& connection) {
  if (Clock::now() >= resend_) {
    resend_ = Clock::time_point::max();
    ledger_.SendPostponed();
  }
  while (!blocked_ && ledger_.sentBytes() < kMostSentBytes) {
    const Ledger::Answer* const answer = ledger_.Front();
    if (answer == nullptr) return;
    ledger_.Sent(connection.Publish(options_.resultQueue, answer->line,
                                    {answer->messageId, answer->delivery.correlation}));
  }
}

void Courier::Handle(Connection& connection, Connection::Event& event) {
  std::vector<Ledger::Settled> settled;
  switch (event.kind) {
    case Connection::Event::kDelivered:
      acknowledgments_.Delivered(event.message.tag);
      // What was on its way when no more was wanted goes back with the connection.
      if (!canceled_) Admit(std::move(event.message));
      return;
    case Connection::Event::kConfirmed:
      ledger_.Confirmed(event.sequence, event.multiple, settled);
      if (ledger_.postponed() != 0) Postpone("no queue '" + options_.resultQueue + "' takes results");
      Settle(connection, settled);
      return;
    case Connection::Event::kNotTaken:
      ledger_.NotTaken(event.sequence, event.multiple);
      return Postpone("the broker does not take results for '" + options_.resultQueue + "'");
    case Connection::Event::kReturned:
      return ledger_.Returned(event.message.names.messageId);
    case Connection::Event::kBlocked:
      blocked_ = true;
      return tell_("the broker takes nothing more (" + event.text + "): waiting");
    case Connection::Event::kUnblocked:
      blocked_ = false;
      return tell_("the broker takes messages again");
    case Connection::Event::kCanceled:
      if (!canceled_) {
        throw BrokerError(BrokerError::kBroken,
                          options_.broker.address.Name() + ": the queue '" + options_.jobQueue + "' is gone");
      }
  }
}

void Courier::Admit(Message&& message) {
  busy_ = Clock::now();
  MessageJob read = ReadMessage(message, options_.broker.longest);
  const std::string& correlation =
      message.names.correlationId.empty() ? message.names.messageId : message.names.correlationId;
  Ledger::Delivery delivery = {message.tag, std::move(read.id), correlation, std::move(read.digest)};
  if (refused_.count(delivery.digest) != 0) {
    read.refused = jobs::FailedResult(
        jobs::Error(jobs::ErrorKind::kLimit, "result", "it is longer than the broker takes messages"));
  }
  if (read.refused) return Refuse(std::move(delivery), std::move(*read.refused));
  jobs::QueuedJob job;
  job.line = ledger_.Admit(std::move(delivery));
  job.id = std::to_string(job.line);
  job.text = std::move(message.body);
  // There is room: no more are delivered than it was made for.
  [[maybe_unused]] const auto added = source_.Add(std::move(job));
}

void Courier::Refuse(Ledger::Delivery&& delivery, jobs::JobResult&& refused) {
  tell_("'" + delivery.id + "' goes to the dead letters: " + refused.message);
  ledger_.Refuse(std::move(delivery), std::move(refused));
}

void Courier::Settle(Connection& connection, const std::vector<Ledger::Settled>& settled) {
  for (const Ledger::Settled& message : settled) {
    if (message.dead) {
      connection.Reject(message.tag);
      acknowledgments_.Rejected(message.tag);
    } else {
      acknowledgments_.Acknowledged(message.tag);
    }
    ++(message.failed ? counts_.failed : counts_.done);
    counts_.dead += message.dead ? 1 : 0;
  }
  if (!settled.empty()) backOff_.Reset();
}

void Courier::Postpone(const std::string& why) {
  if (resend_ != Clock::time_point::max()) return;
  const milliseconds pause = backOff_.Next();
  resend_ = Clock::now() + pause;
  tell_(why + "; next attempt in " + SecondsText(pause));
}

void Courier::EndWhenIdle() {
  if (ledger_.running() != 0 || ledger_.unsettled() != 0) busy_ = Clock::now();
  if (options_.idle.count() != 0 && Clock::now() - busy_ >= options_.idle) stop_.GiveUp();
}

bool Courier::IsOver() {
  {
    const std::lock_guard lock(mutex_);
    if (abandoned_) return true;
    last_ = finishing_ && results_.empty();
  }
  // What the broker has sent back is not waited for.
  return last_ && (ledger_.unsettled() == ledger_.postponed() || Clock::now() - drained_ > kPatience);
}

// The next turn waits for a third of what runs when the last one had something to say. With slow jobs it
// mostly has nothing, and the first result is heard at once.
void Courier::AwaitTurn(const Connection& connection, bool spoken) {
  const std::size_t running = ledger_.running();
  const std::size_t many = std::max(kMany, kManyEach * static_cast<std::size_t>(options_.workers));
  const bool maySleep = spoken && !canceled_ && running >= many;
  SetEnough(maySleep ? running / 3 : 1);
  if (maySleep) {
    Await(-1, kHeldBack);
  } else {
    Await(connection.descriptor(), kTurn);
  }
}

// Waits until the descriptor can be read, somebody wants something, or the time is over.
void Courier::Await(int descriptor, milliseconds longest) {
  milliseconds pause = longest;
  if (resend_ != Clock::time_point::max()) {
    pause = std::clamp(std::chrono::ceil<milliseconds>(resend_ - Clock::now()), milliseconds(0), longest);
  }
  // Once raised, the request to stop stays readable.
  const bool stopped = stop_.level() != jobs::StopRequest::kNone;
  pollfd polled[] = {
      {wake_.get(), POLLIN, 0}, {descriptor, POLLIN, 0}, {stopped ? -1 : stop_.descriptor(), POLLIN, 0}};
  poll(polled, std::size(polled), static_cast<int>(std::max(pause, milliseconds(0)).count()));
  std::uint64_t count = 0;
  [[maybe_unused]] const ssize_t taken = read(wake_.get(), &count, sizeof count);
}

}  // namespace queue
