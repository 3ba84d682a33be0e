// SPDX-License-Identifier: MIT
// Mutexes, the worker pool and child processes, beside what they are made of and beside GLib, POCO and Qt.
//
// The pool's workers print a line per task. The rows that run tasks send standard output to /dev/null while
// they do, fully buffered, as a service's is that writes to a file.
#include <Poco/Process.h>
#include <Poco/Runnable.h>
#include <Poco/ThreadPool.h>
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <glib.h>
#include <semaphore.h>
#include <spawn.h>
#include <sys/wait.h>
#include <tovkit/system.h>
#include <unistd.h>

#include <QThreadPool>

#include <atomic>
#include <cstdio>
#include <ctime>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

extern char** environ;

namespace {

constexpr int kWorkers = 10;
constexpr int kBurst = 8;

// ---- Mutexes ----

void MutexTovkit(benchmark::State& state) {
  tovkit::Mutex mutex;
  for (auto _ : state) {
    mutex.lock();
    mutex.unlock();
  }
}

void MutexTovkitWatched(benchmark::State& state) {
  tovkit::WatchedMutex mutex("bench", 1000);
  for (auto _ : state) {
    mutex.lock();
    mutex.unlock();
  }
}

// What tovkit's mutex cannot do without, in a program of default options: no function around the calls and
// nothing kept. A class written by hand that keeps both times takes a fifth longer.
void MutexPthreadAndTime(benchmark::State& state) {
  pthread_mutex_t mutex;
  pthread_mutex_init(&mutex, nullptr);
  for (auto _ : state) {
    pthread_mutex_lock(&mutex);
    benchmark::DoNotOptimize(time(nullptr));
    pthread_mutex_unlock(&mutex);
    benchmark::DoNotOptimize(time(nullptr));
  }
  pthread_mutex_destroy(&mutex);
}

// The same as a class.
class PthreadAndTime {
 public:
  ~PthreadAndTime() { pthread_mutex_destroy(&mutex_); }
  void lock() {
    pthread_mutex_lock(&mutex_);
    benchmark::DoNotOptimize(time(nullptr));
  }
  void unlock() {
    pthread_mutex_unlock(&mutex_);
    benchmark::DoNotOptimize(time(nullptr));
  }

 private:
  pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
};

// What a lock and an unlock take while another thread does nothing else.
template <typename Lockable>
void Contended(benchmark::State& state) {
  Lockable mutex;
  std::atomic<bool> ends{false};
  std::thread other([&] {
    while (!ends) {
      mutex.lock();
      mutex.unlock();
    }
  });
  for (auto _ : state) {
    mutex.lock();
    mutex.unlock();
  }
  ends = true;
  other.join();
}

// ---- Pool ----

// Standard output of this process goes nowhere meanwhile.
class Silence {
 public:
  Silence() : saved_(Flushed()) {
    const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(null, STDOUT_FILENO);
    close(null);
    std::setvbuf(stdout, nullptr, _IOFBF, BUFSIZ);
  }
  ~Silence() {
    std::fflush(stdout);
    dup2(saved_, STDOUT_FILENO);
    close(saved_);
  }

 private:
  static int Flushed() {
    std::fflush(stdout);
    return fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
  }
  int saved_;
};

// Counts down as tasks end; the last one wakes the caller.
class Latch {
 public:
  Latch() { sem_init(&done_, 0, 0); }
  ~Latch() { sem_destroy(&done_); }
  void Expect(int tasks) { left_ = tasks; }
  void Arrive() {
    if (--left_ == 0) sem_post(&done_);
  }
  void Wait() {
    while (sem_wait(&done_) != 0) {
    }
  }

 private:
  std::atomic<int> left_{0};
  sem_t done_;
};

void* ArriveAt(void* latch) {
  static_cast<Latch*>(latch)->Arrive();
  return nullptr;
}

class TovkitPool {
 public:
  TovkitPool() { pool_.init(kWorkers); }
  void Add(Latch& latch) { pool_.addTask(ArriveAt, &latch); }

