#include "private_access.h"
#include "service_faults.h"

#include <tovkit/system.h>

#include <dirent.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

struct MonitorRecords {
  friend auto Get(MonitorRecords);
};
template struct Expose<MonitorRecords, &tovkit::ProcessMonitor::records>;

using tovkit::PROC_INFO_DATA;
using tovkit::ProcessMonitor;

namespace {

// A /proc of the test's own making. The library reads it while the object lives.
class FakeProc {
 public:
  FakeProc() {
    std::string pattern = testing::TempDir() + "tovkit-proc-XXXXXX";
    root_ = mkdtemp(pattern.data());
    faults::setProcRoot(root_);
  }
  ~FakeProc() {
    faults::setProcRoot("");
    std::filesystem::remove_all(root_);
  }
  void Entry(const std::string& name) { std::filesystem::create_directory(root_ + "/" + name); }
  void Put(long pid, const std::string& status) {
    Entry(std::to_string(pid));
    std::ofstream(root_ + "/" + std::to_string(pid) + "/status") << status;
  }
  void Put(long pid, const std::string& name, long kilobytes) {
    Put(pid, "Name:\t" + name + "\nState:\tS (sleeping)\nVmSize:\t    9999 kB\nVmRSS:\t    " +
                 std::to_string(kilobytes) + " kB\nThreads:\t1\n");
  }
  void Vanish(long pid) { std::filesystem::remove_all(root_ + "/" + std::to_string(pid)); }
  const std::string& root() const { return root_; }

