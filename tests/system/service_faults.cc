// SPDX-License-Identifier: MIT
#include "service_faults.h"

#include <dirent.h>
#include <dlfcn.h>
#include <sys/shm.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <vector>

#define INTERPOSED extern "C" __attribute__((visibility("default")))

namespace faults {

namespace {

int codes[kCallCount] = {};
int passes[kCallCount] = {};
LastShared last;
std::string procRoot;
bool idsFromZero = false;
std::vector<int> segments;  // the kernel's ids, by the numbers that stand for them
std::atomic<long> scriptedClock{-1};
std::atomic<void (*)(unsigned)> sleepHook{nullptr};

bool Fails(Call call) {
  if (codes[call] == 0 || passes[call]-- > 0) return false;
  errno = codes[call];
  return true;
}

// The number that stands for the kernel's id, and back.
int NumberOf(int id) {
  if (!idsFromZero || id < 0) return id;
  const auto known = std::find(segments.begin(), segments.end(), id);
  if (known != segments.end()) return static_cast<int>(known - segments.begin());
  segments.push_back(id);
  return static_cast<int>(segments.size()) - 1;
}
int KernelId(int number) {
  if (!idsFromZero || number < 0 || static_cast<std::size_t>(number) >= segments.size()) return number;
  return segments[static_cast<std::size_t>(number)];
}

template <typename Function>
Function* Next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

std::string Redirected(const char* path) {
  const bool below = std::strncmp(path, "/proc", 5) == 0 && (path[5] == '\0' || path[5] == '/');
  return below && !procRoot.empty() ? procRoot + (path + 5) : path;
}

}  // namespace

Failing::Failing(Call call, int code, int pass) : call_(call) {
  codes[call] = code;
  passes[call] = pass;
}
Failing::~Failing() { codes[call_] = 0; }
FirstSegmentIds::FirstSegmentIds() { idsFromZero = true; }
FirstSegmentIds::~FirstSegmentIds() {
  idsFromZero = false;
  segments.clear();
}
const LastShared& lastShared() { return last; }
void setProcRoot(const std::string& root) { procRoot = root; }
void setClock(long seconds) { scriptedClock = seconds; }
void setSleep(void (*hook)(unsigned)) { sleepHook = hook; }

}  // namespace faults

using namespace faults;

INTERPOSED DIR* opendir(const char* path) {
  static auto* const next = Next<DIR*(const char*)>("opendir");
  return Fails(kOpendir) ? nullptr : next(Redirected(path).c_str());
}

INTERPOSED FILE* fopen(const char* path, const char* mode) {
  static auto* const next = Next<FILE*(const char*, const char*)>("fopen");
  return Fails(kFopen) ? nullptr : next(Redirected(path).c_str(), mode);
}

INTERPOSED int shmget(key_t key, size_t size, int mode) noexcept {
  static auto* const next = Next<int(key_t, size_t, int)>("shmget");
  last.key = key;
  last.size = size;
  last.mode = mode;
  return Fails(kShmget) ? -1 : NumberOf(next(key, size, mode));
}

INTERPOSED void* shmat(int id, const void* address, int flags) noexcept {
  static auto* const next = Next<void*(int, const void*, int)>("shmat");
  last.attachFlags = flags;
  return Fails(kShmat) ? reinterpret_cast<void*>(-1) : next(KernelId(id), address, flags);
}

INTERPOSED int shmctl(int id, int command, struct shmid_ds* status) noexcept {
  static auto* const next = Next<int(int, int, struct shmid_ds*)>("shmctl");
  if (command == IPC_STAT && Fails(kShmctlStat)) return -1;
  if (command == IPC_RMID && Fails(kShmctlRemove)) return -1;
  return next(KernelId(id), command, status);
}

INTERPOSED int shmdt(const void* address) noexcept {
  static auto* const next = Next<int(const void*)>("shmdt");
  return Fails(kShmdt) ? -1 : next(address);
}

INTERPOSED time_t time(time_t* out) noexcept {
  time_t now = scriptedClock.load();
  if (now < 0) {
    struct timespec stamp = {};
    clock_gettime(CLOCK_REALTIME, &stamp);
    now = stamp.tv_sec;
  }
  if (out != nullptr) *out = now;
  return now;
}

INTERPOSED unsigned sleep(unsigned seconds) {
  if (auto* const hook = sleepHook.load()) {
    hook(seconds);
    return 0;
  }
  static auto* const next = Next<unsigned(unsigned)>("sleep");
  return next(seconds);
}
