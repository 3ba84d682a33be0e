// SPDX-License-Identifier: MIT
// The System V shared-memory segments of the machine.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <vector>

namespace cli {

struct Segment {
  std::uint32_t key = 0;  // 0 for a segment without a name
  int id = 0;
  unsigned mode = 0;
  std::uint64_t size = 0;  // bytes
  std::uint64_t attached = 0;
  pid_t creator = 0;
  uid_t owner = 0;
  std::int64_t changed = 0;  // when it was created or its mode changed, seconds since 1970
};

// Every segment that the kernel tells of. Throws CommandError when it tells of none at all.
std::vector<Segment> ReadSegments();

}  // namespace cli
