// SPDX-License-Identifier: MIT
// TestAccess: the private fields that tests look at. The classes name it as their friend.
#pragma once

#include <tovkit/system.h>

namespace tovkit {

struct TestAccess {
  static constexpr auto threadFields = &Thread::fields;
  static constexpr auto runnableFinished = &Runnable::finished;
  static constexpr auto poolLock = &ThreadPool::lock;
  static constexpr auto poolCondition = &ThreadPool::workAvailable;
  static constexpr auto poolThreadIds = &ThreadPool::threadIds;
  static constexpr auto poolQueueHead = &ThreadPool::queueHead;
  static constexpr auto poolShutdown = &ThreadPool::shutdown;
  static constexpr auto poolThreadCount = &ThreadPool::threadCount;
  static constexpr auto poolQueueSize = &ThreadPool::queueSize;
  static constexpr auto baseState = &Mutex::state;
  static constexpr auto watchState = &WatchedMutex::watchState;
  static constexpr auto processFields = &Process::fields;
  static constexpr auto monitorRecords = &ProcessMonitor::records;
};

}  // namespace tovkit
