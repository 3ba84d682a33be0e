// SPDX-License-Identifier: MIT
// One item of a pool's queue.
#pragma once

#include <tovkit/system.h>

#include <cstdint>

namespace tovkit {

constexpr int32_t kFunctionTask = 1;
constexpr int32_t kRunnableTask = 2;

// Allocated with malloc; freed by the worker that ran it or by ThreadPool::destroy.
struct PoolTask {
  void* (*function)(void*);
  void* argument;
  Runnable* runnable;  // not owned
  int32_t kind;
  PoolTask* next;
};

}  // namespace tovkit
