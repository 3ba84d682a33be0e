// SPDX-License-Identifier: MIT
#include "every_call.h"

#include <tovkit/system.h>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstring>
#include <deque>
#include <string>

namespace soak {

namespace {

constexpr int kLimit = 20000;  // milliseconds for what takes a few

class Worker final : public tovkit::Thread {
 public:
  int run() override {
    while (!isStarted) Thread::msleep(1);
    return 0;
  }
  std::atomic<bool> isStarted{false};
};

class Work final : public tovkit::Runnable {
 public:
  int run() override { return tovkit::Thread::sleep(0.0001F); }
};

void* Add(void* count) {
  ++*static_cast<std::atomic<int>*>(count);
  return nullptr;
}

void CallThreads() {
  Worker worker;
  worker.start();
  // A body that has ended before start() returned would count as running for ever.
  worker.isStarted = true;
  Require(worker.wait(kLimit) && worker.tid() != 0, "Thread::wait");
  while (worker.isRunning()) tovkit::Thread::msleep(1);

  Work work;
  std::atomic<int> count{0};
  tovkit::ThreadPool pool;
  pool.init(16);
  pool.addTask(&work);
  pool.addTask(&Add, &count);
  while (!work.isFinished() || count == 0) tovkit::Thread::msleep(1);
  pool.destroy();
  Require(work.Task() == 0, "Runnable::Task");
}

void CallMutexes() {
  tovkit::Mutex plain;
  tovkit::WatchedMutex watched("soak", kLimit);
  for (tovkit::Mutex* const mutex : {&plain, static_cast<tovkit::Mutex*>(&watched)}) {
    mutex->lock();
    mutex->unlock();
    const tovkit::MutexLocker locker(mutex);
  }
}

// In a process that ends, since each scan keeps a descriptor and some memory, as documented.
void CallMonitor() {
  const pid_t scanner = fork();
  if (scanner == 0) {
    tovkit::ProcessMonitor monitor;
    tovkit::PROC_INFO_DATA info{};
    char value[256];
    std::deque<tovkit::PROC_INFO_DATA> found;
    monitor.setStatusKey("VmRSS");
    info.pid = getpid();
    info.monitored = true;
    const bool good = monitor.readStatusValue(getpid(), "VmRSS", value) == 1 && monitor.scan(found) == 0 &&
                      monitor.refresh() == 1 && monitor.updateById(info, tovkit::kUpdateMonitored) == 1 &&
                      monitor.updateByName(info, tovkit::kUpdateMaxMem) == 1 &&
                      monitor.getProcInfo(getpid(), info) == 1 && monitor.getProcInfo(getpid()) > 0 &&
                      monitor.getAll().size() > 1 && monitor.killProcess(getpid()) == 1;
    _exit(good ? 2 : 1);
  }
  int status = 0;
  Require(waitpid(scanner, &status, 0) == scanner, "fork");
  Require(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL, "ProcessMonitor");
}

void CallProcesses() {
  const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
  const char* const arguments[] = {"-c", "pwd; exit 3"};
  tovkit::Process shell;
  shell.setFlags(0);
  shell.addFlags(tovkit::Process::inheritParentFds);
  shell.removeFlags(tovkit::Process::inheritParentFds);
  shell.setWorkingDirectory("/");
  Require(shell.setOutputFds(nowhere, nowhere), "Process::setOutputFds");
  Require(shell.start("/bin/sh", 2, arguments) && shell.pid() != 0, "Process::start");
  Require(shell.wait(kLimit) && shell.exitCode() == 3, "Process::wait");
  Require(shell.state() == tovkit::Process::Stopped, "Process::state");
  close(nowhere);
  const char* const minute[] = {"60"};
  tovkit::Process sleeper;
  Require(sleeper.start("/bin/sleep", 1, minute), "Process::start");
  sleeper.terminate();
  Require(sleeper.wait(kLimit), "Process::terminate");
}

void CallSharedMemory() {
  constexpr unsigned kBoth = tovkit::kSharedMemoryRead | tovkit::kSharedMemoryWrite;
  tovkit::SharedMemory memory(("soak of process " + std::to_string(getpid())).c_str());
  Require(memory.Create(4096, kBoth) && memory.Attach(kBoth), "SharedMemory::Create");
  std::memset(memory.GetData(), 1, memory.GetSize());
  const tovkit::SharedMemory& constant = memory;
  Require(constant.GetData() == memory.GetData() && constant.GetErrorMessage() != nullptr,
          "SharedMemory::GetData");
  Require(memory.Detach(false) && memory.Destroy(), "SharedMemory::Destroy");
}

}  // namespace

void CallSystem() {
  CallThreads();
  CallMutexes();
  CallMonitor();
  CallProcesses();
  CallSharedMemory();
}

}  // namespace soak
