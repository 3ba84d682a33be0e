// SPDX-License-Identifier: MIT
// System calls of the monitor and of shared memory, scripted: the test program defines the symbols, so the
// library calls these. Without a script each passes the call on.
#pragma once

#include <sys/types.h>

#include <string>

namespace faults {

enum Call { kOpendir, kFopen, kShmget, kShmat, kShmctlStat, kShmctlRemove, kShmdt, kCallCount };

// The call fails with `code` as errno while the object lives, but for the first `pass` calls.
class Failing {
 public:
  Failing(Call call, int code, int pass = 0);
  ~Failing();
  Failing(const Failing&) = delete;
  Failing& operator=(const Failing&) = delete;

 private:
  Call call_;
};

// What the last shmget and shmat were asked.
struct LastShared {
  key_t key = 0;
  std::size_t size = 0;
  int mode = 0;
  int attachFlags = 0;
};
const LastShared& lastShared();

// While it lives, the kernel's segments are known by the numbers from 0 on, as in a system that has just
// started.
class FirstSegmentIds {
 public:
  FirstSegmentIds();
  ~FirstSegmentIds();
  FirstSegmentIds(const FirstSegmentIds&) = delete;
  FirstSegmentIds& operator=(const FirstSegmentIds&) = delete;
};

// When not empty, /proc is read from this directory.
void setProcRoot(const std::string& root);

// When set, time() answers this clock in place of the system's; -1 restores the system's.
void setClock(long seconds);

// Called in place of sleep() while set; it may throw to end a loop.
void setSleep(void (*hook)(unsigned seconds));

}  // namespace faults