 private:
  Silence silence_;
  tovkit::ThreadPool pool_;
};

class GlibPool {
 public:
  GlibPool()
      : pool_(g_thread_pool_new([](gpointer latch, gpointer) { ArriveAt(latch); }, nullptr, kWorkers, TRUE,
                                nullptr)) {}
  ~GlibPool() { g_thread_pool_free(pool_, FALSE, TRUE); }
  void Add(Latch& latch) { g_thread_pool_push(pool_, &latch, nullptr); }

 private:
  GThreadPool* pool_;
};

class PocoPool {
 public:
  PocoPool() : pool_(kWorkers, kWorkers) {}
  ~PocoPool() { pool_.joinAll(); }
  // POCO has no queue: a full pool throws until a thread is idle again.
  void Add(Latch& latch) {
    tasks_[next_].latch = &latch;
    for (;;) {
      try {
        pool_.start(tasks_[next_]);
        break;
      } catch (const Poco::NoThreadAvailableException&) {
        std::this_thread::yield();
      }
    }
    next_ = (next_ + 1) % tasks_.size();
  }

 private:
  struct Task : Poco::Runnable {
    void run() override { latch->Arrive(); }
    Latch* latch = nullptr;
  };
  std::vector<Task> tasks_ = std::vector<Task>(4 * kWorkers);
  size_t next_ = 0;
  Poco::ThreadPool pool_;
};

class QtPool {
 public:
  QtPool() { pool_.setMaxThreadCount(kWorkers); }
  ~QtPool() { pool_.waitForDone(); }
  void Add(Latch& latch) {
    pool_.start([&latch] { latch.Arrive(); });
  }

