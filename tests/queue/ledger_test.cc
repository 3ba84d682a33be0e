// SPDX-License-Identifier: MIT
// A message is settled when its result is confirmed, and in no other case.
#include "queue/ledger.h"

#include <gtest/gtest.h>

#include <random>
#include <set>
#include <string>
#include <vector>

namespace {

using jobs::JobResult;
using jobs::JobState;
using queue::Ledger;

JobResult Done() { return {}; }

JobResult InState(JobState state) {
  JobResult result;
  result.state = state;
  if (state != JobState::kDone) result.kind = jobs::FailureKind::kCrash;
  return result;
}

class LedgerTest : public testing::Test {
 protected:
  std::uint64_t Admit(std::uint64_t tag) {
    return ledger_.Admit({tag, "job " + std::to_string(tag), "c", std::to_string(tag)});
  }
  // Sends all that is ready, numbered on.
  void SendAll() {
    while (ledger_.Front() != nullptr) ledger_.Sent(++sequence_);
  }
  std::vector<std::uint64_t> Confirm(std::uint64_t sequence, bool multiple = false) {
    std::vector<Ledger::Settled> settled;
    ledger_.Confirmed(sequence, multiple, settled);
    std::vector<std::uint64_t> tags;
    for (const Ledger::Settled& message : settled) tags.push_back(message.tag);
    return tags;
  }

