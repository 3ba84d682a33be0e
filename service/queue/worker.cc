// SPDX-License-Identifier: MIT
// The executor has the calling thread, since its processes end with that one; the broker has another.
#include "worker.h"

#include <cstddef>
#include <utility>
#include <vector>

namespace queue {

namespace {

class CourierSink final : public jobs::ResultSink {
 public:
  explicit CourierSink(Courier& courier) : courier_(courier) {}

  void Take(const jobs::JobResult& result) override { taken_.push_back(result); }
  void Pause() override { courier_.Deliver(std::exchange(taken_, {})); }

 private:
  Courier& courier_;
  std::vector<jobs::JobResult> taken_;
};

}  // namespace

Courier::Counts RunWorker(const WorkerOptions& options, jobs::StopRequest& stop, const Tell& tell) {
  // Jobs of a connection that has broken may still be on their way out.
  jobs::LiveSource source(2 * static_cast<std::size_t>(options.courier.prefetch) + 2);
  jobs::Executor executor(options.executor);
  Courier courier(options.courier, source, stop, tell);
  CourierSink sink(courier);
  [[maybe_unused]] const bool exhausted = executor.Run(source, sink, stop);
  courier.Finish();
  return courier.counts();
}

}  // namespace queue
