// SPDX-License-Identifier: MIT
// Reads /proc/PID/status of every process, line by line, and keeps one record a process in the order of the
// directory. A second thread may look at the records while they are sampled: those fields go through
// shared_field.h.
#include "tovkit/system.h"

#include "fixed_buffer.h"
#include "shared_field.h"

#include <dirent.h>
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <string_view>
#include <utility>

namespace tovkit {

namespace {

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

long ToNumber(const char* text) { return std::strtol(text, nullptr, 10); }

bool IsProcessEntry(const char* name) { return name[0] >= '0' && name[0] <= '9'; }

// Compatibility: one call changes one field, that of the first bit. A loop may sample the fields at the same
// time.
int Apply(PROC_INFO_DATA* record, const PROC_INFO_DATA& info, int mask) {
  if (record == nullptr) return 1;
  if ((mask & kUpdateMonitored) != 0) {
    StoreShared(record->monitored, info.monitored);
  } else if ((mask & kUpdateInterval) != 0) {
    StoreShared(record->interval, info.interval);
  } else if ((mask & kUpdateMaxMem) != 0) {
    StoreShared(record->maxMem, info.maxMem);
  } else {
    return -1;
  }
  return 1;
}

template <typename Matches>
PROC_INFO_DATA* FindFirst(std::deque<PROC_INFO_DATA>& records, Matches matches) {
  for (PROC_INFO_DATA& record : records) {
    if (matches(record)) return &record;
  }
  return nullptr;
}

PROC_INFO_DATA* FindById(std::deque<PROC_INFO_DATA>& records, long pid) {
  return FindFirst(records, [pid](const PROC_INFO_DATA& record) { return record.pid == pid; });
}

// Takes one sample and prints what it shows. The sample replaces the one before even when nothing is printed:
// growth is counted from pass to pass.
void TakeSample(PROC_INFO_DATA& record, long mem) {
  const long maxMem = LoadShared(record.maxMem);
  if (mem > maxMem && maxMem >= 1) {
    std::printf("proc:%s,pId:%ld,mem:%ld greater than max_mem:%ld\n", record.name, record.pid, mem, maxMem);
  }
  const time_t now = time(nullptr);
  const int interval = LoadShared(record.interval);
  if (now - record.lastTime >= interval && interval >= 1) {
    const long growth = mem - record.lastMem;
    StoreShared(record.memAdd, growth);
    std::printf("proc:%s,pId:%ld,mem:%ld,%d second memery add %ldkb\n", record.name, record.pid, mem,
                interval, growth);
  }
  StoreShared(record.lastTime, now);
  StoreShared(record.lastMem, mem);
}

}  // namespace

ProcessMonitor::ProcessMonitor() : statusKey("VmRSS") { scan(records); }

ProcessMonitor::~ProcessMonitor() = default;

void ProcessMonitor::setStatusKey(const char* key) {
  if (key == nullptr) return;
  base::FixedBuffer<sizeof statusKey> copy;
  copy.Copy(key);
  std::memcpy(statusKey, copy.text(), sizeof statusKey);
}

// The same operation under the symbol that it has when `key` is declared as `char*`, for programs compiled
// that way.
extern "C" TOVKIT_API void SetStatusKeyOfPlainChar(ProcessMonitor* monitor, char* key) __asm__(
    "_ZN6tovkit14ProcessMonitor12setStatusKeyEPc");
void SetStatusKeyOfPlainChar(ProcessMonitor* monitor, char* key) { monitor->setStatusKey(key); }

int ProcessMonitor::readStatusValue(long pid, const char* key, char* out) {
  if (key == nullptr || out == nullptr) return -1;
  base::FixedBuffer<256> path;
  path.Format("/proc/%ld/status", pid);
  // The whole file fits, so one read replaces one for each kilobyte, without an allocation. Must outlive the
  // file.
  char stream[4096];
  const std::unique_ptr<std::FILE, FileCloser> file(std::fopen(path.text(), "re"));
  if (file == nullptr) return -1;
  std::setvbuf(file.get(), stream, _IOFBF, sizeof stream);
  char line[256];
  while (std::fgets(line, sizeof line, file.get()) != nullptr) {
    if (std::strstr(line, key) == nullptr) continue;
    char first[256];
    std::sscanf(line, "%255s %255s", first, out);  // a piece holds at most 255 bytes, so no word is cut
    return 1;
  }
  return 1;
}

int ProcessMonitor::scan(std::deque<PROC_INFO_DATA>& out) {
  out.clear();
  DIR* const directory = opendir("/proc");
  if (directory == nullptr) {
    std::fputs("Cannot open /proc\n", stderr);
    return -1;
  }
  while (const dirent* const entry = readdir(directory)) {
    if (!IsProcessEntry(entry->d_name)) continue;
    PROC_INFO_DATA& record = out.emplace_back();
    char value[256] = {};
    record.pid = ToNumber(entry->d_name);
    readStatusValue(record.pid, "Name", record.name);
    readStatusValue(record.pid, statusKey, value);
    record.lastMem = ToNumber(value);
    record.valid = true;
  }
  // Compatibility: the directory stays open; a scan costs a descriptor.
  return 0;
}

int ProcessMonitor::refresh() {
  std::deque<PROC_INFO_DATA> fresh;
  const int result = scan(fresh);
  if (result < 0) return result;
  std::map<std::pair<long, std::string_view>, const PROC_INFO_DATA*> known;
  for (const PROC_INFO_DATA& record : records) known.try_emplace({record.pid, record.name}, &record);
  for (PROC_INFO_DATA& record : fresh) {
    const auto before = known.find({record.pid, record.name});
    if (before == known.end()) continue;
    record.monitored = before->second->monitored;
    record.lastTime = before->second->lastTime;
    record.interval = before->second->interval;
    record.maxMem = before->second->maxMem;
  }
  records = std::move(fresh);
  return 1;
}

int ProcessMonitor::updateById(PROC_INFO_DATA info, int mask) {
  return Apply(FindById(records, info.pid), info, mask);
}

int ProcessMonitor::updateByName(PROC_INFO_DATA info, int mask) {
  const auto sameName = [&info](const PROC_INFO_DATA& record) {
    return std::strcmp(record.name, info.name) == 0;
  };
  return Apply(FindFirst(records, sameName), info, mask);
}

int ProcessMonitor::getProcInfo(long pid, PROC_INFO_DATA& out) {
  refresh();
  const PROC_INFO_DATA* const record = FindById(records, pid);
  if (record == nullptr) return -1;
  out = *record;
  return 1;
}

long ProcessMonitor::getProcInfo(long pid) {
  refresh();
  const PROC_INFO_DATA* const record = FindById(records, pid);
  return record == nullptr ? -1 : record->lastMem;
}

std::deque<PROC_INFO_DATA> ProcessMonitor::getAll() const {
  std::deque<PROC_INFO_DATA> copies;
  for (const PROC_INFO_DATA& record : records) {
    PROC_INFO_DATA& copy = copies.emplace_back();
    std::memcpy(copy.name, record.name, sizeof copy.name);
    copy.pid = record.pid;
    copy.lastMem = LoadShared(record.lastMem);
    copy.maxMem = LoadShared(record.maxMem);
    copy.interval = LoadShared(record.interval);
    copy.lastTime = LoadShared(record.lastTime);
    copy.memAdd = LoadShared(record.memAdd);
    copy.monitored = LoadShared(record.monitored);
    copy.valid = record.valid;
  }
  return copies;
}

int ProcessMonitor::killProcess(long pid) {
  // Cutting a number that no process can have could make it that of some process.
  const auto target = static_cast<pid_t>(pid);
  if (target == pid) kill(target, SIGKILL);
  return 1;
}

void ProcessMonitor::monitorLoop() {
  for (;;) {
    char value[256] = {};
    for (PROC_INFO_DATA& record : records) {
      if (!LoadShared(record.monitored)) continue;
      // Compatibility: after a failed read, the value of the previous record is used.
      readStatusValue(record.pid, statusKey, value);
      TakeSample(record, ToNumber(value));
    }
    sleep(1);
  }
}

}  // namespace tovkit
