// SPDX-License-Identifier: MIT
/// \file
/// System services: threads and runnables, a worker pool, mutexes with a hold-time watchdog, child processes,
/// a process memory monitor and shared memory.
///
/// Thin classes over POSIX. Nothing here throws but a failed allocation (std::bad_alloc), and no error is
/// kept for later: a failure is a false, a -1 or one line on standard output, as each function says. Objects
/// are neither copied nor moved.
///
/// Thread-safety: ThreadPool::addTask, lock and unlock may be called from any thread; everything else belongs
/// to the thread that owns the object unless its comment says otherwise.
///
/// \code{.cc}
/// struct Render : tovkit::Runnable {
///   int run() override { return 0; }
/// };
/// Render page;
/// tovkit::ThreadPool pool;
/// pool.init(16);
/// pool.addTask(&page);
/// while (!page.isFinished()) tovkit::Thread::msleep(1);
/// pool.destroy();
///
/// const char* arguments[] = {"-c", "exit 3"};
/// tovkit::Process shell;
/// if (shell.start("/bin/sh", 2, arguments) && shell.wait(5000)) std::printf("%ld\n", shell.exitCode());
/// \endcode
#pragma once

#include <pthread.h>
#include <semaphore.h>
#include <tovkit/export.h>

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <deque>

namespace tovkit {

/// \defgroup threads Threads
/// @{

/// One detached POSIX thread that runs the object's own run().
///
/// The object must outlive its thread, which touches the object after run() has returned: destroy it only
/// once isRunning() is false. A true from wait() alone is too early for that.
class TOVKIT_API Thread {
 public:
  /// No thread yet: tid() is 0 and isRunning() false.
  Thread();
  Thread(const Thread&) = delete;
  Thread& operator=(const Thread&) = delete;

  /// Destroys the semaphore behind wait(). Does not stop, join or cancel the thread.
  virtual ~Thread();

  /// Starts the thread. Reports nothing: isRunning() is true afterwards even when no thread could be created,
  /// and it stays true when the body ended before start() returned. May be called again once the body has
  /// ended; a call while it runs starts a second thread on the same object.
  void start();

  /// Waits for the end of run(), at most `milliseconds`. True when it has ended or start() was never called;
  /// false on a time-out or any error. A true result uses up the one signal that the thread sends.
  ///
  /// An oddity: whole seconds count as such, but the rest below a second is waited as
  /// MICROseconds (1500 waits 1.0005 s), and the call fails at once when that rest carries the wall clock's
  /// fraction past a whole second. Use a multiple of 1000.
  bool wait(unsigned milliseconds);

  /// @{
  /// Put the calling thread to sleep and return usleep()'s result: 0, or -1 with errno when a signal cut it
  /// short. The microseconds are taken modulo 2^32 (some 71 minutes), as usleep() takes them. A negative
  /// time, a NaN or one past 2^63 microseconds counts as 0. The float is multiplied by 1000 twice, in that
  /// order, in single precision.
  static int sleep(float seconds);
  static int msleep(unsigned milliseconds);
  /// @}

  /// True from start() until run() has ended and wait() was signalled. Any thread may ask.
  bool isRunning() const;

  /// The id of the thread that was started last; 0 before the first. The body may ask from its beginning,
  /// other threads once start() has returned.
  pthread_t tid() const;

  /// What the POSIX thread executes; `thread` is the Thread. Always null.
  static void* threadEntry(void* thread);

  /// The body. Its result is ignored.
  virtual int run() = 0;

 private:
  friend struct TestAccess;
  struct Fields {
    pthread_t tid;
    bool running;
    sem_t doneSignal;
  };
  Fields fields;
};

/// A unit of work for the pool. The caller owns it and keeps it alive until isFinished() or the pool's end.
class TOVKIT_API Runnable {
 public:
  /// Not finished yet.
  Runnable();
  Runnable(const Runnable&) = delete;
  Runnable& operator=(const Runnable&) = delete;
  virtual ~Runnable();

  /// Runs run() once and returns 0, whatever run() returned.
  int Task();

  /// False at construction and while Task() runs the body, true once the body has returned; the pool does not
  /// touch the object after that. Any thread may ask.
  bool isFinished() const;

  /// The work. Its result is ignored.
  virtual int run() = 0;

