// SPDX-License-Identifier: MIT
// Jobs for jobs.run and jobs.map. A Batch runs the executor of the command in a thread of its own, fed
// through a socket as the command is through a file. Jobs are read and results are handed over by the thread
// that asks, so that no Python runs anywhere else.
#include "arguments.h"
#include "bindings.h"
#include "errors.h"

#include "jobs/executor.h"
#include "jobs/id_index.h"
#include "jobs/job_runner.h"
#include "jobs/selected_source.h"
#include "jobs/shard.h"
#include "jobs/stop_request.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <climits>
#include <csignal>
#include <deque>
#include <exception>
#include <mutex>
#include <new>
#include <string>
#include <thread>

namespace python {

namespace {

using jobs::OpenDescriptor;

constexpr int kLongestWait = 100;  // milliseconds until signals of Python are looked at

jobs::Error NoRoom(const char* what) { return jobs::Error::OfSystem(jobs::ErrorKind::kLimit, "jobs", what); }

class Batch final : private jobs::ResultSink {
 public:
  explicit Batch(jobs::ExecutorOptions options)
      : options_(std::move(options)), event_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    int ends[2];
    if (event_.get() < 0) throw NoRoom("cannot wait for results");
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) throw NoRoom("cannot feed workers");
    ours_ = OpenDescriptor(ends[0]);
    theirs_ = OpenDescriptor(ends[1]);
    Start();
  }
  // A child that was forked has no thread to wait for.
  ~Batch() override {
    if (getpid() == owner_) {
      Stop();
    } else if (thread_.joinable()) {
      thread_.detach();
    }
  }

  // Adds a job: JSON on one line.
  void Put(const py::object& line) {
    const std::string_view text = TextOf(line, "job");
    if (text.find('\n') != std::string_view::npos) RefuseValue("job", "a line break is in it");
    pending_.append(text);
    pending_ += '\n';
  }

  // The next result as a line of JSON, None when the batch has ended.
  py::object Next() {
    for (;;) {
      std::string line;
      switch (Wait(line)) {
        case Found::kResult:
          return py::str(line);
        case Found::kEnd:
          return py::none();
        case Found::kNothing:
          if (PyErr_CheckSignals() != 0) throw py::error_already_set();
      }
    }
  }

  // Ends the workers, whatever they do.
  void Stop() {
    if (!thread_.joinable()) return;
    const py::gil_scoped_release released;
    stop_.Raise();
    stop_.Raise();
    thread_.join();
  }

 private:
  enum class Found { kResult, kEnd, kNothing };

