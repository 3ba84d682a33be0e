// SPDX-License-Identifier: MIT
// What the jobs that name no file have in common.
#pragma once

#include "input.h"
#include "job_kind.h"
#include "output_format.h"

#include <string>

namespace jobs {

// What messages call the input of such a job, and its output.
inline constexpr const char* kInlineName = "body";
inline constexpr const char* kAnswerName = "answer";

inline Input InlineInput(const JobBench& bench) { return Input::Memory(bench.inlined, kInlineName); }

// Gives the result this JSON for an answer.
void AnswerJson(const std::string& json, JobBench& bench, JobResult& result);

void RunInlineDrawKind(Members& members, JobBench& bench, JobResult& result);
void RunInlineDescribeKind(Members& members, JobBench& bench, JobResult& result);
void RunInlineImageKind(Members& members, JobBench& bench, JobResult& result);
void RunInlineInfoKind(Members& members, JobBench& bench, JobResult& result);
void RunInlineHitKind(Members& members, JobBench& bench, JobResult& result);
void RunInlineMapKind(Members& members, JobBench& bench, JobResult& result);

}  // namespace jobs