 private:
  friend struct TestAccess;
  bool finished;
};

/// @}

/// \defgroup pool Worker pool
/// @{

struct PoolTask;

/// A fixed set of at least ten worker threads and one first-in-first-out queue.
///
/// addTask() may be called from any thread, tasks included, at any time in the object's life. A task must not
/// call destroy() of its own pool. Workers print "----------------------thread start working\n" on standard
/// output once per task.
class TOVKIT_API ThreadPool {
 public:
  /// A pool without workers; init() starts them.
  ThreadPool();
  ThreadPool(const ThreadPool&) = delete;
  ThreadPool& operator=(const ThreadPool&) = delete;

  /// Calls destroy().
  ~ThreadPool();

  /// Starts `count` workers, 10 when `count` is below 10. 0 on success. -1 with a line on standard output
  /// when memory is short ("m_pThreadId malloc error\n") or a thread cannot be created ("pthread_create
  /// error\n"). In the second case the workers created so far stay and take tasks; destroy() ends them. -1
  /// without a line and without effect when the pool has workers already. A pool may be started again after
  /// destroy().
  int init(int count);

  /// @{
  /// Queues a Runnable (not owned) or a function with its argument (not checked for null). 0 when queued. -1
  /// and nothing queued for a null Runnable, for a pool without workers (before init, after destroy), and,
  /// with "THREAD_WORKER malloc error!\n" on standard output, when memory is short. The cost grows with the
  /// length of the queue: it keeps no tail.
  int addTask(Runnable* runnable);
  int addTask(void* (*function)(void*), void* argument);
  /// @}

  /// Ends the workers once each has finished the task it runs, joins them, and frees what is still queued
  /// without running it. 0 when done, for a pool that was never started too; -1, without effect, when
  /// destroy() was called before and no init() since.
  int destroy();

 private:
  friend struct TestAccess;
  static void* workerEntry(void* pool);
  const char* startWorkers(int count);
  bool hasWorkers() const;
  void work();
  bool takeTask(PoolTask** task);
  int append(PoolTask* task);
  void joinWorkers();

  pthread_mutex_t lock;
  pthread_cond_t workAvailable;
  pthread_t* threadIds;
  PoolTask* queueHead;
  int32_t shutdown;
  int32_t threadCount;
  int32_t queueSize;
};

/// @}

/// \defgroup mutexes Mutexes
/// @{

struct MutexState;

/// A plain, non-recursive mutex that remembers when it was last locked and unlocked. Results of the POSIX
/// calls are ignored.
class TOVKIT_API Mutex {
 public:
  /// An unlocked mutex.
  Mutex();
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;

  /// Precondition: nobody holds the mutex or waits for it.
  virtual ~Mutex();

  /// Blocks until the mutex is the caller's. For good when the calling thread holds it already.
  virtual void lock();

  /// Gives the mutex back. Precondition: the calling thread holds it.
  virtual void unlock();

 private:
  friend struct TestAccess;
  friend class WatchRegistry;
  MutexState* state;
};

/// A named mutex that one process-wide watchdog thread unlocks by force when it was held for too long.
///
/// The watchdog looks every 5 seconds. A mutex held for more than `timeout` seconds is released some time
/// before `timeout` + 6 seconds, with two lines on standard output; its owner is not told, may share the
/// protected data with the next owner from then on, and will later unlock a mutex that it no longer holds. It
/// breaks dead-locks at the cost of mutual exclusion.
///
/// Owners and watchdog share no lock, so two things may happen in an instant that is short but there: the
/// late end of one unlock() marks a mutex free that the next owner has taken, and that hold is then not
/// watched; and a mutex that was overdue when the watchdog looked is released though a fresh owner has it by
/// then.
///
/// The watchdog does not follow a fork(). In a child that executes no program it starts anew when a watched
/// mutex is next locked, constructed or destroyed, and then watches those that the child inherited too. When
/// the fork fell into a look of the parent's watchdog, or into a construction or destruction by another
/// thread, the child's mutexes stay unwatched, and its own constructions of watched mutexes and destructions
/// of any WatchedMutex block for good.
class TOVKIT_API WatchedMutex : public Mutex {
 public:
  /// `name` shows in the watchdog's lines: null counts as "SWMutex", and only 255 characters are kept.
  /// `timeout` is in seconds; below 1 the mutex is not watched. The first watched mutex starts the watchdog;
  /// when that fails, "pthread_create error\n" is printed and every later construction of a watched mutex and
  /// destruction of any WatchedMutex blocks for good (a process that cannot watch is meant to be noticed).
  WatchedMutex(const char* name, int timeout);

  /// Leaves the registry. A mutex with a time-out below 1 leaves a record of some 300 bytes behind.
  /// Precondition: nobody holds the mutex or waits for it.
  ~WatchedMutex() override;

