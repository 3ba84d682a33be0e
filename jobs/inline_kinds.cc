// SPDX-License-Identifier: MIT
#include "inline_kinds.h"

namespace jobs {

void AnswerJson(const std::string& json, JobBench& bench, JobResult& result) {
  bench.output.Write(json.data(), json.size());
  result.mediaType = "application/json";
}

std::vector<JobKind> InlineKinds() {
  return {{"draw", RunInlineDrawKind, false},   {"describe", RunInlineDescribeKind, false},
          {"image", RunInlineImageKind, false}, {"info", RunInlineInfoKind, false},
          {"hit", RunInlineHitKind, false},     {"map", RunInlineMapKind, false}};
}

}  // namespace jobs
