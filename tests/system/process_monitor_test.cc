// SPDX-License-Identifier: MIT
// The table of the monitor: settings, refreshing, the loop.
#include "monitor_support.h"
#include "test_access.h"

#include <tovkit/system.h>

#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <deque>
#include <string>
#include <thread>

using tovkit::PROC_INFO_DATA;
using tovkit::ProcessMonitor;
using tovkit::TestAccess;

namespace {

void Watch(ProcessMonitor& monitor, long pid, int interval, long maxMem) {
  const PROC_INFO_DATA info = Settings(pid, true, interval, maxMem);
  for (const int bit : {1, 2, 4}) ASSERT_EQ(monitor.updateById(info, bit), 1);
}

TEST(ProcessMonitorUpdate, EveryMaskAppliesItsLowestKnownBitOnly) {
  for (int mask = -16; mask < 64; ++mask) {
    SCOPED_TRACE(mask);
    FakeProc proc;
    proc.Put(5, "five", 1);
    ProcessMonitor byId;
    ProcessMonitor byName;
    PROC_INFO_DATA info = Settings(5, true, 22, 33);
    std::strcpy(info.name, "five");
    const bool known = (mask & 7) != 0;
    EXPECT_EQ(byId.updateById(info, mask), known ? 1 : -1);
    EXPECT_EQ(byName.updateByName(info, mask), known ? 1 : -1);
    for (const ProcessMonitor* monitor : {&byId, &byName}) {
      const PROC_INFO_DATA record = RecordOf(*monitor, 5);
      EXPECT_EQ(record.monitored, (mask & 1) != 0);
      EXPECT_EQ(record.interval, (mask & 3) == 2 ? 22 : 0);
      EXPECT_EQ(record.maxMem, (mask & 7) == 4 ? 33 : 0);
    }
  }
}

TEST(ProcessMonitorUpdate, UnknownRecordGivesOneAndChangesNothing) {
  FakeProc proc;
  proc.Put(5, "five", 1);
  ProcessMonitor monitor;
  PROC_INFO_DATA info = Settings(6, true, 1, 1);
  std::strcpy(info.name, "six");
  for (const int mask : {1, 2, 4, 7, 0, 8, -8}) {
    EXPECT_EQ(monitor.updateById(info, mask), 1) << mask;
    EXPECT_EQ(monitor.updateByName(info, mask), 1) << mask;
  }
  EXPECT_FALSE(RecordOf(monitor, 5).monitored);
}

TEST(ProcessMonitorUpdate, ByNameChangesTheFirstOfTheName) {
  FakeProc proc;
  for (const long pid : {1, 2, 3}) proc.Put(pid, "same", pid);
  ProcessMonitor monitor;
  PROC_INFO_DATA info = Settings(0, true, 0, 0);
  std::strcpy(info.name, "same");
  EXPECT_EQ(monitor.updateByName(info, 1), 1);
  const auto records = monitor.getAll();
  EXPECT_TRUE(records[0].monitored);
  EXPECT_FALSE(records[1].monitored);
  EXPECT_FALSE(records[2].monitored);
}

struct LoopEnded {};
int passesLeft = 0;
void (*betweenPasses)(int left) = nullptr;

// Runs `passes` passes of the loop with a clock that moves by one second a pass, and returns what it printed.
std::string RunLoop(ProcessMonitor& monitor, int passes, void (*between)(int left) = nullptr) {
  static long clock = 0;
  clock = 1000;
  faults::setClock(clock);
  passesLeft = passes;
  betweenPasses = between;
  faults::setSleep([](unsigned seconds) {
    EXPECT_EQ(seconds, 1u);
    if (--passesLeft == 0) throw LoopEnded();
    faults::setClock(clock += seconds);
    if (betweenPasses != nullptr) betweenPasses(passesLeft);
  });
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  EXPECT_THROW(monitor.monitorLoop(), LoopEnded);
  faults::setSleep(nullptr);
  faults::setClock(-1);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  return testing::internal::GetCapturedStdout();
}

FakeProc* loopProc = nullptr;

TEST(ProcessMonitorRefresh, KeepsSettingsOfKnownProcessesButNotSamples) {
  FakeProc proc;
  proc.Put(1, "stays", 100);
  proc.Put(2, "renamed", 100);
  proc.Put(3, "ends", 100);
  ProcessMonitor monitor;
  for (const long pid : {1, 2, 3}) Watch(monitor, pid, 1, 5000);
  loopProc = &proc;
  RunLoop(monitor, 2, [](int) { loopProc->Put(1, "stays", 130); });
  ASSERT_EQ(RecordOf(monitor, 1).memAdd, 30);
  ASSERT_EQ(RecordOf(monitor, 1).lastTime, 1001);
  proc.Put(1, "stays", 150);
  proc.Put(2, "other", 100);
  proc.Vanish(3);
  proc.Put(4, "fresh", 7);
  EXPECT_EQ(monitor.refresh(), 1);

  const PROC_INFO_DATA stays = RecordOf(monitor, 1);
  EXPECT_TRUE(stays.monitored);
  EXPECT_EQ(stays.interval, 1);
  EXPECT_EQ(stays.maxMem, 5000);
  EXPECT_EQ(stays.lastTime, 1001);
  EXPECT_EQ(stays.lastMem, 150);
  EXPECT_EQ(stays.memAdd, 0);
  const PROC_INFO_DATA renamed = RecordOf(monitor, 2);
  EXPECT_FALSE(renamed.monitored);
  EXPECT_EQ(renamed.interval, 0);
  EXPECT_EQ(renamed.maxMem, 0);
  EXPECT_EQ(renamed.lastTime, 0);
  EXPECT_FALSE(RecordOf(monitor, 4).monitored);
  EXPECT_EQ(monitor.getAll().size(), 3u);
}

// Two entries of one number: the settings go with the name.
TEST(ProcessMonitorRefresh, SearchesForNumberAndNameTogether) {
  FakeProc proc;
  proc.Entry("12x");  // read through /proc/12 as well
  proc.Put(12, "one", 100);
  ProcessMonitor monitor;
  std::deque<PROC_INFO_DATA>& table = monitor.*TestAccess::monitorRecords;
  ASSERT_EQ(table.size(), 2u);
  std::strcpy(table[0].name, "other");
  table[1].interval = 7;
  table[1].monitored = true;
  EXPECT_EQ(monitor.refresh(), 1);
  for (const PROC_INFO_DATA& record : monitor.getAll()) {
    EXPECT_TRUE(record.monitored);
    EXPECT_EQ(record.interval, 7);
  }
}

TEST(ProcessMonitorRefresh, FailureLeavesTheTable) {
  FakeProc proc;
  proc.Put(1, "a", 100);
  ProcessMonitor monitor;
  const faults::Failing fault(faults::kOpendir, EMFILE);
  testing::internal::CaptureStderr();
  EXPECT_EQ(monitor.refresh(), -1);
  EXPECT_EQ(monitor.getProcInfo(1), 100) << "the old table answers";
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "Cannot open /proc\nCannot open /proc\n");
  EXPECT_EQ(monitor.getAll().size(), 1u);
}

