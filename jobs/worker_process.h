// SPDX-License-Identifier: MIT
// WorkerProcess: one worker as the executor sees it: a process, the socket to it, and the job it runs.
#pragma once

#include "folder.h"
#include "wire.h"

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace jobs {

// The worker program: TOVKIT_JOB from the environment, else the one beside the library, below
// libexec/tovkit. Throws Error when there is none.
[[nodiscard]] std::string FindWorkerProgram();

class WorkerProcess {
 public:
  using Clock = std::chrono::steady_clock;

  // Starts the program. Throws Error when that is not possible.
  WorkerProcess(const std::string& program, const WorkerSettings& settings);
  // Kills the worker if it still runs, and waits for its end.
  ~WorkerProcess();
  WorkerProcess(const WorkerProcess&) = delete;
  WorkerProcess& operator=(const WorkerProcess&) = delete;

  pid_t pid() const { return pid_; }
  int socket() const { return socket_.get(); }
  Clock::time_point started() const { return started_; }

  // Sends as much of a frame as the socket takes at once; SendMore sends the rest.
  void Send(const std::string& frame);
  void SendMore();
  bool HasMoreToSend() const { return sent_ < toSend_.size(); }

  // Takes in what has come. False when the worker has closed its end.
  [[nodiscard]] bool Receive();
  // As FrameBuffer::Next.
  [[nodiscard]] bool NextMessage(std::string_view& message) { return frames_.Next(message); }

  // The job that runs, 0 for none, and since when.
  std::uint64_t Running(Clock::time_point& since) const;

  // The latest job whose output may stand, 0 for none. Precondition: the worker has ended.
  std::uint64_t Written() const { return status_->written; }
  // The hash of the job, empty when the worker did not get so far. Precondition: it has ended.
  std::string HashOf(std::uint64_t sequence) const;

  void Kill();
  // Closes the socket and waits a moment for the worker to end by itself.
  void Finish();
  // How it ended, in words. Precondition: it was killed or has closed its end.
  std::string WaitForEnd();

 private:
  OpenDescriptor socket_;
  WorkerStatus* status_ = nullptr;
  pid_t pid_ = -1;
  Clock::time_point started_ = Clock::now();
  std::string toSend_;
  std::size_t sent_ = 0;
  FrameBuffer frames_;
};

}  // namespace jobs
