// SPDX-License-Identifier: MIT
// Uses of the library for a sweep over failing system calls: each tells on standard output what became of it
// and exits with 1 for a failure.
#include <tovkit/system.h>
#include <tovkit/util.h>

#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <utility>

namespace {

constexpr unsigned kAll = tovkit::kSharedMemoryRead | tovkit::kSharedMemoryWrite;

int Tell(bool good, const char* failure) {
  std::printf("%s\n", good ? "done" : failure);
  return good ? 0 : 1;
}

int StartProcess() {
  tovkit::Process process;
  if (!process.start("/bin/true", 0, nullptr)) return 1;
  return process.wait(-1) ? Tell(process.exitCode() == 0, "not ended") : 1;
}

// Only one call of a run fails, so a segment that was left for it can be removed now.
class Leftover {
 public:
  explicit Leftover(std::string name) : name_(std::move(name)) {}
  ~Leftover() {
    tovkit::SharedMemory memory(name_.c_str());
    if (memory.Attach(kAll)) memory.Detach(true);
  }
  Leftover(const Leftover&) = delete;
  Leftover& operator=(const Leftover&) = delete;

 private:
  std::string name_;
};

int ShareMemory() {
  const std::string name = "a sweep over calls, process " + std::to_string(getpid());
  const Leftover leftover(name);
  tovkit::SharedMemory memory(name.c_str());
  if (!memory.Create(4096, kAll) || !memory.Attach(kAll)) return Tell(false, memory.GetErrorMessage());
  std::memset(memory.GetData(), 1, memory.GetSize());
  if (!memory.Detach(false) || !memory.Destroy()) return Tell(false, memory.GetErrorMessage());
  return Tell(true, "");
}

}  // namespace

int main(int count, char** arguments) {
  const std::string what = count > 1 ? arguments[1] : "";
  if (what == "copy" && count == 4) {
    tovkit::CopyFile(arguments[2], arguments[3]);
    return Tell(true, "");
  }
  if (what == "create" && count == 3) return Tell(tovkit::CreateFileWithParents(arguments[2]), "not created");
  if (what == "info" && count == 3) return Tell(tovkit::FileInfo(arguments[2], -1).IsFile(), "not there");
  if (what == "process") return StartProcess();
  if (what == "shared-memory") return ShareMemory();
  std::fprintf(stderr, "copy FROM TO, create PATH, info PATH, process or shared-memory\n");
  return 2;
}
