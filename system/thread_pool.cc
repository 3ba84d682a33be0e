// SPDX-License-Identifier: MIT
// ThreadPool and the Runnable that it runs: workers, one queue, one lock, one condition.
//
//     queueHead -> PoolTask -> PoolTask -> ... -> null      taken at the head, appended behind a walk to the
//     end
//
// The lock and the condition live as long as the object, not only from init to destroy. So a late addTask
// still finds its lock, and every call is defined in every state.
#include <tovkit/system.h>

#include <algorithm>
#include <cassert>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "pool_task.h"
#include "shared_field.h"

namespace tovkit {
namespace {

constexpr int kFewestWorkers = 10;

// How long destroy waits for a worker before it broadcasts again: twice as long each time, up to the longest,
// so that a task that runs for hours is not watched a thousand times a second.
constexpr long kFirstJoinSliceNanos = 1'000'000;
constexpr long kLongestJoinSliceNanos = 50'000'000;

timespec After(long nanos) {
  constexpr long kSecond = 1'000'000'000;
  timespec time{};
  clock_gettime(CLOCK_REALTIME, &time);
  time.tv_nsec += nanos;
  if (time.tv_nsec >= kSecond) {
    time.tv_nsec -= kSecond;
    ++time.tv_sec;
  }
  return time;
}

PoolTask* NewTask() {
  auto* task = static_cast<PoolTask*>(std::malloc(sizeof(PoolTask)));
  if (task == nullptr) std::printf("THREAD_WORKER malloc error!\n");
  return task;
}

void RunTask(const PoolTask& task) {
  if (task.kind == kFunctionTask) {
    task.function(task.argument);
  } else if (task.runnable != nullptr) {
    task.runnable->Task();
  }
}

}  // namespace

Runnable::Runnable() : finished(false) {}

Runnable::~Runnable() = default;

int Runnable::Task() {
  StoreShared(finished, false);
  run();
  StoreShared(finished, true);
  return 0;
}

bool Runnable::isFinished() const { return LoadShared(finished); }

ThreadPool::ThreadPool() : threadIds(nullptr), queueHead(nullptr), shutdown(0), threadCount(0), queueSize(0) {
  pthread_mutex_init(&lock, nullptr);
  pthread_cond_init(&workAvailable, nullptr);
}

ThreadPool::~ThreadPool() {
  destroy();
  pthread_cond_destroy(&workAvailable);
  pthread_mutex_destroy(&lock);
}

int ThreadPool::init(int count) {
  if (hasWorkers()) return -1;
  // New workers wait at the lock until the pool is whole.
  pthread_mutex_lock(&lock);
  const char* error = startWorkers(count < kFewestWorkers ? kFewestWorkers : count);
  pthread_mutex_unlock(&lock);
  if (error == nullptr) return 0;
  std::fputs(error, stdout);
  return -1;
}

// Null, or the line that says what failed.
const char* ThreadPool::startWorkers(int count) {
  auto* ids = static_cast<pthread_t*>(std::malloc(static_cast<size_t>(count) * sizeof(pthread_t)));
  if (ids == nullptr) return "m_pThreadId malloc error\n";
  StoreShared(threadIds, ids);
  StoreShared(shutdown, 0);
  for (int i = 0; i < count; ++i) {
    pthread_t created = 0;
    const bool failed = pthread_create(&created, nullptr, &ThreadPool::workerEntry, this) != 0;
    // When a worker cannot be started, threadCount stays unset and a zero ends the row of workers.
    ids[i] = failed ? 0 : created;
    if (failed) return "pthread_create error\n";
  }
  threadCount =
      count;  // the queue is empty, since a pool without workers takes no tasks and destroy leaves none
  return nullptr;
}

bool ThreadPool::hasWorkers() const { return LoadShared(threadIds) != nullptr; }

int ThreadPool::addTask(Runnable* runnable) {
  if (runnable == nullptr) return -1;
  PoolTask* task = NewTask();
  if (task == nullptr) return -1;
  *task = {nullptr, nullptr, runnable, kRunnableTask, nullptr};
  return append(task);
}

int ThreadPool::addTask(void* (*function)(void*), void* argument) {
  PoolTask* task = NewTask();
  if (task == nullptr) return -1;
  *task = {function, argument, nullptr, kFunctionTask, nullptr};
  return append(task);
}

int ThreadPool::append(PoolTask* task) {
  pthread_mutex_lock(&lock);
  if (!hasWorkers()) {
    pthread_mutex_unlock(&lock);
    std::free(task);
    return -1;
  }
  PoolTask** end = &queueHead;
  while (*end != nullptr) end = &(*end)->next;
  *end = task;
  ++queueSize;
  pthread_mutex_unlock(&lock);
  pthread_cond_signal(&workAvailable);
  return 0;
}

void* ThreadPool::workerEntry(void* pool) {
  static_cast<ThreadPool*>(pool)->work();
  return nullptr;
}

void ThreadPool::work() {
  PoolTask* task = nullptr;
  while (takeTask(&task)) {
    RunTask(*task);
    std::free(task);
  }
}

// Waits for work. False when the pool shuts down, even with work queued.
bool ThreadPool::takeTask(PoolTask** task) {
  pthread_mutex_lock(&lock);
  while (queueSize == 0 && LoadShared(shutdown) == 0) pthread_cond_wait(&workAvailable, &lock);
  const bool open = LoadShared(shutdown) == 0;
  if (open) {
    std::printf("----------------------thread start working\n");
    assert(queueHead != nullptr);
    --queueSize;
    *task = queueHead;
    queueHead = queueHead->next;
  }
  pthread_mutex_unlock(&lock);
  return open;
}

int ThreadPool::destroy() {
  if (std::atomic_ref<int32_t>(shutdown).exchange(1) != 0) return -1;
  if (!hasWorkers()) return 0;
  pthread_cond_broadcast(&workAvailable);
  joinWorkers();

  pthread_mutex_lock(&lock);
  std::free(threadIds);
  StoreShared(threadIds, nullptr);
  threadCount = 0;
  PoolTask* task = queueHead;
  queueHead = nullptr;
  queueSize = 0;
  pthread_mutex_unlock(&lock);
  while (task != nullptr) {
    PoolTask* next = task->next;
    std::free(task);
    task = next;
  }
  return 0;
}

// shutdown is set without the lock, so a worker that has just tested it and is about to wait misses the
// broadcast. Therefore it is repeated for every slice of time in which a worker does not end.
void ThreadPool::joinWorkers() {
  const bool whole = threadCount > 0;
  for (int i = 0; whole ? i < threadCount : threadIds[i] != 0; ++i) {
    long slice = kFirstJoinSliceNanos;
    timespec deadline = After(slice);
    while (pthread_timedjoin_np(threadIds[i], nullptr, &deadline) == ETIMEDOUT) {
      pthread_cond_broadcast(&workAvailable);
      slice = std::min(2 * slice, kLongestJoinSliceNanos);
      deadline = After(slice);
    }
  }
}

}  // namespace tovkit
