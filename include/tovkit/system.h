// (grows with its subsystem)
#pragma once

#include <tovkit/export.h>

#include <sys/types.h>

#include <cstddef>
#include <ctime>
#include <deque>

namespace tovkit {

// ---- Process memory monitor -------------------------------------------------------------------------------

// One process as the monitor knows it. Memory values are the kernel's numbers, in kilobytes.
struct PROC_INFO_DATA {
  char name[256];  // the first word of the status file's Name line; empty when the process ended meanwhile
  long pid;
  long lastMem;  // the last sample
  long maxMem;   // a sample above it is reported; below 1 nothing is. 0 after a scan
  int interval;  // growth is reported when samples are this many seconds apart; below 1 never. 0 after a scan
  time_t lastTime;  // when the last sample was taken; 0 after a scan
  long memAdd;      // growth at the last growth report
  bool monitored;   // whether monitorLoop samples it; false after a scan
  bool valid;       // true in every record that a scan made
};

// What updateById and updateByName change.
enum ProcessUpdateMask { kUpdateMonitored = 1, kUpdateInterval = 2, kUpdateMaxMem = 4 };

// ProcessMonitor: the table of processes, and a loop that prints a line when a watched one grows.
//
// Every scan of /proc leaves its directory stream open: a descriptor and some 32 KB stay behind for each
// construction, scan, refresh and getProcInfo. Scan seldom.
//
// Thread-safety: none of its own. Beside a running monitorLoop, updateById, updateByName, getAll, killProcess
// and readStatusValue may be called from other threads; refresh, both getProcInfo and setStatusKey may not,
// since they replace what the loop walks.
//
//   ProcessMonitor monitor;
//   PROC_INFO_DATA limit{};
//   limit.pid = pid;
//   limit.monitored = true;
//   limit.maxMem = 500000;
//   monitor.updateById(limit, kUpdateMonitored);   // one call a field
//   monitor.updateById(limit, kUpdateMaxMem);
//   std::thread([&] { monitor.monitorLoop(); }).detach();
class TOVKIT_API ProcessMonitor {
 public:
  // Fills the table by a scan; it stays empty when the scan fails. The sampled key is "VmRSS".
  ProcessMonitor();
  ~ProcessMonitor();
  ProcessMonitor(const ProcessMonitor&) = delete;
  ProcessMonitor& operator=(const ProcessMonitor&) = delete;

  // Chooses the line of the status file that is sampled, such as "VmSize". A text of 256 bytes or more ends
  // the process; a null one changes nothing.
  void setStatusKey(const char* key);

  // Reads the second word of the first line of /proc/`pid`/status that contains `key` anywhere. Lines are
  // taken in pieces of at most 255 bytes. `out` has room for 256 bytes. 1, also when no line matches or the
  // line has one word; -1 when the file cannot be opened. `out` is untouched whenever no value was found. The
  // name comes first in the file: a process whose name contains `key` answers with its name.
  int readStatusValue(long pid, const char* key, char* out);

  // Replaces the contents of `out` by one record for each process, in the order of /proc, and leaves the
  // directory stream open. 0; or -1 with `out` empty and "Cannot open /proc\n" on standard error.
  int scan(std::deque<PROC_INFO_DATA>& out);

  // Scans anew. Processes whose pid and name are both known keep monitored, lastTime, interval and maxMem. 1;
  // or the negative result of the scan, the table unchanged.
  int refresh();

  // Changes one field of the first record with the pid or the name of `info`: the first bit of `mask` that is
  // set, in the order 1, 2, 4, chooses it and the others are ignored, so make one call a field. 1, also when
  // there is no such record; -1 when the mask has none of the bits.
  int updateById(PROC_INFO_DATA info, int mask);
  int updateByName(PROC_INFO_DATA info, int mask);

  // Refreshes, then copies the record of `pid`. 1; or -1 with `out` untouched when there is none.
  int getProcInfo(long pid, PROC_INFO_DATA& out);

  // Refreshes, then gives the memory of `pid` in kB, or -1 when there is no such process.
  long getProcInfo(long pid);

  // A copy of the table.
  std::deque<PROC_INFO_DATA> getAll() const;

  // Sends SIGKILL. Always 1: the result of the call is ignored. `pid` goes to kill(2) as it is, so 0 and
  // negative values reach whole groups of processes.
  int killProcess(long pid);

  // Samples every monitored record once a second, for ever, and prints to standard output
  //   "proc:%s,pId:%ld,mem:%ld greater than max_mem:%ld\n"              above the limit, on every pass
  //   "proc:%s,pId:%ld,mem:%ld,%d second memery add %ldkb\n"            growth since the pass before
  // Each pass counts as a sample, so growth is printed on every pass for an interval of 1 and, for a longer
  // one, on the first pass after a scan only. A process that cannot be read counts with the number read just
  // before it in the same pass, or 0. Nothing is flushed: give standard output the buffering you need.
  [[noreturn]] void monitorLoop();

 private:
  char statusKey[256];
  std::deque<PROC_INFO_DATA> records;
};

// ---- Shared memory ----------------------------------------------------------------------------------------

// Permission bits of SharedMemory.
enum SharedMemoryFlag { kSharedMemoryRead = 1, kSharedMemoryWrite = 2 };

// SharedMemory: one System V segment under a text name.
//
// The name is turned into an IPC key by a weighted sum of its characters; different names can share a key.
// The segment holds nothing but the users' bytes. Failures give false and leave a text for GetErrorMessage.
//
// Thread-safety: one object belongs to one thread at a time. Processes meet only in the segment.
//
//   SharedMemory memory("frames");
//   if (!memory.Create(4096, kSharedMemoryRead | kSharedMemoryWrite) ||
//       !memory.Attach(kSharedMemoryRead | kSharedMemoryWrite)) {
//     std::puts(memory.GetErrorMessage());
//   }
class TOVKIT_API SharedMemory {
 public:
  // Makes no system call. `name` must not be null.
  explicit SharedMemory(const char* name);

  // Detaches, then removes the segment if this object created it and no process is attached to it.
  ~SharedMemory();
  SharedMemory(const SharedMemory&) = delete;
  SharedMemory& operator=(const SharedMemory&) = delete;

  // Creates a zeroed segment of `size` bytes: mode 0666 with the write bit, 0444 with the read bit alone.
  // Fails when the segment exists, when this object has created one already, and without either bit.
  bool Create(unsigned size, unsigned flags);

  // Removes the segment that this object created. True also when there is none, when it is gone already, and
  // when a process is still attached: then the segment stays, and a later call tries again.
  bool Destroy();

  // Attaches the segment of the name. Mind the pairing: read and write together attach for reading and
  // writing, write alone attaches for READING ONLY, and read alone asks for reading and writing under a read
  // permission. Fails without either bit and when this object is attached.
  bool Attach(unsigned flags);

  // Detaches. True also when nothing is attached. With `remove`, also removes the segment, whoever created
  // it, unless a process is still attached. When detaching fails nothing changes.
  bool Detach(bool remove);

  // Where the segment is attached, null when it is not.
  void* GetData();
  void* GetData() const;

  // The size in bytes that the attached segment was created with, 0 when none is attached.
  std::size_t GetSize() const;

  // Why the last Create, Destroy, Attach or Detach failed; empty when it did not. Valid until the next of
  // them.
  const char* GetErrorMessage() const;

 private:
  struct State;
  State* state;
};

}  // namespace tovkit
