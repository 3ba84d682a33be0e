// SPDX-License-Identifier: MIT
// What the tests of ProcessMonitor share.
#pragma once

#include "service_faults.h"

#include <tovkit/system.h>

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <deque>
#include <filesystem>
#include <fstream>
#include <string>

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

inline const tovkit::PROC_INFO_DATA* Find(const std::deque<tovkit::PROC_INFO_DATA>& records, long pid) {
  for (const tovkit::PROC_INFO_DATA& record : records) {
    if (record.pid == pid) return &record;
  }
  return nullptr;
}

inline tovkit::PROC_INFO_DATA RecordOf(const tovkit::ProcessMonitor& monitor, long pid) {
  const auto records = monitor.getAll();
  const tovkit::PROC_INFO_DATA* const found = Find(records, pid);
  EXPECT_NE(found, nullptr) << pid;
  return found != nullptr ? *found : tovkit::PROC_INFO_DATA{};
}

inline tovkit::PROC_INFO_DATA Settings(long pid, bool monitored, int interval, long maxMem) {
  tovkit::PROC_INFO_DATA info = {};
  info.pid = pid;
  info.monitored = monitored;
  info.interval = interval;
  info.maxMem = maxMem;
  return info;
}
