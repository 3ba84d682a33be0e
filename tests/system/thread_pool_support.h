// SPDX-License-Identifier: MIT
// A pool in a test: its queue, work that counts and work that waits, and the lines that workers print.
#pragma once

#include "faults.h"
#include "pool_task.h"
#include "test_access.h"

#include <gtest/gtest.h>
#include <tovkit/system.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

using tovkit::PoolTask;
using tovkit::Runnable;
using tovkit::TestAccess;
using tovkit::ThreadPool;

inline constexpr char kWorkLine[] = "----------------------thread start working\n";

inline int QueueSize(ThreadPool& pool) {
  pthread_mutex_lock(&(pool.*TestAccess::poolLock));
  const int size = pool.*TestAccess::poolQueueSize;
  pthread_mutex_unlock(&(pool.*TestAccess::poolLock));
  return size;
}

inline void WaitUntil(const auto& condition) {
  while (!condition()) std::this_thread::sleep_for(std::chrono::microseconds(200));
}

inline void* CountOne(void* counter) {
  ++*static_cast<std::atomic<int>*>(counter);
  return nullptr;
}

// Holds the workers that take it until it is opened.
class Gate : public Runnable {
 public:
  int run() override {
    ++waiting;
    while (!open) usleep(200);
    return 0;
  }
  std::atomic<int> waiting{0};
  std::atomic<bool> open{false};
};

// Every worker line goes to a captured stream, so that the report stays readable.
class ThreadPoolTest : public testing::Test {
 protected:
  void SetUp() override {
    faults::Reset();
    testing::internal::CaptureStdout();
  }
  void TearDown() override {
    faults::Reset();
    if (!taken) testing::internal::GetCapturedStdout();
  }
  std::string Output() {
    taken = true;
    return testing::internal::GetCapturedStdout();
  }
  bool taken = false;
};
