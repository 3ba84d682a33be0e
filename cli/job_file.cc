// SPDX-License-Identifier: MIT
#include "job_file.h"

#include "error.h"
#include "input_file.h"
#include "retried.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace cli {

JobFile OpenJobFile(const std::string& file) {
  JobFile source;
  source.name = InputName(file);
  if (file != "-") {
    source.opened =
        jobs::OpenDescriptor(base::Retried([&] { return open(file.c_str(), O_RDONLY | O_CLOEXEC); }));
  }
  source.fd = file == "-" ? STDIN_FILENO : source.opened.get();
  struct stat status = {};
  if (source.fd < 0 || fstat(source.fd, &status) != 0) {
    throw CommandError(source.name + ": " + std::strerror(errno));
  }
  if (S_ISREG(status.st_mode)) source.size = static_cast<std::uint64_t>(status.st_size);
  return source;
}

}  // namespace cli