  // A thread that takes no signals: those are Python's.
  void Start() {
    sigset_t all, before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    try {
      thread_ = std::thread([this] { Run(); });
    } catch (const std::system_error& e) {
      pthread_sigmask(SIG_SETMASK, &before, nullptr);
      throw jobs::Error(jobs::ErrorKind::kLimit, "jobs", e.what());
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
  }

  void Run() {
    try {
      jobs::FileSource lines(theirs_.get(), "jobs", "", jobs::FileSource::Format::kJsonLines);
      jobs::IdIndex index;
      jobs::SelectedSource selected(lines, jobs::Shard(), index, options_.runner.directory, false);
      // What is left when it was stopped is nobody's.
      static_cast<void>(jobs::Executor(options_).Run(selected, *this, stop_));
    } catch (...) {
      failure_ = std::current_exception();
    }
    const std::lock_guard lock(mutex_);
    ended_ = true;
    Signal();
  }

  void Take(const jobs::JobResult& result) override {
    std::string line = jobs::ToJsonLine(result);
    const std::lock_guard lock(mutex_);
    results_.push_back(std::move(line));
    Signal();
  }

  void Signal() const {
    const std::uint64_t one = 1;
    static_cast<void>(!write(event_.get(), &one, sizeof one));
  }

  // Waits for a moment.
  Found Wait(std::string& line) {
    const py::gil_scoped_release released;
    Feed();
    if (const Found found = Look(line); found != Found::kNothing) return found;
    pollfd polled[] = {{event_.get(), POLLIN, 0}, {ours_.get(), POLLOUT, 0}};
    poll(polled, sent_ < pending_.size() ? 2 : 1, kLongestWait);
    std::uint64_t count = 0;
    static_cast<void>(!read(event_.get(), &count, sizeof count));
    return Look(line);
  }

  void Feed() {
    while (sent_ < pending_.size()) {
      const ssize_t length =
          send(ours_.get(), pending_.data() + sent_, pending_.size() - sent_, MSG_NOSIGNAL | MSG_DONTWAIT);
      if (length < 0) return;
      sent_ += static_cast<std::size_t>(length);
    }
    pending_.clear();
    sent_ = 0;
  }

  Found Look(std::string& line) {
    const std::lock_guard lock(mutex_);
    if (!results_.empty()) {
      line = std::move(results_.front());
      results_.pop_front();
      return Found::kResult;
    }
    if (!ended_) return Found::kNothing;
    if (failure_) std::rethrow_exception(failure_);
    return Found::kEnd;
  }

  const jobs::ExecutorOptions options_;
  const pid_t owner_ = getpid();
  OpenDescriptor event_;
  OpenDescriptor ours_;
  OpenDescriptor theirs_;
  jobs::StopRequest stop_;
  std::string pending_;  // lines that were not sent yet
  std::size_t sent_ = 0;
  std::mutex mutex_;
  std::deque<std::string> results_;
  bool ended_ = false;
  std::exception_ptr failure_;
  std::thread thread_;
};

jobs::RunnerOptions RunnerOf(const py::object& directory, const py::object& input, const py::object& fonts,
                             bool report) {
  jobs::RunnerOptions runner;
  runner.directory = PathOf(directory, "directory");
  if (!input.is_none()) runner.input = PathOf(input, "input");
  runner.fonts = PathsOf(fonts, "fonts");
  runner.report = report;
  return runner;
}

std::unique_ptr<Batch> MakeBatch(const py::object& workers, const py::object& directory,
                                 const py::object& input, const py::object& fonts, bool report,
                                 const py::object& timeout, const py::object& memory,
                                 const py::object& recycle, bool ordered) {
  constexpr float kLongestTimeout = 2e6F;  // seconds, which milliseconds in an int hold
  constexpr int kMostWorkers = 1024;
  constexpr std::uint64_t kLeastMemory = 64U << 20;
  jobs::ExecutorOptions options;
  options.workers = workers.is_none() ? std::max(1, static_cast<int>(std::thread::hardware_concurrency()))
                                      : WholeOf(workers, "workers", 1, kMostWorkers);
  options.runner = RunnerOf(directory, input, fonts, report);
  const float seconds = NumberOf(timeout, "timeout", 0, kLongestTimeout);
  options.timeout = std::chrono::milliseconds(static_cast<std::int64_t>(seconds * 1000));
  if (options.timeout.count() < 1) RefuseValue("timeout", "a job needs some time");
  options.memory =
      static_cast<std::uint64_t>(WholeOf(memory.attr("__floordiv__")(1 << 20), "memory", 0, INT_MAX)) << 20;
  if (options.memory < kLeastMemory && !memory.equal(py::int_(0)))
    RefuseValue("memory", "0 or 64 MiB and more is expected");
  options.recycle = static_cast<std::uint64_t>(WholeOf(recycle, "recycle", 0, INT_MAX));
  options.ordered = ordered;
  return std::make_unique<Batch>(std::move(options));
}

py::str RunJob(const py::object& line, const py::object& directory, const py::object& input,
               const py::object& fonts, bool report) {
  const std::string text(TextOf(line, "job"));
  const jobs::RunnerOptions options = RunnerOf(directory, input, fonts, report);
  std::string result;
  {
    const py::gil_scoped_release released;
    result = jobs::ToJsonLine(jobs::JobRunner(options).Run(text));
  }
  return {result};
}

PyObject* RefuseNewBatch(PyTypeObject*, PyObject*, PyObject*) {
  PyErr_SetString(PyExc_TypeError, "Batch has no constructor: use batch()");
  return nullptr;
}

}  // namespace

void BindBatch(py::module_& module) {
  py::class_<Batch>(module, "Batch", py::custom_type_setup([](PyHeapTypeObject* type) {
                      // An object that was made past batch() would hold none.
                      type->ht_type.tp_new = RefuseNewBatch;
                    }),
                    "Jobs in worker processes.")
      .def("put", &Batch::Put, py::arg("job"), "put(self, job)\n--\n\nAdds a job: JSON on one line.")
      .def("next", &Batch::Next,
           "next(self)\n--\n\nWaits for the next result, a line of JSON; None at the end.")
      .def("stop", &Batch::Stop, "stop(self)\n--\n\nEnds the workers.");
  module.def("batch", &MakeBatch, py::arg("workers"), py::arg("directory"), py::arg("input"),
             py::arg("fonts"), py::arg("report"), py::arg("timeout"), py::arg("memory"), py::arg("recycle"),
             py::arg("ordered"),
             "batch(workers, directory, input, fonts, report, timeout, memory, recycle, ordered)\n--\n\n"
             "Starts worker processes for jobs.");
  module.def("run_job", &RunJob,
             "run_job(job, directory, input, fonts, report, /)\n--\n\n"
             "Runs a job in this process; its result as a line of JSON.");
}

}  // namespace python
