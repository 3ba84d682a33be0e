// SPDX-License-Identifier: MIT
// The descriptors that a forked child has open and that its program must not get.
#pragma once

namespace tovkit {

// Closes every descriptor above 2 of the calling process, which is a child between fork and exec: no lock is
// taken that a thread of the parent may have held at the fork.
void CloseInheritedDescriptors();

// Does it in one call, where the kernel has that call; false, and nothing closed, where it has not.
[[nodiscard]] bool CloseInheritedRange();

}  // namespace tovkit