TEST(ProcessMonitorInfo, RefreshesBeforeItAnswers) {
  FakeProc proc;
  ProcessMonitor monitor;
  PROC_INFO_DATA out = {};
  out.pid = 77;
  EXPECT_EQ(monitor.getProcInfo(8, out), -1);
  EXPECT_EQ(out.pid, 77) << "untouched";
  EXPECT_EQ(monitor.getProcInfo(8), -1);
  proc.Put(8, "eight", 88);
  EXPECT_EQ(monitor.getProcInfo(8, out), 1);
  EXPECT_EQ(out.pid, 8);
  EXPECT_STREQ(out.name, "eight");
  EXPECT_EQ(out.lastMem, 88);
  EXPECT_TRUE(out.valid);
  EXPECT_EQ(monitor.getProcInfo(8), 88);
}

TEST(ProcessMonitorKill, SendsSigkillAndAlwaysGivesOne) {
  const pid_t child = fork();
  if (child == 0) {
    for (;;) pause();
  }
  ProcessMonitor monitor;
  EXPECT_EQ(monitor.killProcess((1L << 32) + child), 1) << "a number that no process has";
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, WNOHANG), 0) << "and nobody is killed";
  EXPECT_EQ(monitor.killProcess(child), 1);
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(WTERMSIG(status), 9);
  EXPECT_EQ(monitor.killProcess(child), 1) << "a process that is gone";
}

