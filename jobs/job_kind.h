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
  std::string_view inlined = {};  // the input of a job that names no file
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

// The kinds of jobs that name no file: the input comes with the job, the output goes with the result. The
// member of the kind's name holds its options.
//
//   draw      a description -> the page      size, dpi, background, one-page, format, effort
//   describe  a description -> JSON          size, one-page
//   image     a picture -> a picture         frame, steps, quality, format, effort
//   info      a picture -> JSON
//   hit       path and points -> JSON        the input is that of a hit job
//   map       path -> a picture              size, format; the same
std::vector<JobKind> InlineKinds();

}  // namespace jobs
