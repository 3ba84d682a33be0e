// SPDX-License-Identifier: MIT
#include "answer_cache.h"

namespace service {

namespace {

constexpr std::uint64_t kOverhead = 512;  // bytes of an entry beside its text

}  // namespace

std::uint64_t AnswerCache::CostOf(const Entry& entry) {
  return kOverhead + entry.second->mediaType.size() + entry.second->bytes.size();
}

std::shared_ptr<const Answer> AnswerCache::Find(const std::string& key) {
  const auto found = entries_.find(key);
  if (found == entries_.end()) return nullptr;
  order_.splice(order_.begin(), order_, found->second);
  return found->second->second;
}

void AnswerCache::Add(const std::string& key, std::shared_ptr<const Answer> answer) {
  Entry entry{key, std::move(answer)};
  const std::uint64_t cost = CostOf(entry);
  if (cost > capacity_ / 4 || entries_.count(key) != 0) return;
  order_.push_front(std::move(entry));
  entries_[key] = order_.begin();
  bytes_ += cost;
  while (bytes_ > capacity_) {
    bytes_ -= CostOf(order_.back());
    entries_.erase(order_.back().first);
    order_.pop_back();
  }
}

}  // namespace service