  /// As Mutex. In a forked child lock() starts the watchdog that the child lacks, when the mutex is watched.
  void lock() override;
  void unlock() override;

 private:
  friend struct TestAccess;
  friend class WatchRegistry;
  MutexState* watchState;
};

/// Locks a mutex, not null and not owned, for the length of a scope.
class TOVKIT_API MutexLocker {
 public:
  /// Locks the mutex.
  explicit MutexLocker(Mutex* mutexToLock);
  MutexLocker(const MutexLocker&) = delete;
  MutexLocker& operator=(const MutexLocker&) = delete;

  /// Unlocks it.
  ~MutexLocker();

 private:
  Mutex* mutex;
};

/// @}

/// \defgroup processes Child processes
/// @{

/// One external program, run as a child process. An object belongs to one thread at a time.
///
/// A program that cannot be executed is told on the child's standard output ("PROC-ERROR: execv fail,
/// errno=%d, errmsg=%s\n", in English), and such a child ends with exit code 0. A bad working directory is
/// not told at all. Between its birth and the program's start the child takes no lock and writes nothing that
/// the caller's streams hold, so a start may be made while other threads do whatever they like.
class TOVKIT_API Process {
 public:
  /// Option bits for setFlags and its companions. Without inheritParentFds the child closes all descriptors
  /// above 2.
  enum Flag : uint32_t {
    inheritParentFds = 1,  ///< the child keeps every descriptor that it inherits
  };

  /// What is known of the child.
  enum State : int32_t {
    Starting = 0,  ///< start() is at work
    Running = 1,   ///< it was started, and no wait() has seen its end
    Stopped = 2,   ///< there is none, a wait() has seen its end, or the last start() failed
  };

  /// No child yet: pid() is 0, state() Stopped, and the child will inherit standard output and error.
  Process();
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  /// Kills a child that is not known to have ended, without reaping it: wait() first, or a zombie stays until
  /// the calling process ends.
  ~Process();

  /// Replaces the flags, sets more of them, clears some. 0 at first; a start reads them.
  /// @{
  void setFlags(uint32_t value);
  void addFlags(uint32_t value);
  void removeFlags(uint32_t value);
  /// @}

  /// Descriptors for the child's standard output and error, above 2; they stay the caller's. Takes effect
  /// only when `stdoutFd` is above 0, and then for both. The old 1 and then the old 2 are closed first, so a
  /// `stdoutFd` of 1 leaves the child without standard output, a `stderrFd` of 2, or of -1, without standard
  /// error, and a `stderrFd` of 1 is where standard output goes by then. Always true.
  bool setOutputFds(int stdoutFd, int stderrFd);

  /// Copies the directory that the child changes to before `path` is looked up; null or "" for the caller's.
  void setWorkingDirectory(const char* directory);

  /// Runs the program `path` (not searched in PATH) with `argc` arguments; `argv` excludes the program's
  /// name, and an `argc` below 1 ignores it. All texts are copied. True when the child was created, which
  /// does not mean that the program could be executed. False, with no child, for a null or empty path, a null
  /// `argv` with a positive `argc`, a null or empty argument, an `argc` too large for an int of slots, or a
  /// failed fork ("vfork fail, errno=%d, errmsg=%s\n"; it names vfork, whatever call was made).
  ///
  /// A running child does not prevent another start: the object then forgets the first one, also when the
  /// other start fails at its fork (pid() alone still names it). Only a call from within start is refused,
  /// with "this process is already runing.\n".
  bool start(const char* path, int argc, const char* const* argv);

  /// The second half of start: fork and execute what start stored. For start's use; false before any start.
  bool unixStart();

  /// Closes every descriptor above 2 of the CALLING process. For use in a child between fork and exec only.
  /// Always true. Where the kernel cannot close a range (before 5.9, or behind a filter) the shell lists the
  /// descriptors with `ls`, which takes longer than starting the program; and where that does not work either
  /// every possible one is closed. What goes wrong then is told on standard error: "ls /proc/%d/fd: %s\n"
  /// when no shell can be started, "alloca fail.: %s\n" when memory is short.
  bool unixCloseFDInheritFromParent();

  /// Waits for the child at most `milliseconds`, without limit when negative (which prints "PROC: will wait
  /// proc %lu unitl dead\n"). True when the child has ended or there is none. False on a time-out, or on an
  /// error other than "no such child", after a line "waitpid fail. errno=%d, errmsg=%s\n". A limited wait
  /// looks every 5 ms by the wall clock.
  bool wait(int milliseconds);

  /// Sends SIGKILL to a child that is not known to have ended. state() stays until wait() sees the end.
  void terminate();

