// SPDX-License-Identifier: MIT
// System calls that fail on demand: the test program defines the functions itself and passes them on.
//
//   faults::fork.Fail(EAGAIN);
//   EXPECT_FALSE(process.start(...));
//   faults::Reset();
#pragma once

#include <semaphore.h>
#include <sys/time.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <functional>
#include <vector>

namespace faults {

class Fault {
 public:
  // Lets `pass` calls through, then fails `times` calls with `error`.
  void Fail(int error, int times = 1, int pass = 0);
  void Reset();

  // Counts a call. True, with errno set, when it is to fail.
  bool Strikes();

  int calls() const { return calls_; }

 private:
  std::atomic<int> error_{0};
  std::atomic<int> pass_{0};
  std::atomic<int> times_{0};
  std::atomic<int> calls_{0};
};

extern Fault pthreadCreate, fork, clone, closeRange, posixSpawn, semTimedwait, waitpid, execv, dup2, usleep;
extern Fault malloc, mremap;

// malloc counts and fails only for blocks of this size or, with 0, never.
extern std::atomic<std::size_t> blockSize;
// Of the blocks that it counted, those that were not freed since the last Reset; up to 100 are known.
int BlocksInUse();

// The next so many calls of pthread_timedjoin_np fail with ETIMEDOUT at once and are kept, in nanoseconds
// since the epoch. One thread joins at a time.
struct TimedJoin {
  int64_t called;
  int64_t deadline;
};
extern std::vector<TimedJoin> timedJoins;
extern int joinsToTimeOut;
extern std::atomic<int> broadcasts;

// Non-zero: execv returns this instead of executing anything.
extern std::atomic<int> execvResult;

// Non-zero seconds: what gettimeofday returns instead of the time.
extern timeval fixedTime;

// What the last calls were asked for.
extern timespec lastDeadline;
extern std::atomic<useconds_t> lastSleep;
// usleep returns at once.
extern std::atomic<bool> skipSleeps;

// Non-null: the next thread that is about to wait on a condition stays just before it until the flag is set,
// and a moment longer.
extern std::atomic<int32_t*> flagBeforeCondWait;

// Called once, by the next pthread_create, between the birth of the thread and its return.
extern std::function<void()> afterThreadCreate;
// The semaphore that was destroyed last.
extern std::atomic<sem_t*> destroyedSemaphore;

// Called once, by the next sem_post, before it posts.
extern std::function<void()> beforeSemPost;

void Reset();

}  // namespace faults
