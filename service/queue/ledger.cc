// SPDX-License-Identifier: MIT
#include "ledger.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace queue {

std::uint64_t Ledger::Admit(Delivery delivery) {
  running_.emplace(++tickets_, std::move(delivery));
  return tickets_;
}

const Ledger::Answer* Ledger::Finish(std::uint64_t ticket, jobs::JobResult&& result) {
  const auto found = running_.find(ticket);
  if (found == running_.end()) return nullptr;
  Delivery delivery = std::move(found->second);
  running_.erase(found);
  const bool dead = result.state == jobs::JobState::kQuarantined;
  Write(std::move(delivery), std::move(result), dead);
  return &ready_.back();
}

void Ledger::Refuse(Delivery delivery, jobs::JobResult&& result) {
  Write(std::move(delivery), std::move(result), true);
}

void Ledger::Write(Delivery delivery, jobs::JobResult&& result, bool dead) {
  result.id = delivery.id;
  Answer answer;
  answer.delivery = std::move(delivery);
  answer.messageId = prefix_ + std::to_string(++answers_);
  answer.line = ToJsonLine(result);
  answer.failed = result.kind != jobs::FailureKind::kNone;
  answer.dead = dead;
  ready_.push_back(std::move(answer));
}

void Ledger::Sent(std::uint64_t sequence) {
  sentBytes_ += ready_.front().line.size();
  sent_.emplace(sequence, std::move(ready_.front()));
  ready_.pop_front();
}

Ledger::Sending Ledger::Take(std::uint64_t sequence, bool multiple) {
  Sending taken;
  const auto end = sent_.upper_bound(sequence);
  for (auto at = multiple ? sent_.begin() : sent_.find(sequence); at != sent_.end() && at != end;) {
    sentBytes_ -= at->second.line.size();
    taken.insert(taken.end(), sent_.extract(at++));
  }
  return taken;
}

void Ledger::Confirmed(std::uint64_t sequence, bool multiple, std::vector<Settled>& settled) {
  for (auto& [number, answer] : Take(sequence, multiple)) {
    if (!answer.stray) {
      settled.push_back({answer.delivery.tag, answer.failed, answer.dead});
      continue;
    }
    answer.stray = false;
    postponed_.push_back(std::move(answer));
  }
}

void Ledger::NotTaken(std::uint64_t sequence, bool multiple) {
  for (auto& [number, answer] : Take(sequence, multiple)) {
    answer.stray = false;
    postponed_.push_back(std::move(answer));
  }
}

void Ledger::Returned(const std::string& messageId) {
  const auto found = std::find_if(sent_.begin(), sent_.end(),
                                  [&](const auto& entry) { return entry.second.messageId == messageId; });
  if (found != sent_.end()) found->second.stray = true;
}

void Ledger::SendPostponed() {
  std::move(postponed_.begin(), postponed_.end(), std::back_inserter(ready_));
  postponed_.clear();
}

const Ledger::Answer* Ledger::LongestSent() const {
  const auto longest = std::max_element(sent_.begin(), sent_.end(), [](const auto& one, const auto& other) {
    return one.second.line.size() < other.second.line.size();
  });
  return longest == sent_.end() ? nullptr : &longest->second;
}

std::vector<std::uint64_t> Ledger::Running() const {
  std::vector<std::uint64_t> tickets;
  tickets.reserve(running_.size());
  for (const auto& [ticket, delivery] : running_) tickets.push_back(ticket);
  return tickets;
}

void Ledger::Clear() {
  running_.clear();
  ready_.clear();
  sent_.clear();
  postponed_.clear();
  sentBytes_ = 0;
}

}  // namespace queue