  Ledger ledger_{"p-"};
  std::uint64_t sequence_ = 0;
};

using Tags = std::vector<std::uint64_t>;

TEST_F(LedgerTest, AnAnswerCarriesTheIdOfItsMessage) {
  const std::uint64_t ticket = Admit(7);
  ASSERT_NE(ledger_.Finish(ticket, Done()), nullptr);
  ASSERT_NE(ledger_.Front(), nullptr);
  EXPECT_EQ(ledger_.Front()->line.rfind(R"({"id":"job 7","state":"done")", 0), 0U) << ledger_.Front()->line;
  EXPECT_EQ(ledger_.Front()->messageId, "p-1");
  EXPECT_EQ(ledger_.Front()->delivery.correlation, "c");
}

TEST_F(LedgerTest, NothingIsSettledBeforeItsConfirm) {
  const std::uint64_t one = Admit(1);
  const std::uint64_t two = Admit(2);
  EXPECT_EQ(Confirm(9, true), Tags());
  ledger_.Finish(two, Done());
  ledger_.Finish(one, Done());
  EXPECT_EQ(Confirm(9, true), Tags());
  SendAll();
  EXPECT_EQ(Confirm(1), Tags({2}));
  EXPECT_EQ(Confirm(1), Tags());
  EXPECT_EQ(Confirm(2), Tags({1}));
  EXPECT_EQ(ledger_.unsettled(), 0U);
  EXPECT_EQ(ledger_.sentBytes(), 0U);
}

TEST_F(LedgerTest, AConfirmOfSeveralIsOfAllBeforeIt) {
  for (std::uint64_t tag = 1; tag <= 5; ++tag) ledger_.Finish(Admit(tag), Done());
  SendAll();
  EXPECT_EQ(Confirm(3, true), Tags({1, 2, 3}));
  EXPECT_EQ(Confirm(4), Tags({4}));
  EXPECT_EQ(Confirm(5, true), Tags({5}));
}

TEST_F(LedgerTest, WhatWasReturnedIsSentAgainAndNotSettled) {
  ledger_.Finish(Admit(1), Done());
  ledger_.Finish(Admit(2), Done());
  SendAll();
  ledger_.Returned("p-1");
  ledger_.Returned("p-99");
  EXPECT_EQ(Confirm(2, true), Tags({2}));
  EXPECT_EQ(ledger_.postponed(), 1U);
  EXPECT_EQ(ledger_.Front(), nullptr);
  ledger_.SendPostponed();
  ASSERT_NE(ledger_.Front(), nullptr);
  EXPECT_EQ(ledger_.Front()->messageId, "p-1");
  SendAll();
  EXPECT_EQ(Confirm(3), Tags({1}));
}

TEST_F(LedgerTest, WhatTheBrokerCouldNotTakeIsSentAgain) {
  for (std::uint64_t tag = 1; tag <= 3; ++tag) ledger_.Finish(Admit(tag), Done());
  SendAll();
  ledger_.NotTaken(2, true);
  EXPECT_EQ(ledger_.postponed(), 2U);
  EXPECT_EQ(Confirm(3, true), Tags({3}));
  ledger_.SendPostponed();
  SendAll();
  EXPECT_EQ(Confirm(5, true), Tags({1, 2}));
}

TEST_F(LedgerTest, QuarantinedAndRefusedOnesAreDead) {
  ledger_.Finish(Admit(1), InState(JobState::kQuarantined));
  ledger_.Finish(Admit(2), InState(JobState::kFailed));
  ledger_.Refuse({3, "x", "", ""}, InState(JobState::kFailed));
  SendAll();
  std::vector<Ledger::Settled> settled;
  ledger_.Confirmed(3, true, settled);
  ASSERT_EQ(settled.size(), 3U);
  EXPECT_TRUE(settled[0].dead);
  EXPECT_FALSE(settled[1].dead);
  EXPECT_TRUE(settled[1].failed);
  EXPECT_TRUE(settled[2].dead);
}

TEST_F(LedgerTest, ANewConnectionMakesEverythingVoid) {
  const std::uint64_t running = Admit(1);
  ledger_.Finish(Admit(2), Done());
  SendAll();
  ledger_.Finish(Admit(3), Done());
  EXPECT_EQ(ledger_.Running(), Tags({running}));
  ledger_.Clear();
  EXPECT_EQ(ledger_.unsettled(), 0U);
  EXPECT_EQ(ledger_.Finish(running, Done()), nullptr);
  EXPECT_EQ(Confirm(9, true), Tags());
  EXPECT_NE(Admit(1), running);
}

TEST_F(LedgerTest, TheLongestAnswerOfThoseSentIsKnown) {
  EXPECT_EQ(ledger_.LongestSent(), nullptr);
  for (std::uint64_t tag = 1; tag <= 3; ++tag) {
    JobResult result;
    result.message = std::string(tag == 2 ? 500 : 5, 'x');
    ledger_.Finish(Admit(tag), std::move(result));
  }
  EXPECT_EQ(ledger_.LongestSent(), nullptr);
  SendAll();
  ASSERT_NE(ledger_.LongestSent(), nullptr);
  EXPECT_EQ(ledger_.LongestSent()->delivery.digest, "2");
}

// Whatever the order in which things happen, each message is settled once, and only behind its confirm.
TEST_F(LedgerTest, EveryMessageIsSettledOnceInAnyOrder) {
  std::mt19937 random(7);
  std::multiset<std::uint64_t> settled;
  std::vector<std::uint64_t> tickets;
  std::uint64_t tag = 0;
  std::uint64_t confirmed = 0;
  while (settled.size() < 2000) {
    switch (random() % 6) {
      case 0:
      case 1:
        if (tag < 2000) tickets.push_back(Admit(++tag));
        break;
      case 2:
        if (!tickets.empty()) {
          std::swap(tickets[random() % tickets.size()], tickets.back());
          ledger_.Finish(tickets.back(), Done());
          tickets.pop_back();
        }
        break;
      case 3:
        SendAll();
        break;
      case 4:
        if (confirmed == sequence_) {
          ledger_.SendPostponed();
        } else if (random() % 4 == 0) {
          confirmed = sequence_;
          ledger_.NotTaken(confirmed, true);
        }
        break;
      default:
        if (confirmed == sequence_) break;
        confirmed += 1 + random() % (sequence_ - confirmed);
        if (random() % 3 == 0 && ledger_.LongestSent() != nullptr)
          ledger_.Returned(ledger_.LongestSent()->messageId);
        for (const std::uint64_t done : Confirm(confirmed, true)) settled.insert(done);
    }
  }
  EXPECT_EQ(std::set<std::uint64_t>(settled.begin(), settled.end()).size(), 2000U);
  EXPECT_EQ(ledger_.unsettled() + ledger_.running(), 0U);
}

}  // namespace
