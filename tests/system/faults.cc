// SPDX-License-Identifier: MIT
#include "faults.h"

#include <dlfcn.h>
#include <pthread.h>
#include <semaphore.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <utility>

#include "build_kind.h"

namespace faults {

Fault pthreadCreate, fork, clone, closeRange, posixSpawn, semTimedwait, waitpid, execv, dup2, usleep;
Fault malloc, mremap;
std::atomic<std::size_t> blockSize{0};
std::atomic<void*> countedBlocks[100];
std::vector<TimedJoin> timedJoins;
int joinsToTimeOut = 0;
std::atomic<int> broadcasts{0};
std::atomic<sem_t*> destroyedSemaphore{nullptr};
std::atomic<int> execvResult{0};
timeval fixedTime{};
timespec lastDeadline{};
std::atomic<useconds_t> lastSleep{0};
std::atomic<bool> skipSleeps{false};
std::atomic<int32_t*> flagBeforeCondWait{nullptr};
std::function<void()> afterThreadCreate, beforeSemPost;

void Fault::Fail(int error, int times, int pass) {
  error_ = error;
  pass_ = pass;
  times_ = times;
}

void Fault::Reset() {
  Fail(0, 0, 0);
  calls_ = 0;
}

bool Fault::Strikes() {
  ++calls_;
  if (times_ <= 0) return false;
  if (pass_ > 0) {
    --pass_;
    return false;
  }
  --times_;
  errno = error_;
  return true;
}

void Reset() {
  for (Fault* fault : {&pthreadCreate, &fork, &clone, &closeRange, &posixSpawn, &semTimedwait, &waitpid,
                       &execv, &dup2, &usleep, &malloc, &mremap}) {
    fault->Reset();
  }
  blockSize = 0;
  for (std::atomic<void*>& block : countedBlocks) block = nullptr;
  timedJoins.clear();
  joinsToTimeOut = 0;
  broadcasts = 0;
  execvResult = 0;
  fixedTime = {};
  skipSleeps = false;
  flagBeforeCondWait = nullptr;
  afterThreadCreate = beforeSemPost = nullptr;
}

int BlocksInUse() {
  return static_cast<int>(std::count_if(std::begin(countedBlocks), std::end(countedBlocks),
                                        [](const auto& block) { return block != nullptr; }));
}

// Puts `now` where `before` stands.
[[maybe_unused]] void ReplaceCounted(void* before, void* now) {
  for (std::atomic<void*>& block : countedBlocks) {
    void* expected = before;
    if (block.compare_exchange_strong(expected, now)) return;
  }
}

void CallOnce(std::function<void()>& hook) {
  if (const auto call = std::exchange(hook, nullptr)) call();
}

template <typename Function>
Function Next(const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

}  // namespace faults

// Seen by the library only when they are exported.
#pragma GCC visibility push(default)
extern "C" {

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*entry)(void*),
                   void* argument) {
  static const auto next = faults::Next<decltype(&pthread_create)>("pthread_create");
  if (faults::pthreadCreate.Strikes()) {
    std::memset(thread, 0x5A, sizeof *thread);  // what stands there after a failure is not defined
    return errno;
  }
  const int result = next(thread, attributes, entry, argument);
  faults::CallOnce(faults::afterThreadCreate);
  return result;
}

pid_t fork() noexcept {
  static const auto next = faults::Next<pid_t (*)()>("fork");
  return faults::fork.Strikes() ? -1 : next();
}

int clone(int (*run)(void*), void* stack, int flags, void* argument, ...) noexcept {
  using Clone = int (*)(int (*)(void*), void*, int, void*, ...);
  static const auto next = faults::Next<Clone>("clone");
  return faults::clone.Strikes() ? -1 : next(run, stack, flags, argument);
}

int pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex) {
  static const auto next = faults::Next<decltype(&pthread_cond_wait)>("pthread_cond_wait");
  if (int32_t* flag = faults::flagBeforeCondWait.exchange(nullptr)) {
    const timespec moment{0, 20'000'000};
    while (std::atomic_ref<int32_t>(*flag).load() == 0) sched_yield();
    nanosleep(&moment, nullptr);
  }
  return next(condition, mutex);
}

int close_range(unsigned first, unsigned last, int flags) noexcept {
  static const auto next = faults::Next<int (*)(unsigned, unsigned, int)>("close_range");
  return faults::closeRange.Strikes() ? -1 : next(first, last, flags);
}

