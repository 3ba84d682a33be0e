// SPDX-License-Identifier: MIT
// Vector instructions, the temporary directory, shared memory and /proc.
#include "finding.h"
#include "simd_level.h"
#include "text_output.h"

#include <tovkit/util.h>

#include <sys/ipc.h>
#include <sys/shm.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>

namespace cli {

namespace {

Finding ExamineVectors() {
  const std::string chosen = base::SimdLevelName(base::ChosenSimdLevel());
  const std::string highest = base::SimdLevelName(base::SimdLevelFor(nullptr));
  if (chosen == highest) return {"vector level", Finding::kOk, chosen + ", the most that this machine has"};
  return {"vector level", Finding::kWarning, chosen + ", where " + highest + " is possible",
          "unset TOVKIT_SIMD"};
}

std::string InUnits(std::uint64_t bytes) {
  constexpr std::uint64_t kMegabyte = 1 << 20;
  return bytes < 10 * kMegabyte ? std::to_string(bytes >> 10) + " KiB"
                                : std::to_string(bytes / kMegabyte) + " MiB";
}

Finding ExamineTemporaryDirectory() {
  tovkit::TempFile name;
  name.setPrefix("doctor");
  name.makePath();
  const std::string path = name.path();
  const std::string directory = path.substr(0, std::max<std::size_t>(path.rfind('/'), 1));
  const std::string check = "temporary directory";
  std::FILE* const file = std::fopen(path.c_str(), "wxe");
  if (file == nullptr) {
    return {check, Finding::kFailed, Printable(directory) + ": " + std::strerror(errno),
            "make it writable for this user"};
  }
  std::fclose(file);
  unlink(path.c_str());
  struct statvfs room = {};
  if (statvfs(directory.c_str(), &room) != 0) {
    return {check, Finding::kFailed, Printable(directory) + ": " + std::strerror(errno), "look at the mount"};
  }
  const std::uint64_t bytes = std::uint64_t{room.f_bavail} * room.f_frsize;
  constexpr std::uint64_t kLittle = std::uint64_t{64} << 20;
  return {check, bytes < kLittle ? Finding::kWarning : Finding::kOk,
          Printable(directory) + ", writable, " + InUnits(bytes) + " free",
          bytes < kLittle ? "make room: pictures and pages go through it" : ""};
}

// The first number of a file, below 0 when it cannot be read.
double NumberIn(const char* path) {
  std::ifstream file(path);
  double number = -1;
  file >> number;
  return file ? number : -1;
}

Finding ExamineSharedMemoryLimits() {
  const double largest = NumberIn("/proc/sys/kernel/shmmax");
  const double pages = NumberIn("/proc/sys/kernel/shmall");
  const double segments = NumberIn("/proc/sys/kernel/shmmni");
  const std::string check = "shared memory";
  if (largest < 0 || pages < 0 || segments < 0) {
    return {check, Finding::kWarning, "the limits cannot be read", "mount /proc"};
  }
  const double all = pages * static_cast<double>(sysconf(_SC_PAGESIZE));
  constexpr double kLittle = 32 << 20;
  // Linux comes with limits that no machine reaches.
  constexpr double kEndless = 1e18;
  std::string text =
      "segments of " +
      (largest < kEndless ? "up to " + InUnits(static_cast<std::uint64_t>(largest)) : "any size");
  if (all < kEndless) text += ", " + InUnits(static_cast<std::uint64_t>(all)) + " in all";
  text += ", " + std::to_string(static_cast<std::int64_t>(segments)) + " of them at most";
  const bool isLittle = std::min(largest, all) < kLittle;
  return {check, isLittle ? Finding::kWarning : Finding::kOk, text,
          isLittle ? "raise kernel.shmmax and kernel.shmall with sysctl" : ""};
}

// Counts segments that nobody is attached to and whose maker has ended.
Finding ExamineSegmentsLeftBehind() {
  const std::string check = "segments left behind";
  std::ifstream table("/proc/sysvipc/shm");
  if (!table) return {check, Finding::kWarning, "the table cannot be read", "mount /proc"};
  constexpr int kMostNamed = 10;
  int count = 0;
  std::uint64_t bytes = 0;
  std::string remove = "ipcrm";
  std::string line;
  for (std::getline(table, line); std::getline(table, line);) {
    std::istringstream fields(line);
    long key = 0;
    long id = 0;
    std::string mode;
    std::uint64_t size = 0;
    long creator = 0;
    long last = 0;
    long attached = 0;
    if (!(fields >> key >> id >> mode >> size >> creator >> last >> attached)) continue;
    const bool isGone = kill(static_cast<pid_t>(creator), 0) != 0 && errno == ESRCH;
    if (attached != 0 || !isGone) continue;
    bytes += size;
    if (++count <= kMostNamed) remove += " -m " + std::to_string(id);
  }
  if (count == 0) return {check, Finding::kOk, "none"};
  return {check, Finding::kWarning,
          std::to_string(count) + (count == 1 ? " segment, " : " segments, ") + InUnits(bytes) +
              ", of processes that are gone",
          "when nobody needs them: " + remove + (count > kMostNamed ? " ..." : "")};
}

Finding ExamineProc() {
  if (!std::ifstream("/proc/self/stat")) {
    return {"/proc", Finding::kFailed, "cannot be read: processes cannot be seen",
            "mount -t proc proc /proc"};
  }
  if (!std::ifstream("/proc/1/stat")) {
    return {"/proc", Finding::kWarning, "shows this user's processes only",
            "ps and monitor see all of them when /proc is mounted without hidepid"};
  }
  return {"/proc", Finding::kOk, "readable"};
}

}  // namespace

Findings ExamineMachine() {
  return {ExamineVectors(), ExamineTemporaryDirectory(), ExamineSharedMemoryLimits(),
          ExamineSegmentsLeftBehind(), ExamineProc()};
}

}  // namespace cli