TEST(ProcessMonitorKill, ANegativeNumberReachesAWholeGroup) {
  const pid_t leader = fork();
  if (leader == 0) {
    for (;;) pause();
  }
  ASSERT_EQ(setpgid(leader, leader), 0);
  const pid_t member = fork();
  if (member == 0) {
    for (;;) pause();
  }
  ASSERT_EQ(setpgid(member, leader), 0);
  ProcessMonitor monitor;
  EXPECT_EQ(monitor.killProcess(-leader), 1);
  for (const pid_t child : {leader, member}) {
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
  }
}

// In a process of its own, whose group is killed as a whole.
TEST(ProcessMonitorKill, ZeroReachesTheGroupOfTheCaller) {
  const pid_t leader = fork();
  if (leader == 0) {
    setpgid(0, 0);
    ProcessMonitor().killProcess(0);
    _exit(0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(leader, &status, 0), leader);
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
}

// Standard output is a pipe here, whose buffer holds every line: none has arrived when the loop ends.
TEST(ProcessMonitorLoop, FlushesNothing) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const pid_t child = fork();
  if (child == 0) {
    stdout = fdopen(ends[1], "w");
    FakeProc proc;
    proc.Put(1, "above", 500);
    ProcessMonitor monitor;
    Watch(monitor, 1, 0, 400);
    faults::setSleep([](unsigned) { raise(SIGKILL); });  // which flushes nothing either
    monitor.monitorLoop();
  }
  close(ends[1]);
  char text[256];
  const ssize_t length = read(ends[0], text, sizeof text);
  EXPECT_EQ(std::string(text, length > 0 ? static_cast<std::size_t>(length) : 0), "")
      << "what was printed stays in the buffer";
  close(ends[0]);
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
}

TEST(ProcessMonitorLoop, PrintsTheLimitLineOnEveryPassAboveTheLimit) {
  FakeProc proc;
  proc.Put(1, "above", 500);
  proc.Put(2, "at", 400);
  proc.Put(3, "unlimited", 500);
  proc.Put(4, "negative", 500);
  proc.Put(5, "unwatched", 500);
  ProcessMonitor monitor;
  Watch(monitor, 1, 0, 400);
  Watch(monitor, 2, 0, 400);
  Watch(monitor, 3, 0, 0);
  Watch(monitor, 4, 0, -5);
  monitor.updateById(Settings(5, false, 0, 400), 4);
  const std::string line = "proc:above,pId:1,mem:500 greater than max_mem:400\n";
  EXPECT_EQ(RunLoop(monitor, 3), line + line + line);
}

TEST(ProcessMonitorLoop, WithAnIntervalOfOnePrintsGrowthSinceThePassBefore) {
  FakeProc proc;
  proc.Put(1, "grows", 100);
  ProcessMonitor monitor;
  Watch(monitor, 1, 1, 0);
  proc.Put(1, "grows", 110);
  loopProc = &proc;
  EXPECT_EQ(RunLoop(monitor, 3, [](int left) { loopProc->Put(1, "grows", left == 2 ? 150 : 90); }),
            "proc:grows,pId:1,mem:110,1 second memery add 10kb\n"
            "proc:grows,pId:1,mem:150,1 second memery add 40kb\n"
            "proc:grows,pId:1,mem:90,1 second memery add -60kb\n");
  EXPECT_EQ(RecordOf(monitor, 1).memAdd, -60);
  EXPECT_EQ(RecordOf(monitor, 1).lastMem, 90);
}