 private:
  std::string root_;
};

const PROC_INFO_DATA* Find(const std::deque<PROC_INFO_DATA>& records, long pid) {
  for (const PROC_INFO_DATA& record : records) {
    if (record.pid == pid) return &record;
  }
  return nullptr;
}

PROC_INFO_DATA RecordOf(const ProcessMonitor& monitor, long pid) {
  const auto records = monitor.getAll();
  const PROC_INFO_DATA* const found = Find(records, pid);
  EXPECT_NE(found, nullptr) << pid;
  return found != nullptr ? *found : PROC_INFO_DATA{};
}

PROC_INFO_DATA Settings(long pid, bool monitored, int interval, long maxMem) {
  PROC_INFO_DATA info = {};
  info.pid = pid;
  info.monitored = monitored;
  info.interval = interval;
  info.maxMem = maxMem;
  return info;
}

void Watch(ProcessMonitor& monitor, long pid, int interval, long maxMem) {
  const PROC_INFO_DATA info = Settings(pid, true, interval, maxMem);
  for (const int bit : {1, 2, 4}) ASSERT_EQ(monitor.updateById(info, bit), 1);
}

std::size_t OpenDescriptors() {
  std::size_t count = 0;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd"))
    count += !entry.path().empty();
  return count;
}

TEST(ProcessMonitorRecord, FieldsStandInTheirOrderAndTypes) {
  static_assert(std::is_same_v<decltype(PROC_INFO_DATA::name), char[256]>);
  static_assert(sizeof(PROC_INFO_DATA::pid) == 8 && std::is_signed_v<decltype(PROC_INFO_DATA::pid)>);
  static_assert(sizeof(PROC_INFO_DATA::interval) == 4 && sizeof(PROC_INFO_DATA::lastTime) == 8);
  EXPECT_EQ(offsetof(PROC_INFO_DATA, name), 0u);
  EXPECT_EQ(offsetof(PROC_INFO_DATA, pid), 256u);
  EXPECT_EQ(offsetof(PROC_INFO_DATA, lastMem), 264u);
  EXPECT_EQ(offsetof(PROC_INFO_DATA, maxMem), 272u);
  EXPECT_EQ(offsetof(PROC_INFO_DATA, interval), 280u);
  EXPECT_EQ(offsetof(PROC_INFO_DATA, lastTime), 288u);
  EXPECT_EQ(offsetof(PROC_INFO_DATA, memAdd), 296u);
  EXPECT_EQ(offsetof(PROC_INFO_DATA, monitored), 304u);
  EXPECT_EQ(offsetof(PROC_INFO_DATA, valid), 305u);
}

TEST(ProcessMonitorScan, FindsThisProcessInTheRealProc) {
  prctl(PR_SET_NAME, "tovkit-watched");
  const ProcessMonitor monitor;
  const PROC_INFO_DATA record = RecordOf(monitor, getpid());
  EXPECT_STREQ(record.name, "tovkit-watched");
  EXPECT_GT(record.lastMem, 100);
  EXPECT_EQ(record.maxMem, 0);
  EXPECT_EQ(record.interval, 0);
  EXPECT_EQ(record.lastTime, 0);
  EXPECT_EQ(record.memAdd, 0);
  EXPECT_FALSE(record.monitored);
  EXPECT_TRUE(record.valid);
}

TEST(ProcessMonitorScan, KeepsDirectoryOrderAndSkipsWhatIsNoNumber) {
  FakeProc proc;
  for (const long pid : {4000, 7, 12, 1, 300, 88}) proc.Put(pid, "p" + std::to_string(pid), pid * 2);
  proc.Entry("self");
  proc.Entry("sys");
  proc.Entry("a12");
  proc.Entry(".5");
  ProcessMonitor monitor;
  std::vector<long> expected;
  DIR* const directory = opendir("/proc");
  while (const dirent* entry = readdir(directory)) {
    if (std::isdigit(static_cast<unsigned char>(entry->d_name[0])))
      expected.push_back(std::atol(entry->d_name));
  }
  closedir(directory);
  std::vector<long> met;
  for (const PROC_INFO_DATA& record : monitor.getAll()) {
    met.push_back(record.pid);
    EXPECT_EQ(record.name, "p" + std::to_string(record.pid));
    EXPECT_EQ(record.lastMem, record.pid * 2);
  }
  EXPECT_EQ(met, expected);
  EXPECT_EQ(met.size(), 6u);
}

TEST(ProcessMonitorScan, EntryThatOnlyStartsWithADigitCountsByItsNumber) {
  FakeProc proc;
  proc.Put(31, "one", 5);
  proc.Vanish(32);
  proc.Entry("32x");
  std::deque<PROC_INFO_DATA> records;
  ProcessMonitor monitor;
  EXPECT_EQ(monitor.scan(records), 0);
  EXPECT_EQ(records.size(), 2u);
  EXPECT_NE(Find(records, 32), nullptr);
}

TEST(ProcessMonitorScan, ProcessThatEndsBeforeItsStatusIsReadStaysWithoutNameAndMemory) {
  FakeProc proc;
  proc.Entry("55");
  ProcessMonitor monitor;
  const PROC_INFO_DATA record = RecordOf(monitor, 55);
  EXPECT_STREQ(record.name, "");
  EXPECT_EQ(record.lastMem, 0);
  EXPECT_TRUE(record.valid);
}

TEST(ProcessMonitorScan, ProcessThatEndsBetweenTheTwoReadsStaysWithItsName) {
  FakeProc proc;
  proc.Put(55, "brief", 70);
  const faults::Failing fault(faults::kFopen, ENOENT, 1);
  ProcessMonitor monitor;
  const PROC_INFO_DATA record = RecordOf(monitor, 55);
  EXPECT_STREQ(record.name, "brief");
  EXPECT_EQ(record.lastMem, 0);
}

// Processes come and go while the real /proc is read; whatever is met makes a whole record.
TEST(ProcessMonitorScan, HoldsWhileProcessesVanishUnderIt) {
  const pid_t storm = fork();
  if (storm == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    signal(SIGCHLD, SIG_IGN);
    for (;;) {
      if (fork() == 0) _exit(0);
      usleep(100);
    }
  }
  ProcessMonitor monitor;
  std::deque<PROC_INFO_DATA> records;
  for (int i = 0; i < 50; ++i) {
    ASSERT_EQ(monitor.scan(records), 0);
    const PROC_INFO_DATA* const self = Find(records, getpid());
    ASSERT_NE(self, nullptr);
    EXPECT_GT(self->lastMem, 0);
    for (const PROC_INFO_DATA& record : records) {
      EXPECT_GT(record.pid, 0);
      EXPECT_TRUE(record.valid);
      EXPECT_GE(record.lastMem, 0);
    }
  }
  kill(storm, SIGKILL);
  waitpid(storm, nullptr, 0);
}

TEST(ProcessMonitorScan, EveryStatusUnreadableLeavesRecordsWithoutNameAndMemory) {
  FakeProc proc;
  proc.Put(1, "a", 1);
  proc.Put(2, "b", 2);
  const faults::Failing fault(faults::kFopen, EMFILE);
  ProcessMonitor monitor;
  const auto records = monitor.getAll();
  ASSERT_EQ(records.size(), 2u);
  for (const PROC_INFO_DATA& record : records) {
    EXPECT_STREQ(record.name, "");
    EXPECT_EQ(record.lastMem, 0);
  }
}

TEST(ProcessMonitorScan, KernelThreadWithoutMemoryLinesHasMemoryZero) {
  FakeProc proc;
  proc.Put(2, "Name:\tkthreadd\nThreads:\t1\n");
  ProcessMonitor monitor;
  EXPECT_STREQ(RecordOf(monitor, 2).name, "kthreadd");
  EXPECT_EQ(RecordOf(monitor, 2).lastMem, 0);
}

TEST(ProcessMonitorScan, ClearsTheOutputFirst) {
  FakeProc proc;
  proc.Put(1, "a", 1);
  ProcessMonitor monitor;
  std::deque<PROC_INFO_DATA> records(5);
  EXPECT_EQ(monitor.scan(records), 0);
  EXPECT_EQ(records.size(), 1u);
}

TEST(ProcessMonitorScan, FailureSaysSoOnStandardErrorAndEmptiesTheOutput) {
  ProcessMonitor monitor;
  const faults::Failing fault(faults::kOpendir, EACCES);
  std::deque<PROC_INFO_DATA> records(5);
  testing::internal::CaptureStderr();
  testing::internal::CaptureStdout();
  const int result = monitor.scan(records);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "Cannot open /proc\n");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(result, -1);
  EXPECT_TRUE(records.empty());
}

