// SPDX-License-Identifier: MIT
// Thread: a detached POSIX thread with a semaphore that tells its end.
#include <sys/time.h>
#include <tovkit/system.h>
#include <unistd.h>

#include <cerrno>

#include "shared_field.h"

namespace tovkit {

Thread::Thread() : fields{} {}

Thread::~Thread() { sem_destroy(&fields.doneSignal); }

void Thread::start() {
  sem_init(&fields.doneSignal, 0, 0);
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
  // Passed as the field itself: the system fills it before the body begins, and the body may ask for it.
  const pthread_t before = fields.tid;
  if (pthread_create(&fields.tid, &attributes, &Thread::threadEntry, this) != 0) fields.tid = before;
  pthread_attr_destroy(&attributes);
  // Compatibility: set last, whatever pthread_create returned.
  StoreShared(fields.running, true);
}

void* Thread::threadEntry(void* thread) {
  auto* self = static_cast<Thread*>(thread);
  self->run();
  // The signal comes first, because whoever sees isRunning() false may destroy the object.
  sem_post(&self->fields.doneSignal);
  StoreShared(self->fields.running, false);
  return nullptr;
}

bool Thread::wait(unsigned milliseconds) {
  if (!isRunning()) return true;
  timeval now{};
  gettimeofday(&now, nullptr);
  // Compatibility: the rest below a second counts as microseconds and the sum is not carried into the
  // seconds, so that it can be an invalid time. Time-outs out in the field are tuned to this.
  timespec deadline{};
  deadline.tv_sec = now.tv_sec + static_cast<time_t>(milliseconds / 1000);
  deadline.tv_nsec = now.tv_usec * 1000 + static_cast<long>(milliseconds % 1000) * 1000;
  int result = 0;
  do {
    result = sem_timedwait(&fields.doneSignal, &deadline);
  } while (result == -1 && errno == EINTR);
  return result == 0;
}

int Thread::sleep(float seconds) {
  const float micros = (seconds * 1000.0F) * 1000.0F;
  constexpr float kPastInt64 = 9223372036854775808.0F;
  // A NaN fails both comparisons.
  if (!(micros > 0.0F && micros < kPastInt64)) return usleep(0);
  return usleep(static_cast<useconds_t>(static_cast<int64_t>(micros)));
}

int Thread::msleep(unsigned milliseconds) { return usleep(milliseconds * 1000U); }

bool Thread::isRunning() const { return LoadShared(fields.running); }

pthread_t Thread::tid() const { return LoadShared(fields.tid); }

}  // namespace tovkit
