// SPDX-License-Identifier: MIT
// The worker: what the program tovkit-job does. It is started by the executor with a socket and a page of
// shared memory, runs the jobs that come through the one and tells by the other which it is at.
#pragma once

#include "job_kind.h"

#include <vector>

namespace jobs {

// Serves until the executor closes the socket; the exit status. The kinds are those that it knows.
int ServeJobs(const std::vector<JobKind>& kinds);

}  // namespace jobs