TEST(ProcessMonitorScan, FailureInTheConstructorLeavesAnEmptyTable) {
  const faults::Failing fault(faults::kOpendir, ENOENT);
  testing::internal::CaptureStderr();
  const ProcessMonitor monitor;
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "Cannot open /proc\n");
  EXPECT_TRUE(monitor.getAll().empty());
}

TEST(ProcessMonitorScan, LeavesExactlyOneDescriptorOpen) {
  const std::size_t before = OpenDescriptors();
  ProcessMonitor monitor;
  EXPECT_EQ(OpenDescriptors(), before + 1);
  EXPECT_EQ(monitor.refresh(), 1);
  EXPECT_EQ(OpenDescriptors(), before + 2);
  PROC_INFO_DATA out = {};
  monitor.getProcInfo(getpid(), out);
  monitor.getProcInfo(getpid());
  EXPECT_EQ(OpenDescriptors(), before + 4);
  char value[256];
  monitor.readStatusValue(getpid(), "VmRSS", value);
  monitor.readStatusValue(getpid(), "NoSuchKey", value);
  EXPECT_EQ(OpenDescriptors(), before + 4) << "a status file stayed open";
}

struct StatusRow {
  const char* condition;
  const char* status;
  const char* key;
  const char* expected;  // "untouched" when nothing is stored
};

