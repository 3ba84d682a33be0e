// SPDX-License-Identifier: MIT
// Copying a document costs a tenth of making it from what the core tells of a line. All reports are in one
// document, since each document takes a whole block of its pool. When it is full everything is forgotten:
// whoever asks for so many lines in turn would not find the oldest one either way.
#include "kept_reports.h"

#include <tovmx/font.h>

#include <functional>
#include <memory>

namespace tovkit {

namespace {

constexpr std::uint32_t kMostReports = 256;
constexpr int kLongestText = 4096;  // bytes of a description or a report

std::string_view ViewOf(const CoreString& text) {
  return {text.c_str(), static_cast<std::size_t>(text.GetLength())};
}

}  // namespace

KeptReports& KeptReports::ForThisThread() {
  // On the heap: a program that loads the library while it runs has room for a few hundred bytes of these
  // only.
  thread_local const auto kept = std::make_unique<KeptReports>();
  return *kept;  // NOLINT(clang-analyzer-cplusplus.NewDelete): the pointer is the thread's and not the
                 // block's
}

// The text ends early at a number that has none, and could then be that of two descriptions.
ReportKey KeptReports::KeyOf(const JsonValue& description, std::uint32_t limit) {
  ReportKey key{description.ToString(), limit, CoreFontGeneration(), 0};
  const std::string_view text = ViewOf(key.text);
  if (text.size() > kLongestText || text.empty() || text.back() != '}') {
    key.text = CoreString();
  } else {
    key.hash = std::hash<std::string_view>()(text) ^ limit;
  }
  return key;
}

void KeptReports::Clear() {
  places_.clear();
  store_ = {};
}

SharedPtr<JsonValue> KeptReports::Copy(const ReportKey& key) {
  const auto known = places_.find(key.hash);
  if (known == places_.end() || key.text.IsEmpty()) return {};
  const Place& place = known->second;
  if (fonts_ != key.fonts || place.text != ViewOf(key.text) || place.limit != key.limit) return {};
  return store_->GetAt(place.index)->Clone();
}

void KeptReports::Offer(const ReportKey& key, const SharedPtr<JsonValue>& report) {
  if (key.text.IsEmpty()) return;
  std::size_t& offered = offered_[key.hash % offered_.size()];
  if (offered != key.hash) {
    offered = key.hash;
    return;
  }
  if (report->ToString().GetLength() > kLongestText) return;
  if (key.fonts != fonts_ || (store_ && store_->Size() == kMostReports)) Clear();
  fonts_ = key.fonts;
  if (!store_) store_ = Json::Parse("[]", 2, nullptr);
  const auto index = static_cast<std::int32_t>(store_->Size());
  if (!store_->Insert(index, report)) return;
  places_.insert_or_assign(key.hash, Place{std::string(ViewOf(key.text)), key.limit, index});
}

}  // namespace tovkit
