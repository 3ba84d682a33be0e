// SPDX-License-Identifier: MIT
// OpenRetriedFile: a stdio stream that goes on when a signal interrupts one of its calls. The C library's own
// stream fails, and drops what it was about to write.
#pragma once

#include <cstdio>

namespace tovmx {

// Opens the file for reading, or makes an empty one for writing; the descriptor does not outlive an exec.
// Null with errno when that fails.
std::FILE* OpenRetriedFile(const char* path, bool writes);

}  // namespace tovmx
