// SPDX-License-Identifier: MIT
// The messages between the executor and its workers, which are of one build: numbers as they lie in memory,
// texts behind their length. A frame is a message behind its length.
#pragma once

#include "job_runner.h"
#include "result.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>

namespace jobs {

// Bytes that are no message: the other end is broken.
class BrokenMessage final : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// What a worker is told when it starts.
struct WorkerSettings {
  RunnerOptions runner;
  std::uint64_t memory = 0;  // bytes of address space, 0 for no limit
  std::int64_t parent = 0;   // process id of the executor
};

class WireWriter {
 public:
  template <typename T>
  void Put(T value) {
    static_assert(std::is_arithmetic_v<T> || std::is_enum_v<T>);
    bytes_.append(reinterpret_cast<const char*>(&value), sizeof value);
  }
  void Put(std::string_view text) {
    Put(static_cast<std::uint64_t>(text.size()));
    bytes_ += text;
  }
  void Put(const std::string& text) { Put(std::string_view(text)); }
  void Put(const WorkerSettings& settings);
  void Put(const JobResult& result);

  bool empty() const { return bytes_.empty(); }
  std::size_t size() const { return bytes_.size(); }
  // Returns all that was put as a frame, and starts anew.
  [[nodiscard]] std::string TakeFrame();

 private:
  std::string bytes_;
};

// Reads what WireWriter wrote, in the same order. Throws BrokenMessage for anything else that it can tell.
class WireReader {
 public:
  explicit WireReader(std::string_view bytes) : bytes_(bytes) {}

  bool AtEnd() const { return bytes_.empty(); }
  template <typename T>
  T Take() {
    static_assert(std::is_arithmetic_v<T> || std::is_enum_v<T>);
    T value{};
    const std::string_view from = TakeBytes(sizeof value);
    std::memcpy(&value, from.data(), sizeof value);
    return value;
  }
  std::string_view TakeText() { return TakeBytes(Take<std::uint64_t>()); }
  WorkerSettings TakeSettings();
  JobResult TakeResult();

 private:
  // Throws BrokenMessage when there are not so many.
  std::string_view TakeBytes(std::uint64_t count);

  std::string_view bytes_;
};

// Collects bytes and hands out whole frames.
class FrameBuffer {
 public:
  void Append(const char* bytes, std::size_t size);
  // The next frame's message, valid until the next call of either. False when none is complete. Throws
  // BrokenMessage for a frame that is larger than any.
  [[nodiscard]] bool Next(std::string_view& message);

 private:
  std::string bytes_;
  std::size_t at_ = 0;
};

inline constexpr std::size_t kMostAhead = 128;  // jobs that a worker has at a time

struct HashedJob {
  std::uint64_t sequence;
  char hash[64];
};

// Shared memory that tells the executor which job a worker runs, however the worker ends.
struct WorkerStatus {
  std::uint64_t sequence;     // of the job that runs, 0 for none
  std::int64_t startedNanos;  // on the monotonic clock
  std::uint64_t written;      // the latest job whose output may stand, 0 for none
  std::uint64_t hashedCount;  // jobs, of which the latest have their place, modulo its size, in the array
  HashedJob hashed[kMostAhead];
};

inline constexpr int kWorkerSocket = 3;  // descriptors of a worker when it starts
inline constexpr int kWorkerStatus = 4;

}  // namespace jobs