TEST(ProcessMonitorLoop, WithALongerIntervalPrintsGrowthOnTheFirstPassAndOnLateOnesOnly) {
  FakeProc proc;
  proc.Put(1, "grows", 100);
  ProcessMonitor monitor;
  Watch(monitor, 1, 5, 0);
  EXPECT_EQ(RunLoop(monitor, 20), "proc:grows,pId:1,mem:100,5 second memery add 0kb\n");
  EXPECT_EQ(RecordOf(monitor, 1).lastTime, 1019) << "every pass is a sample";
  EXPECT_EQ(RunLoop(monitor, 20), "") << "samples stand from the run before";
  const auto late = [](int left) { faults::setClock(left == 2 ? 1004 : 1009); };
  EXPECT_EQ(RunLoop(monitor, 3, late), "proc:grows,pId:1,mem:100,5 second memery add 0kb\n");
}

TEST(ProcessMonitorLoop, AnIntervalBelowOnePrintsNothing) {
  FakeProc proc;
  proc.Put(1, "a", 100);
  ProcessMonitor monitor;
  for (const int interval : {0, -1}) {
    Watch(monitor, 1, interval, 0);
    EXPECT_EQ(RunLoop(monitor, 3), "");
  }
}

TEST(ProcessMonitorLoop, PrintsTheLimitBeforeTheGrowth) {
  FakeProc proc;
  proc.Put(1, "both", 100);
  ProcessMonitor monitor;
  Watch(monitor, 1, 1, 50);
  EXPECT_EQ(RunLoop(monitor, 1),
            "proc:both,pId:1,mem:100 greater than max_mem:50\n"
            "proc:both,pId:1,mem:100,1 second memery add 0kb\n");
}

TEST(ProcessMonitorLoop, ProcessThatCannotBeReadCountsWithTheNumberReadBefore) {
  FakeProc proc;
  proc.Put(1, "one", 70);
  proc.Put(2, "two", 80);
  proc.Put(3, "three", 90);
  ProcessMonitor monitor;
  const auto records = monitor.getAll();
  for (const PROC_INFO_DATA& record : records) Watch(monitor, record.pid, 0, 10);
  const PROC_INFO_DATA& front = records[0];
  const PROC_INFO_DATA& middle = records[1];
  const PROC_INFO_DATA& back = records[2];
  const auto line = [](const PROC_INFO_DATA& record, long mem) {
    return "proc:" + std::string(record.name) + ",pId:" + std::to_string(record.pid) +
           ",mem:" + std::to_string(mem) + " greater than max_mem:10\n";
  };
  proc.Vanish(middle.pid);
  EXPECT_EQ(RunLoop(monitor, 1),
            line(front, front.lastMem) + line(middle, front.lastMem) + line(back, back.lastMem));
  proc.Vanish(front.pid);
  EXPECT_EQ(RunLoop(monitor, 1), line(back, back.lastMem)) << "each pass starts from an empty value";
}

TEST(ProcessMonitorLoop, BesideARunningLoopOtherThreadsMayUpdateReadAndKill) {
  FakeProc proc;
  proc.Put(1, "shared", 100);
  ProcessMonitor monitor;
  Watch(monitor, 1, 0, 0);
  static std::atomic<bool> stop;
  static std::atomic<int> passes;
  stop = false;
  passes = 0;
  faults::setSleep([](unsigned) {
    ++passes;
    if (stop) throw LoopEnded();
  });
  std::thread loop([&monitor] {
    try {
      monitor.monitorLoop();
    } catch (const LoopEnded&) {
    }
  });
  for (int i = 0; i < 500 || passes < 10; ++i) {
    monitor.updateById(Settings(1, i % 2 == 0, 0, 0), 1);
    monitor.updateById(Settings(1, true, 0, 1000 + i), 4);
    PROC_INFO_DATA named = Settings(0, false, -i, 0);
    std::strcpy(named.name, "shared");
    monitor.updateByName(named, 2);
    EXPECT_EQ(RecordOf(monitor, 1).interval, -i);
    char value[256] = {};
    EXPECT_EQ(monitor.readStatusValue(1, "VmRSS", value), 1);
    EXPECT_STREQ(value, "100");
    EXPECT_EQ(monitor.killProcess(1L << 40), 1);
    EXPECT_EQ(RecordOf(monitor, 1).maxMem, 1000 + i);
    EXPECT_EQ(RecordOf(monitor, 1).lastMem, 100);
  }
  stop = true;
  loop.join();
  faults::setSleep(nullptr);
}

}  // namespace
