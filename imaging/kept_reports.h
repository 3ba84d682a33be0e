// SPDX-License-Identifier: MIT
// KeptReports: what DescribeText returned for descriptions that come again.
//
//   KeptReports& kept = KeptReports::ForThisThread();
//   const ReportKey key = kept.KeyOf(description, limit);
//   if (SharedPtr<JsonValue> report = kept.Copy(key)) return report;
//   ...
//   kept.Offer(key, report);
//
// Thread-safety: every thread has its own.
#pragma once

#include <tovkit/json.h>

#include <tovmx/string.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>

namespace tovkit {

// What a report depends on.
struct ReportKey {
  CoreString text;  // of the description, compact; empty for one whose reports are not kept
  std::uint32_t limit;
  std::uint64_t fonts;  // the generation
  std::size_t hash;     // of text and limit
};

class KeptReports {
 public:
  static KeptReports& ForThisThread();

  // Before the line is described, since fonts may change in the meantime.
  [[nodiscard]] static ReportKey KeyOf(const JsonValue& description, std::uint32_t limit);

  // A document of its own, equal to the one that was kept; a null handle when none was.
  [[nodiscard]] SharedPtr<JsonValue> Copy(const ReportKey& key);

  // Keeps a copy when the key is offered for the second time: most lines are described once.
  void Offer(const ReportKey& key, const SharedPtr<JsonValue>& report);

 private:
  struct Place {
    std::string text;
    std::uint32_t limit;
    std::int32_t index;
  };

  void Clear();

  std::uint64_t fonts_ = 0;     // the generation that the reports are of
  SharedPtr<JsonValue> store_;  // an array of reports
  std::unordered_map<std::size_t, Place> places_;
  std::array<std::size_t, 512> offered_{};  // hashes of keys
};

}  // namespace tovkit
