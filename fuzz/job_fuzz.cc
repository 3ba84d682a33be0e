// SPDX-License-Identifier: MIT
// A job: the first line, and the bytes behind it as its input. It is run as a line of a batch, with its
// output in memory and no folder to read from, and as what a client of the service sends. Whatever it is, it
// has one result, a failure says why, and the result's line is read back as it was written.
#include "jobs/job_kind.h"
#include "jobs/job_runner.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

namespace {

constexpr std::uint64_t kMostBytes = std::uint64_t{4} << 20;

void Require(bool holds) {
  if (!holds) std::abort();
}

jobs::JobRunner MakeRunner(bool namesNoFiles) {
  // The parser tells of broken texts on standard output.
  if (std::freopen("/dev/null", "w", stdout) == nullptr) std::abort();
  jobs::RunnerOptions options;
  options.namesNoFiles = namesNoFiles;
  options.pixelLimit = kMostBytes;
  options.inlineLimit = kMostBytes;
  options.report = true;
  return jobs::JobRunner(options, namesNoFiles ? jobs::InlineKinds() : jobs::StandardKinds());
}

void CheckResult(const jobs::JobResult& result) {
  Require(result.state == jobs::JobState::kDone || result.state == jobs::JobState::kFailed);
  const bool failed = result.state == jobs::JobState::kFailed;
  Require(failed == (result.kind != jobs::FailureKind::kNone) && failed == !result.message.empty());
  const std::string line = jobs::ToJsonLine(result);
  Require(line.find('\n') == line.size() - 1);
  const std::optional<jobs::JobResult> again =
      jobs::ParseResultLine(std::string_view(line).substr(0, line.size() - 1));
  Require(again.has_value() && jobs::ToJsonLine(*again) == line);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static jobs::JobRunner batch = MakeRunner(false);
  static jobs::JobRunner service = MakeRunner(true);
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const std::size_t end = text.find('\n');
  const std::string_view input = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
  CheckResult(batch.Run(text.substr(0, end)));
  CheckResult(service.Run(text.substr(0, end), std::nullopt, input));
  return 0;
}