 private:
  QThreadPool pool_;
};

// From handing over `tasks` tasks to the end of the last.
template <typename Pool, int tasks>
void HandOver(benchmark::State& state) {
  Latch latch;
  Pool pool;
  for (auto _ : state) {
    latch.Expect(tasks);
    for (int i = 0; i < tasks; ++i) pool.Add(latch);
    latch.Wait();
  }
  state.SetItemsProcessed(state.iterations() * tasks);
}

// The line that a worker prints for a task, into a full buffer's worth of /dev/null.
void LineTovkit(benchmark::State& state) {
  const Silence silence;
  for (auto _ : state) std::printf("----------------------thread start working\n");
}

// Holds every worker until it is opened.
struct Gate : tovkit::Runnable {
  int run() override {
    ++waiting;
    while (!open) usleep(100);
    return 0;
  }
  std::atomic<int> waiting{0};
  std::atomic<bool> open{false};
};

void* Nothing(void*) { return nullptr; }

// One more task on a queue of state.range(0); what was added is drained outside the clock by a fresh pool.
void AddAtDepthTovkit(benchmark::State& state) {
  const Silence silence;
  for (auto _ : state) {
    state.PauseTiming();
    Gate gate;
    auto pool = std::make_unique<tovkit::ThreadPool>();
    pool->init(kWorkers);
    for (int i = 0; i < kWorkers; ++i) pool->addTask(&gate);
    while (gate.waiting != kWorkers) usleep(100);
    for (long i = 0; i < state.range(0); ++i) pool->addTask(Nothing, nullptr);
    state.ResumeTiming();
    for (int i = 0; i < 100; ++i) pool->addTask(Nothing, nullptr);
    state.PauseTiming();
    std::thread opener([&gate] { gate.open = true; });
    pool->destroy();
    opener.join();
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * 100);
}

void AddAtDepthGlib(benchmark::State& state) {
  for (auto _ : state) {
    state.PauseTiming();
    Gate gate;
    GThreadPool* pool = g_thread_pool_new(
        [](gpointer task, gpointer first) {
          if (task == first) static_cast<Gate*>(first)->run();
        },
        &gate, kWorkers, TRUE, nullptr);
    for (int i = 0; i < kWorkers; ++i) g_thread_pool_push(pool, &gate, nullptr);
    while (gate.waiting != kWorkers) usleep(100);
    static char other;
    for (long i = 0; i < state.range(0); ++i) g_thread_pool_push(pool, &other, nullptr);
    state.ResumeTiming();
    for (int i = 0; i < 100; ++i) g_thread_pool_push(pool, &other, nullptr);
    state.PauseTiming();
    gate.open = true;
    g_thread_pool_free(pool, FALSE, TRUE);
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * 100);
}

// ---- Processes ----

constexpr char kProgram[] = "/bin/true";

// From the start to the end of a program that does nothing. waitpid instead of Process::wait, which looks
// every 5 ms.
void StartTovkit(benchmark::State& state, uint32_t flags) {
  for (auto _ : state) {
    tovkit::Process process;
    process.setFlags(flags);
    process.start(kProgram, 0, nullptr);
    waitpid(static_cast<pid_t>(process.pid()), nullptr, 0);
    process.wait(0);
  }
}

void StartPosixSpawn(benchmark::State& state) {
  for (auto _ : state) {
    char* const argv[] = {const_cast<char*>(kProgram), nullptr};
    pid_t pid = 0;
    posix_spawn(&pid, kProgram, nullptr, nullptr, argv, environ);
    waitpid(pid, nullptr, 0);
  }
}

void StartGlib(benchmark::State& state) {
  for (auto _ : state) {
    gchar* argv[] = {const_cast<gchar*>(kProgram), nullptr};
    GPid pid = 0;
    g_spawn_async(nullptr, argv, nullptr, G_SPAWN_DO_NOT_REAP_CHILD, nullptr, nullptr, &pid, nullptr);
    waitpid(pid, nullptr, 0);
  }
}

void StartPoco(benchmark::State& state) {
  for (auto _ : state) Poco::Process::launch(kProgram, {}).wait();
}

BENCHMARK(MutexTovkit)->Name("mutex/lock_unlock/tovkit");
BENCHMARK(MutexPthreadAndTime)->Name("mutex/lock_unlock/pthread_and_time");
BENCHMARK(MutexTovkitWatched)->Name("mutex/lock_unlock_watched/tovkit");
BENCHMARK(MutexPthreadAndTime)->Name("mutex/lock_unlock_watched/pthread_and_time");
BENCHMARK(Contended<tovkit::Mutex>)->Name("mutex/contended/tovkit")->UseRealTime();
BENCHMARK(Contended<PthreadAndTime>)->Name("mutex/contended/pthread_and_time")->UseRealTime();
BENCHMARK(Contended<std::mutex>)->Name("mutex/contended/std_mutex")->UseRealTime();

BENCHMARK(HandOver<TovkitPool, 1>)->Name("pool/hand_over/tovkit")->UseRealTime();
BENCHMARK(HandOver<GlibPool, 1>)->Name("pool/hand_over/glib")->UseRealTime();
BENCHMARK(HandOver<PocoPool, 1>)->Name("pool/hand_over/poco")->UseRealTime();
BENCHMARK(HandOver<QtPool, 1>)->Name("pool/hand_over/qt")->UseRealTime();
BENCHMARK(HandOver<TovkitPool, kBurst>)->Name("pool/burst_of_8/tovkit")->UseRealTime();
BENCHMARK(HandOver<GlibPool, kBurst>)->Name("pool/burst_of_8/glib")->UseRealTime();
BENCHMARK(HandOver<PocoPool, kBurst>)->Name("pool/burst_of_8/poco")->UseRealTime();
BENCHMARK(HandOver<QtPool, kBurst>)->Name("pool/burst_of_8/qt")->UseRealTime();
BENCHMARK(LineTovkit)->Name("pool/line_of_a_task/tovkit");
BENCHMARK(AddAtDepthTovkit)->Name("pool/add_100_tasks_at_depth/tovkit")->Arg(10)->Arg(10000)->Iterations(10);
BENCHMARK(AddAtDepthGlib)->Name("pool/add_100_tasks_at_depth/glib")->Arg(10)->Arg(10000)->Iterations(10);

BENCHMARK_CAPTURE(StartTovkit, closing, 0)->Name("process/start/tovkit")->UseRealTime();
BENCHMARK(StartGlib)->Name("process/start/glib")->UseRealTime();
BENCHMARK(StartPoco)->Name("process/start/poco")->UseRealTime();
BENCHMARK(StartPosixSpawn)->Name("process/start/posix_spawn")->UseRealTime();
BENCHMARK_CAPTURE(StartTovkit, inheriting, tovkit::Process::inheritParentFds)
    ->Name("process/start_inheriting/tovkit")
    ->UseRealTime();
BENCHMARK(StartPosixSpawn)->Name("process/start_inheriting/posix_spawn")->UseRealTime();

}  // namespace
