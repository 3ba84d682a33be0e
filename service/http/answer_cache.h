// SPDX-License-Identifier: MIT
// AnswerCache: the answers that were asked for last, up to so many bytes.
#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>

namespace service {

struct Answer {
  std::string mediaType;
  std::string bytes;
};

class AnswerCache {
 public:
  // A capacity of 0 keeps nothing.
  explicit AnswerCache(std::uint64_t capacity) : capacity_(capacity) {}

  // Null when it is not there. Counts as a use.
  std::shared_ptr<const Answer> Find(const std::string& key);
  // Does not keep what would take more than a quarter of the room.
  void Add(const std::string& key, std::shared_ptr<const Answer> answer);

  std::uint64_t bytes() const { return bytes_; }
  std::size_t entries() const { return order_.size(); }

 private:
  using Entry = std::pair<std::string, std::shared_ptr<const Answer>>;

  static std::uint64_t CostOf(const Entry& entry);

  const std::uint64_t capacity_;
  std::uint64_t bytes_ = 0;
  std::list<Entry> order_;  // the last used first
  std::unordered_map<std::string, std::list<Entry>::iterator> entries_;
};

}  // namespace service
