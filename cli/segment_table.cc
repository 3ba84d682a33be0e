// SPDX-License-Identifier: MIT
// Reads the kernel's own table, which ipcs shows, too.
#include "segment_table.h"

#include "error.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>

namespace cli {

std::vector<Segment> ReadSegments() {
  constexpr const char* kFile = "/proc/sysvipc/shm";
  std::ifstream in(kFile);
  std::string line;
  if (!std::getline(in, line)) throw CommandError(std::string(kFile) + ": " + std::strerror(errno));
  std::vector<Segment> segments;
  while (std::getline(in, line)) {
    Segment segment;
    int key = 0;
    unsigned long long size = 0, attached = 0;
    long long changed = 0;
    // key shmid perms size cpid lpid nattch uid gid cuid cgid atime dtime ctime
    const int count =
        std::sscanf(line.c_str(), "%d %d %o %llu %d %*d %llu %u %*u %*u %*u %*u %*u %lld", &key, &segment.id,
                    &segment.mode, &size, &segment.creator, &attached, &segment.owner, &changed);
    if (count != 8) continue;
    segment.key = static_cast<std::uint32_t>(key);
    segment.size = size;
    segment.attached = attached;
    segment.changed = changed;
    segments.push_back(segment);
  }
  return segments;
}

}  // namespace cli
