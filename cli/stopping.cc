// SPDX-License-Identifier: MIT
#include "stopping.h"

#include "batch.h"

#include <unistd.h>

#include <csignal>

namespace cli {

namespace {

constexpr int kRequests[] = {SIGINT, SIGTERM, SIGHUP};

jobs::StopRequest* stopRequest = nullptr;
Stopping::Second onSecond = Stopping::kPassOn;

void PassOn(int) {
  stopRequest->Raise();
  if (onSecond == Stopping::kEnd && stopRequest->level() == jobs::StopRequest::kNow) _exit(kInterrupted);
}

}  // namespace

Stopping::Stopping(jobs::StopRequest& stop, Second second) {
  stopRequest = &stop;
  onSecond = second;
  std::signal(SIGPIPE, SIG_IGN);
  for (const int signal : kRequests) {
    struct sigaction before {};
    sigaction(signal, nullptr, &before);
    if (before.sa_handler != SIG_IGN) std::signal(signal, PassOn);
  }
}

Stopping::~Stopping() {
  for (const int signal : kRequests) std::signal(signal, SIG_IGN);
}

}  // namespace cli
