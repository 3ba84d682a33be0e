// SPDX-License-Identifier: MIT
// A worker of a queue: runs the jobs that a broker delivers, until it is stopped.
#pragma once

#include "courier.h"

#include "jobs/executor.h"

namespace queue {

struct WorkerOptions {
  CourierOptions courier;
  jobs::ExecutorOptions executor;
};

// Runs jobs until `stop` is raised: what runs then is finished, its results are confirmed, and nothing else
// was taken from the queue. Returns what was done. Throws BrokerError when the broker refuses the worker, and
// jobs::Error as the executor does. Tells the courier's news.
Courier::Counts RunWorker(const WorkerOptions& options, jobs::StopRequest& stop, const Tell& tell);

}  // namespace queue