TEST(ProcessMonitorStatus, ValueIsTheSecondWordOfTheFirstLineThatHoldsTheKey) {
  const std::string longLine = std::string(300, 'x') + "VmRSS 7\nVmRSS: 8 kB\n";
  const std::string wordOf255 = "K\t" + std::string(252, 'w') + "\n";
  const std::string cutWord = "Key " + std::string(400, 'w') + "\n";
  const std::string w251(251, 'w');
  const std::string w252(252, 'w');
  const StatusRow rows[] = {
      {"memory line", "VmRSS:\t  123 kB\n", "VmRSS", "123"},
      {"name", "Name:\tbash\n", "Name", "bash"},
      {"name of two words", "Name:\ttwo words\n", "Name", "two"},
      {"key inside a word", "XVmRSSY: 5 kB\n", "VmRSS", "5"},
      {"key in the value", "Name:\tVmRSSd\nVmRSS:\t9 kB\n", "VmRSS", "VmRSSd"},
      {"first of two lines", "VmRSS: 1\nVmRSS: 2\n", "VmRSS", "1"},
      {"no line", "Name:\tbash\n", "VmRSS", "untouched"},
      {"empty file", "", "VmRSS", "untouched"},
      {"one word", "Name:\t\nVmRSS: 3\n", "Name", "untouched"},
      {"empty key matches the first line", "Name:\tbash\n", "", "bash"},
      {"last line without an end", "VmRSS: 4", "VmRSS", "4"},
      {"piece of a long line", longLine.c_str(), "VmRSS", "7"},
      {"longest word in a piece", wordOf255.c_str(), "K", w252.c_str()},
      {"word cut at the end of its piece", cutWord.c_str(), "Key", w251.c_str()},
  };
  ProcessMonitor monitor;
  for (const StatusRow& row : rows) {
    SCOPED_TRACE(row.condition);
    FakeProc proc;
    proc.Put(9, row.status);
    char out[256] = "untouched";
    EXPECT_EQ(monitor.readStatusValue(9, row.key, out), 1);
    EXPECT_STREQ(out, row.expected);
  }
}

TEST(ProcessMonitorStatus, UnknownProcessGivesMinusOneAndLeavesTheOutput) {
  ProcessMonitor monitor;
  char out[256] = "untouched";
  for (const long pid : {-1L, 0L, 99999999999L})
    EXPECT_EQ(monitor.readStatusValue(pid, "Name", out), -1) << pid;
  EXPECT_EQ(monitor.readStatusValue(getpid(), nullptr, out), -1);
  EXPECT_EQ(monitor.readStatusValue(getpid(), "Name", nullptr), -1);
  EXPECT_STREQ(out, "untouched");
}

TEST(ProcessMonitorStatus, ChosenKeyIsSampledByTheNextScan) {
  FakeProc proc;
  proc.Put(3, "a", 10);
  ProcessMonitor monitor;
  EXPECT_EQ(RecordOf(monitor, 3).lastMem, 10);
  monitor.setStatusKey("VmSize");
  EXPECT_EQ(monitor.getProcInfo(3), 9999);
  monitor.setStatusKey(nullptr);
  EXPECT_EQ(monitor.getProcInfo(3), 9999);
}

TEST(ProcessMonitorStatusDeathTest, KeyOf255BytesFitsAndOf256EndsTheProcess) {
  ProcessMonitor monitor;
  monitor.setStatusKey(std::string(255, 'k').c_str());
  EXPECT_DEATH(monitor.setStatusKey(std::string(256, 'k').c_str()),
               "a text of 256 bytes does not fit a buffer of 256 bytes");
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

// Runs `passes` passes of the loop with a clock that moves by one second a pass, and gives what it printed.
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
  std::deque<PROC_INFO_DATA>& table = monitor.*Get(MonitorRecords{});
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

TEST(ProcessMonitorLoop, SettingsMayChangeAndBeReadWhileTheLoopRuns) {
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
    EXPECT_EQ(RecordOf(monitor, 1).maxMem, 1000 + i);
    EXPECT_EQ(RecordOf(monitor, 1).lastMem, 100);
  }
  stop = true;
  loop.join();
  faults::setSleep(nullptr);
}

}  // namespace
