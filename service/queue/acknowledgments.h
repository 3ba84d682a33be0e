// SPDX-License-Identifier: MIT
// Acknowledgments: which deliveries of a connection may be acknowledged with one word to the broker, which
// takes "this one and all before it" as one message.
#pragma once

#include <cstdint>
#include <iterator>
#include <set>
#include <vector>

namespace queue {

class Acknowledgments {
 public:
  struct Word {
    std::uint64_t tag = 0;
    bool multiple = false;  // all that were delivered before it too
  };

  // A message has come, and its tag, which is above those of all before it; it is acknowledged, but nobody
  // has been told; it is rejected, which is told by itself.
  void Delivered(std::uint64_t tag) { open_.insert(open_.end(), tag); }
  void Acknowledged(std::uint64_t tag) {
    open_.erase(tag);
    untold_.insert(tag);
  }
  void Rejected(std::uint64_t tag) { open_.erase(tag); }

  // What tells the broker of all that nobody has been told of yet, in as few words as can be.
  std::vector<Word> TakeWords() {
    std::vector<Word> words;
    const auto beyond = open_.empty() ? untold_.end() : untold_.lower_bound(*open_.begin());
    if (beyond != untold_.begin()) words.push_back({*std::prev(beyond), true});
    for (auto tag = beyond; tag != untold_.end(); ++tag) words.push_back({*tag, false});
    untold_.clear();
    return words;
  }

  // With a new connection all is void.
  void Clear() {
    open_.clear();
    untold_.clear();
  }

 private:
  std::set<std::uint64_t> open_;  // neither acknowledged nor rejected
  std::set<std::uint64_t> untold_;
};

}  // namespace queue
