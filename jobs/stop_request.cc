// SPDX-License-Identifier: MIT
// An eventfd carries the wish: writing to it is allowed in a signal handler, and the executor polls it with
// its workers.
#include "stop_request.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cstdint>

namespace jobs {

StopRequest::StopRequest() : event_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

void StopRequest::Raise() {
  int before = raised_.load();
  while (before < kNow && !raised_.compare_exchange_weak(before, before + 1)) continue;
  Signal();
}

void StopRequest::GiveUp() {
  givenUp_.store(true);
  Signal();
}

StopRequest::Level StopRequest::level() const {
  const int raised = raised_.load();
  return raised == 0 && givenUp_.load() ? kFinish : static_cast<Level>(raised);
}

void StopRequest::Signal() {
  const std::uint64_t one = 1;
  // A failed write means that the counter is full, and then the descriptor is readable already.
  [[maybe_unused]] const ssize_t written = write(event_.get(), &one, sizeof one);
}

}  // namespace jobs
