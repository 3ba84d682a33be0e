// SPDX-License-Identifier: MIT
// The worker: what the program tovkit-job does. The executor starts it with a socket and a page of shared
// memory. It runs the jobs that come through the socket, and the shared page tells which one is running.
#pragma once

#include "job_kind.h"

#include <vector>

namespace jobs {

// Serves jobs of these kinds, or of InlineKinds where the executor says so, until the executor closes the
// socket. Returns the exit status.
int ServeJobs(const std::vector<JobKind>& kinds);

}  // namespace jobs
