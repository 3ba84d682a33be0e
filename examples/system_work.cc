// SPDX-License-Identifier: MIT
// Adds numbers on a worker pool under a mutex, runs a program, and hands bytes over in shared memory.
#include <tovkit/system.h>
#include <unistd.h>

#include <cstdio>
#include <string>

using namespace tovkit;

class Adder : public Runnable {
 public:
  Adder(Mutex* lockOfTotal, int* total) : lock(lockOfTotal), sum(total) {}
  int run() override {
    const MutexLocker locker(lock);
    *sum += 7;
    return 0;
  }

 private:
  Mutex* lock;
  int* sum;
};

int main() {
  Mutex lock;
  int sum = 0;
  Adder adders[] = {{&lock, &sum}, {&lock, &sum}, {&lock, &sum}};
  ThreadPool pool;
  if (pool.init(10) != 0) return 1;  // ten workers at least; each task prints a line
  for (Adder& adder : adders) pool.addTask(&adder);
  for (Adder& adder : adders) {
    while (!adder.isFinished()) Thread::msleep(1);
  }
  pool.destroy();
  std::printf("sum %d\n", sum);

  const char* arguments[] = {"-c", "exit 3"};
  Process shell;
  shell.setFlags(Process::inheritParentFds);  // spares the child a search for descriptors to close
  if (!shell.start("/bin/sh", 2, arguments) || !shell.wait(10000)) return 1;
  std::printf("exit code %d\n", static_cast<int>(shell.exitCode()));

  const unsigned both = kSharedMemoryRead | kSharedMemoryWrite;
  SharedMemory page(("tovkit example " + std::to_string(getpid())).c_str());
  if (!page.Create(4096, both) || !page.Attach(both)) {
    std::printf("%s\n", page.GetErrorMessage());
    return 1;
  }
  std::snprintf(static_cast<char*>(page.GetData()), page.GetSize(), "seen by every process that attaches");
  std::printf("%s\n", static_cast<const char*>(page.GetData()));
  page.Detach(true);  // and remove it
  return 0;
}
