#include "json_input.h"

#include "input_file.h"
#include "job_error.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <memory>

namespace cli {

namespace {

// Catches what is printed on standard output while it lives: the parser tells of its errors there, and the
// command's own output must stay data.
class CaughtOutput {
 public:
  CaughtOutput() : caught_(memfd_create("tovkit", MFD_CLOEXEC)) {
    std::fflush(stdout);
    saved_ = dup(STDOUT_FILENO);
    if (caught_ >= 0 && saved_ >= 0) dup2(caught_, STDOUT_FILENO);
  }
  ~CaughtOutput() {
    Restore();
    if (caught_ >= 0) close(caught_);
  }
  CaughtOutput(const CaughtOutput&) = delete;
  CaughtOutput& operator=(const CaughtOutput&) = delete;

  // The first line that was printed.
  std::string Line() {
    Restore();
    char text[512];
    const ssize_t length = pread(caught_, text, sizeof text, 0);
    std::string line(text, length > 0 ? static_cast<std::size_t>(length) : 0);
    return line.substr(0, line.find('\n'));
  }

 private:
  void Restore() {
    if (saved_ < 0) return;
    std::fflush(stdout);
    dup2(saved_, STDOUT_FILENO);
    close(saved_);
    saved_ = -1;
  }

  int caught_ = -1;
  int saved_ = -1;
};

}  // namespace

tovkit::SharedPtr<tovkit::JsonValue> ReadJson(const std::string& file) {
  const std::string text = ReadInputFile(file, INT_MAX, "larger than 2 GiB");
  // To the parser an empty text is an empty object.
  if (text.empty()) throw JobError(InputName(file) + ": empty, where JSON is expected");
  CaughtOutput caught;
  auto root = tovkit::Json::Parse(text.c_str(), static_cast<unsigned int>(text.size()), nullptr);
  if (!root) throw JobError(InputName(file) + ": " + caught.Line());
  return root;
}

}  // namespace cli
