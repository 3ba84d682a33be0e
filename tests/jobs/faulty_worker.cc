// SPDX-License-Identifier: MIT
// A worker with one more kind of job, which does what no job should: {"fault": "crash"}. Only tests have it.
#include "jobs/error.h"
#include "jobs/wire.h"
#include "jobs/worker.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

void Crash() {
  std::signal(SIGSEGV, SIG_DFL);
  raise(SIGSEGV);
}

void Loop() {
  // A loop without any effect need not loop.
  for (std::atomic<unsigned> turns = 0;; ++turns) continue;
}

// Takes memory, a piece at a time, until there is no more.
void EatMemory() {
  std::vector<std::string> pieces;
  for (;;) pieces.emplace_back(1 << 20, 'x');
}

// Crashes unless the file is there, and makes it.
void CrashOnce(const std::string& file) {
  const int fd = open(file.c_str(), O_CREAT | O_EXCL | O_WRONLY, 0600);
  if (fd < 0) return;
  close(fd);
  Crash();
}

// Waits for the file to be there.
void Await(const std::string& file) {
  struct stat status = {};
  while (stat(file.c_str(), &status) != 0) usleep(1000);
}

// What is no frame, no result, no result of a job at hand, and the beginning of a frame that never ends.
void SendNonsense(const std::string& kind) {
  jobs::WireWriter message;
  if (kind == "cut") message.Put(std::uint64_t{1});
  if (kind == "stranger") {
    message.Put(std::uint64_t{1} << 40);
    message.Put(jobs::JobResult());
  }
  std::string bytes = message.TakeFrame();
  if (kind == "huge") bytes = std::string(8, '\x7f');
  if (kind == "silent") bytes = std::string("\xff\xff\x0f\0\0\0\0\0", 8);
  if (write(jobs::kWorkerSocket, bytes.data(), bytes.size()) < 0) std::abort();
}

// Its results get nowhere from here on, and no further job comes. The executor sees nothing before it ends:
// another descriptor of the socket is open until then.
void FallSilent() {
  if (dup(jobs::kWorkerSocket) < 0 || dup2(open("/dev/null", O_RDWR), jobs::kWorkerSocket) < 0) Crash();
}

void RunFault(jobs::Members& members, jobs::JobBench& bench, jobs::JobResult& result) {
  const std::string fault = members.NeedText("fault");
  const std::string file = members.TakeText("file").value_or("");
  members.Finish();
  if (fault == "crash") Crash();
  if (fault == "loop") Loop();
  if (fault == "memory") EatMemory();
  if (fault == "exit") std::exit(3);
  if (fault == "once") CrashOnce(file);
  if (fault == "await") Await(file);
  if (fault == "nonsense") SendNonsense(file);
  if (fault == "dumb") FallSilent();
  if (fault == "pid") bench.observer.Warn(std::to_string(getpid()));
  result.hits.emplace();
}

bool doomed = false;

// Makes its output and dies when it tells of it, once; dies at once when the file is there already.
void RunUntold(jobs::Members& members, jobs::JobBench& bench, jobs::JobResult&) {
  const std::string file = members.NeedText("untold");
  members.Finish();
  const int fd = open(file.c_str(), O_CREAT | O_EXCL | O_WRONLY, 0600);
  if (fd < 0) Crash();
  close(fd);
  doomed = true;
  bench.output.Write("untold", 6);
}

}  // namespace

// In place of the library's, by which a worker sends its results.
extern "C" ssize_t send(int fd, const void* bytes, size_t size, int flags) {
  if (doomed) raise(SIGKILL);
  return sendto(fd, bytes, size, flags, nullptr, 0);
}

int main() {
  std::vector<jobs::JobKind> kinds = jobs::StandardKinds();
  kinds.push_back({"fault", RunFault, false});
  kinds.push_back({"untold", RunUntold, true});
  return jobs::ServeJobs(kinds);
}
