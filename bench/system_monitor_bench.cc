// SPDX-License-Identifier: MIT
// The process monitor beside ps, and shared memory beside the bare system calls.
#include <tovkit/system.h>

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/shm.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

extern char** environ;

namespace {

// Frees the descriptors that the scans left open; their streams' memory stays, 32 KB a scan.
void CloseFrom(int first) { close_range(static_cast<unsigned>(first), ~0u, 0); }

void ScanTovkit(benchmark::State& state) {
  const int first = dup(STDIN_FILENO);
  close(first);
  tovkit::ProcessMonitor monitor;
  std::deque<tovkit::PROC_INFO_DATA> records;
  for (auto _ : state) {
    if (monitor.scan(records) != 0) state.SkipWithError("scan failed");
    state.PauseTiming();
    CloseFrom(first);
    state.ResumeTiming();
  }
  state.counters["processes"] = static_cast<double>(records.size());
}
BENCHMARK(ScanTovkit)->Name("process_monitor/scan/tovkit")->UseRealTime()->MinTime(0.3);

void ScanPs(benchmark::State& state) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  char program[] = "ps";
  char option[] = "-eo";
  char columns[] = "pid,comm,rss";
  char* const arguments[] = {program, option, columns, nullptr};
  for (auto _ : state) {
    pid_t child = 0;
    int status = 1;
    if (posix_spawnp(&child, program, &actions, nullptr, arguments, environ) != 0 ||
        waitpid(child, &status, 0) != child || status != 0) {
      state.SkipWithError("ps failed");
    }
  }
  posix_spawn_file_actions_destroy(&actions);
}
BENCHMARK(ScanPs)->Name("process_monitor/scan/ps")->UseRealTime()->MinTime(0.3);

constexpr std::size_t kSegmentSize = 1 << 20;

void AttachTovkit(benchmark::State& state) {
  tovkit::SharedMemory memory("tovkit-attach-bench");
  constexpr unsigned kReadWrite = tovkit::kSharedMemoryRead | tovkit::kSharedMemoryWrite;
  if (!memory.Create(kSegmentSize, kReadWrite)) state.SkipWithError(memory.GetErrorMessage());
  for (auto _ : state) {
    if (!memory.Attach(kReadWrite) || !memory.Detach(false)) state.SkipWithError(memory.GetErrorMessage());
  }
}
BENCHMARK(AttachTovkit)->Name("shared_memory/attach_detach/tovkit");

void AttachCalls(benchmark::State& state) {
  constexpr key_t kKey = 0x70766b62;
  const int created = shmget(kKey, kSegmentSize, IPC_CREAT | IPC_EXCL | 0666);
  if (created < 0) state.SkipWithError("shmget failed");
  for (auto _ : state) {
    void* const address = shmat(shmget(kKey, 0, 0666), nullptr, 0);
    if (shmdt(address) != 0) state.SkipWithError("shmdt failed");
  }
  shmctl(created, IPC_RMID, nullptr);
}
BENCHMARK(AttachCalls)->Name("shared_memory/attach_detach/system_calls");

}  // namespace