int posix_spawn(pid_t* pid, const char* path, const posix_spawn_file_actions_t* actions,
                const posix_spawnattr_t* attributes, char* const* argv, char* const* envp) {
  static const auto next = faults::Next<decltype(&posix_spawn)>("posix_spawn");
  return faults::posixSpawn.Strikes() ? errno : next(pid, path, actions, attributes, argv, envp);
}

void* mremap(void* address, std::size_t oldSize, std::size_t newSize, int flags, ...) noexcept {
  static const auto next = faults::Next<void* (*)(void*, std::size_t, std::size_t, int, ...)>("mremap");
  va_list arguments;
  va_start(arguments, flags);
  void* const target = (flags & MREMAP_FIXED) != 0 ? va_arg(arguments, void*) : nullptr;
  va_end(arguments);
  return faults::mremap.Strikes() ? MAP_FAILED : next(address, oldSize, newSize, flags, target);
}

int pthread_cond_broadcast(pthread_cond_t* condition) noexcept {
  static const auto next = faults::Next<int (*)(pthread_cond_t*)>("pthread_cond_broadcast");
  ++faults::broadcasts;
  return next(condition);
}

int pthread_timedjoin_np(pthread_t thread, void** result, const timespec* deadline) {
  static const auto next = faults::Next<decltype(&pthread_timedjoin_np)>("pthread_timedjoin_np");
  if (faults::joinsToTimeOut == 0) return next(thread, result, deadline);
  const auto nanos = [](const timespec& time) { return int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec; };
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  faults::timedJoins.push_back({nanos(now), nanos(*deadline)});
  --faults::joinsToTimeOut;
  return ETIMEDOUT;
}

int sem_timedwait(sem_t* semaphore, const timespec* deadline) {
  static const auto next = faults::Next<decltype(&sem_timedwait)>("sem_timedwait");
  faults::lastDeadline = *deadline;
  return faults::semTimedwait.Strikes() ? -1 : next(semaphore, deadline);
}

int sem_destroy(sem_t* semaphore) noexcept {
  static const auto next = faults::Next<int (*)(sem_t*)>("sem_destroy");
  faults::destroyedSemaphore = semaphore;
  return next(semaphore);
}

int sem_post(sem_t* semaphore) noexcept {
  static const auto next = faults::Next<int (*)(sem_t*)>("sem_post");
  faults::CallOnce(faults::beforeSemPost);
  return next(semaphore);
}

pid_t waitpid(pid_t pid, int* status, int options) {
  static const auto next = faults::Next<decltype(&waitpid)>("waitpid");
  return faults::waitpid.Strikes() ? -1 : next(pid, status, options);
}

int execv(const char* path, char* const* argv) noexcept {
  static const auto next = faults::Next<int (*)(const char*, char* const*)>("execv");
  if (faults::execvResult != 0) return faults::execvResult;
  return faults::execv.Strikes() ? -1 : next(path, argv);
}

int dup2(int from, int to) noexcept {
  static const auto next = faults::Next<int (*)(int, int)>("dup2");
  return faults::dup2.Strikes() ? -1 : next(from, to);
}

int usleep(useconds_t micros) {
  static const auto next = faults::Next<decltype(&usleep)>("usleep");
  faults::lastSleep = micros;
  if (faults::usleep.Strikes()) return -1;
  return faults::skipSleeps ? 0 : next(micros);
}

int gettimeofday(timeval* time, void* zone) noexcept {
  static const auto next = faults::Next<int (*)(timeval*, void*)>("gettimeofday");
  if (faults::fixedTime.tv_sec == 0) return next(time, zone);
  *time = faults::fixedTime;
  return 0;
}

#if TOVKIT_OWN_MALLOC
void* malloc(std::size_t size) noexcept {
  static const auto next = faults::Next<void* (*)(std::size_t)>("malloc");
  if (size == 0 || size != faults::blockSize) return next(size);
  if (faults::malloc.Strikes()) return nullptr;
  void* const block = next(size);
  faults::ReplaceCounted(nullptr, block);
  return block;
}

void free(void* block) noexcept {
  static const auto next = faults::Next<void (*)(void*)>("free");
  if (block != nullptr && faults::blockSize != 0) faults::ReplaceCounted(block, nullptr);
  next(block);
}
#endif

}  // extern "C"
#pragma GCC visibility pop
