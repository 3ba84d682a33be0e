// SPDX-License-Identifier: MIT
// Ledger: what became of the messages that one connection has delivered and that are not acknowledged.
//
//   delivered -> running -> answered -> sent -> confirmed -> settled: acknowledged or rejected
//                               ^        |
//                               +--------+  returned or not taken, after a pause
//
// A message is settled only when the broker has confirmed its result, so whatever breaks, the broker delivers
// it again. With a new connection everything here is void: Clear().
#pragma once

#include "connection.h"

#include "jobs/result.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <unordered_map>
#include <vector>

namespace queue {

class Ledger {
 public:
  struct Delivery {
    std::uint64_t tag = 0;
    std::string id;           // that the result has
    std::string correlation;  // that the result's message has
    std::string digest;       // of the body
  };

  struct Answer {
    Delivery delivery;
    std::string messageId;
    std::string line;  // the result
    bool failed = false;
    bool dead = false;   // the job is rejected then, not acknowledged
    bool stray = false;  // no queue has taken it
  };

  struct Settled {
    std::uint64_t tag = 0;
    bool failed = false;
    bool dead = false;
  };

  // Message ids of results begin with the prefix.
  explicit Ledger(std::string prefix) : prefix_(std::move(prefix)) {}

  // A delivery whose job will run. Returns its ticket, which no other ever has.
  [[nodiscard]] std::uint64_t Admit(Delivery delivery);
  // The result of a ticket; what is quarantined is dead. Null when the ticket is void.
  const Answer* Finish(std::uint64_t ticket, jobs::JobResult&& result);
  // A delivery that is answered without being run.
  void Refuse(Delivery delivery, jobs::JobResult&& result);

  // The answer to send next, null when there is none, and that it was sent.
  [[nodiscard]] const Answer* Front() const { return ready_.empty() ? nullptr : &ready_.front(); }
  void Sent(std::uint64_t sequence);
  [[nodiscard]] std::size_t sentBytes() const { return sentBytes_; }

  // What the broker says of what was sent. What is settled by it is appended.
  void Confirmed(std::uint64_t sequence, bool multiple, std::vector<Settled>& settled);
  void NotTaken(std::uint64_t sequence, bool multiple);
  // Its confirm comes later and settles nothing.
  void Returned(const std::string& messageId);

  // Answers that were returned or not taken are kept until they are sent again.
  [[nodiscard]] std::size_t postponed() const { return postponed_.size(); }
  void SendPostponed();

  // The longest answer that waits for its confirm, null when none does.
  [[nodiscard]] const Answer* LongestSent() const;

  // Tickets of jobs that run.
  [[nodiscard]] std::vector<std::uint64_t> Running() const;
  [[nodiscard]] std::size_t running() const { return running_.size(); }
  // Answers that wait to be sent or confirmed.
  [[nodiscard]] std::size_t unsettled() const { return ready_.size() + sent_.size() + postponed_.size(); }

  void Clear();

 private:
  using Sending = std::map<std::uint64_t, Answer>;

  void Write(Delivery delivery, jobs::JobResult&& result, bool dead);
  // The answers that a word of the broker is about.
  Sending Take(std::uint64_t sequence, bool multiple);

  const std::string prefix_;
  std::uint64_t tickets_ = 0;
  std::uint64_t answers_ = 0;
  std::unordered_map<std::uint64_t, Delivery> running_;
  std::deque<Answer> ready_;
  Sending sent_;  // by sequence
  std::size_t sentBytes_ = 0;
  std::deque<Answer> postponed_;
};

}  // namespace queue
