// SPDX-License-Identifier: MIT
// What one scan of the processes finds, and reading a status file.
#include "monitor_support.h"

#include <tovkit/system.h>

#include <dirent.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstring>
#include <deque>
#include <filesystem>
#include <string>
#include <type_traits>
#include <vector>

using tovkit::PROC_INFO_DATA;
using tovkit::ProcessMonitor;

namespace {

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

TEST(ProcessMonitorScan, OneRecordForEachProcessInTheOrderOfProc) {
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

TEST(ProcessMonitorScan, MemoryValuesAreTheKernelsNumbersInKilobytes) {
  FakeProc proc;
  proc.Put(5, "Name:\tfive\nVmRSS:\t  123456 kB\n");
  ProcessMonitor monitor;
  const PROC_INFO_DATA record = RecordOf(monitor, 5);
  EXPECT_EQ(record.lastMem, 123456);
  EXPECT_EQ(monitor.getProcInfo(5), 123456);
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

TEST(ProcessMonitorScan, ReplacesTheContentsOfTheOutput) {
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

TEST(ProcessMonitorScan, EveryScanLeavesItsDirectoryStreamOpen) {
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
  std::deque<PROC_INFO_DATA> records;
  EXPECT_EQ(monitor.scan(records), 0);
  EXPECT_EQ(OpenDescriptors(), before + 5);
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

// What a program calls that was compiled with a header that says `char*`.
extern "C" void SetStatusKeyOfChar(ProcessMonitor*,
                                   char*) __asm__("_ZN6tovkit14ProcessMonitor12setStatusKeyEPc");

TEST(ProcessMonitorStatus, TheKeyMayBeSetThroughTheNameWithPlainChar) {
  FakeProc proc;
  proc.Put(3, "a", 10);
  ProcessMonitor monitor;
  char key[] = "VmSize";
  SetStatusKeyOfChar(&monitor, key);
  key[0] = 'x';
  EXPECT_EQ(monitor.getProcInfo(3), 9999);
  SetStatusKeyOfChar(&monitor, nullptr);
  EXPECT_EQ(monitor.getProcInfo(3), 9999);
  monitor.setStatusKey(std::string("VmRSS").data());  // the header's takes both
  EXPECT_EQ(monitor.getProcInfo(3), 10);
}

TEST(ProcessMonitorStatusDeathTest, KeyOf255BytesFitsAndOf256EndsTheProcess) {
  ProcessMonitor monitor;
  monitor.setStatusKey(std::string(255, 'k').c_str());
  EXPECT_DEATH(monitor.setStatusKey(std::string(256, 'k').c_str()),
               "a text of 256 bytes does not fit a buffer of 256 bytes");
}

}  // namespace