  /// The child started last, 0 before.
  uint64_t pid() const;

  /// The exit status, 0 to 255, of the last child that exited; 523124044 before. A child ended by a signal
  /// leaves it as it was, and so does every child of a program that ignores SIGCHLD.
  int64_t exitCode() const;

  /// What the last start() or wait() found.
  State state() const;

 private:
  friend struct TestAccess;
  struct Fields {
    uint64_t pid;
    int64_t exitCode;
    uint32_t flags;
    int32_t state;
    char* path;
    int32_t argCount;
    char** argv;
    char* workDir;
    int32_t stdoutFd;
    int32_t stderrFd;
  };

  void freeArguments();
  void redirectOutput() const;
  bool executeInChild();

  Fields fields;
};

/// @}

/// \defgroup monitor Process memory monitor
/// @{

/// One process as the monitor knows it. Memory values are the kernel's numbers, in kilobytes.
struct PROC_INFO_DATA {
  char name[256];   ///< the first word of the status file's Name line; empty when the process ended meanwhile
  long pid;         ///< the process id
  long lastMem;     ///< the last sample
  long maxMem;      ///< a sample above it is reported; below 1 nothing is. 0 after a scan
  int interval;     ///< growth is reported when samples are this many seconds apart; below 1 never. 0 after a
                    ///< scan
  time_t lastTime;  ///< when the last sample was taken; 0 after a scan
  long memAdd;      ///< growth at the last growth report
  bool monitored;   ///< whether monitorLoop samples it; false after a scan
  bool valid;       ///< true in every record that a scan made
};

/// What updateById and updateByName change.
enum ProcessUpdateMask {
  kUpdateMonitored = 1,  ///< PROC_INFO_DATA::monitored
  kUpdateInterval = 2,   ///< PROC_INFO_DATA::interval
  kUpdateMaxMem = 4,     ///< PROC_INFO_DATA::maxMem
};

/// ProcessMonitor: the table of processes, and a loop that prints a line when a watched one grows.
///
/// Every scan of /proc leaves its directory stream open: a descriptor and some 32 KB stay behind for each
/// construction, scan, refresh and getProcInfo. Scan seldom.
///
/// Thread-safety: none of its own. Beside a running monitorLoop, updateById, updateByName, getAll,
/// killProcess and readStatusValue may be called from other threads; refresh, both getProcInfo and
/// setStatusKey may not, since they replace what the loop walks.
///
/// \code{.cc}
/// tovkit::ProcessMonitor monitor;
/// tovkit::PROC_INFO_DATA limit{};
/// limit.pid = getpid();
/// limit.monitored = true;
/// limit.maxMem = 500000;
/// monitor.updateById(limit, tovkit::kUpdateMonitored);   // one call a field
/// monitor.updateById(limit, tovkit::kUpdateMaxMem);
/// auto watch = [&monitor] { monitor.monitorLoop(); };    // prints for ever: give it a thread of its own
/// \endcode
class TOVKIT_API ProcessMonitor {
 public:
  /// Fills the table by a scan; it stays empty when the scan fails. The sampled key is "VmRSS".
  ProcessMonitor();
  ProcessMonitor(const ProcessMonitor&) = delete;
  ProcessMonitor& operator=(const ProcessMonitor&) = delete;

  /// Drops the table. No monitorLoop may be running.
  ~ProcessMonitor();

  /// Chooses the line of the status file that is sampled, such as "VmSize". A text of 256 bytes or more ends
  /// the process; a null one changes nothing.
  void setStatusKey(const char* key);

  /// Reads the second word of the first line of /proc/`pid`/status that contains `key` anywhere. Lines are
  /// taken in pieces of at most 255 bytes. `out` has room for 256 bytes. 1, also when no line matches or the
  /// line has one word; -1 when the file cannot be opened or an argument is null. `out` is untouched whenever
  /// no value was found. The name comes first in the file: a process whose name contains `key` answers with
  /// its name.
  int readStatusValue(long pid, const char* key, char* out);

  /// Replaces the contents of `out` by one record for each process, in the order of /proc, and leaves the
  /// directory stream open. 0; or -1 with `out` empty and "Cannot open /proc\n" on standard error.
  int scan(std::deque<PROC_INFO_DATA>& out);

  /// Scans anew. Processes whose pid and name are both known keep monitored, lastTime, interval and maxMem.
  /// 1; or the negative result of the scan, the table unchanged.
  int refresh();

