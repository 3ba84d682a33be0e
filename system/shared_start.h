// SPDX-License-Identifier: MIT
// StartSharingMemory: a program in a child that shares the parent's memory until it executes the program, as
// vfork's does. So the parent's page tables are not copied, which takes longer the more memory it has.
#pragma once

#include <sys/types.h>

namespace tovkit {

// Runs prepare(context) in the child and then executes the program. Returns when that is done, with the
// child's id. Where the child cannot be made, `prepare` returns false, or the program cannot be executed, the
// result is -1, no child is left, and a fork may try what could not be done here.
//
// While the child runs, the calling thread stands still. What the child writes to, the parent has written to
// then: `prepare` may call what is safe in a signal handler, and may leave nothing behind in memory.
[[nodiscard]] pid_t StartSharingMemory(const char* path, char* const* argv, bool (*prepare)(const void*),
                                       const void* context);

}  // namespace tovkit
