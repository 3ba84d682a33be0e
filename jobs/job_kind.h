// SPDX-License-Identifier: MIT
// The kinds of jobs that a line of JSON can describe. A kind is the member that names it: {"draw": ...}.
#pragma once

#include "folder.h"
#include "members.h"
#include "observer.h"
#include "result.h"

#include <tovmx/stream.h>

#include <string>
#include <string_view>
#include <vector>

namespace jobs {

// What a kind works with.
struct JobBench {
  const Folder* input;  // where its input files are; null when it may have none
  Observer& observer;
  std::string out;                 // the job's "out", empty when it has none
  CoreMemoryOutputStream& output;  // takes the bytes of `out`
  std::string_view text;           // JSON, where the job's members stand
  const char* textName;
};

struct JobKind {
  const char* name;
  // Takes the members of its kind, which are all but "id" and "out", does the job and completes the result.
  // Throws Error.
  void (*run)(Members& members, JobBench& bench, JobResult& result);
  bool hasOutput;  // needs an "out"; else it may have none
};

void RunDrawKind(Members& members, JobBench& bench, JobResult& result);
void RunImageKind(Members& members, JobBench& bench, JobResult& result);
void RunHitKind(Members& members, JobBench& bench, JobResult& result);

// draw, image and hit.
std::vector<JobKind> StandardKinds();

}  // namespace jobs