  /// @{
  /// Changes one field of the first record with the pid or the name of `info`: the first bit of `mask` that
  /// is set, in the order 1, 2, 4, chooses it and the others are ignored, so make one call a field. 1, also
  /// when there is no such record, whatever the mask; -1, and nothing changed, when the mask has none of the
  /// bits.
  int updateById(PROC_INFO_DATA info, int mask);
  int updateByName(PROC_INFO_DATA info, int mask);
  /// @}

  /// Refreshes, then copies the record of `pid`. 1; or -1 with `out` untouched when there is none.
  int getProcInfo(long pid, PROC_INFO_DATA& out);

  /// Refreshes, then returns the memory of `pid` in kB, or -1 when there is no such process.
  long getProcInfo(long pid);

  /// A copy of the table.
  std::deque<PROC_INFO_DATA> getAll() const;

  /// Sends SIGKILL. Always 1: the result of the call is ignored. `pid` goes to kill(2) as it is, so 0 and
  /// negative values reach whole groups of processes. A number too large for a process id reaches nobody.
  int killProcess(long pid);

  /// Samples every monitored record once a second, for ever, and prints to standard output
  ///
  ///     "proc:%s,pId:%ld,mem:%ld greater than max_mem:%ld\n"              above the limit, on every pass
  ///     "proc:%s,pId:%ld,mem:%ld,%d second memery add %ldkb\n"            growth since the pass before
  ///
  /// Each pass counts as a sample, so growth is printed on every pass for an interval of 1. For a longer one
  /// it is printed on the first pass over a record, whose lastTime is 0, and after that only when a pass
  /// comes that many seconds late. A process that cannot be read counts with the number read just before it
  /// in the same pass, or 0. Nothing is flushed: give standard output the buffering you need.
  [[noreturn]] void monitorLoop();

 private:
  friend struct TestAccess;
  char statusKey[256];
  std::deque<PROC_INFO_DATA> records;
};

/// @}

/// \defgroup shared_memory Shared memory
/// @{

/// Permission bits of SharedMemory.
enum SharedMemoryFlag {
  kSharedMemoryRead = 1,   ///< see Create and Attach
  kSharedMemoryWrite = 2,  ///< see Create and Attach
};

/// SharedMemory: one System V segment under a text name.
///
/// The name is turned into an IPC key by a weighted sum of its characters; different names can share a key.
/// The segment holds nothing but the users' bytes. Failures return false and leave a text for
/// GetErrorMessage.
///
/// Thread-safety: one object belongs to one thread at a time. Processes meet only in the segment.
///
/// \code{.cc}
/// const unsigned both = tovkit::kSharedMemoryRead | tovkit::kSharedMemoryWrite;
/// tovkit::SharedMemory memory("frames");
/// if (memory.Create(4096, both) && memory.Attach(both)) {
///   static_cast<char*>(memory.GetData())[0] = 1;
/// } else {
///   std::puts(memory.GetErrorMessage());
/// }
/// \endcode
class TOVKIT_API SharedMemory {
 public:
  /// Makes no system call. `name` must not be null.
  explicit SharedMemory(const char* name);

  /// Detaches, then removes the segment if this object created it and no process is attached to it.
  ~SharedMemory();
  SharedMemory(const SharedMemory&) = delete;
  SharedMemory& operator=(const SharedMemory&) = delete;

  /// Creates a zeroed segment of `size` bytes: mode 0666 with the write bit, 0444 with the read bit alone.
  /// Fails when the segment exists, when this object has created one already, and without either bit.
  bool Create(unsigned size, unsigned flags);

  /// Removes the segment that this object created. True also when there is none, when it is gone already, and
  /// when a process is still attached: then the segment stays, and a later call tries again.
  bool Destroy();

  /// Attaches the segment of the name. Mind the pairing: read and write together attach for reading and
  /// writing, write alone attaches for READING ONLY, and read alone asks for reading and writing under a read
  /// permission. Fails without either bit and when this object is attached.
  bool Attach(unsigned flags);

  /// Detaches. True also when nothing is attached. With `remove`, also removes the segment, whoever created
  /// it, unless a process is still attached. When detaching fails nothing changes.
  bool Detach(bool remove);

  /// @{
  /// Where the segment is attached, null when it is not.
  void* GetData();
  void* GetData() const;
  /// @}

  /// The size in bytes that the attached segment was created with, 0 when none is attached.
  std::size_t GetSize() const;

  /// Why the last Create, Destroy, Attach or Detach failed; empty when it did not. Valid until the next of
  /// them.
  const char* GetErrorMessage() const;

 private:
  struct State;
  State* state;
};

/// @}

}  // namespace tovkit
