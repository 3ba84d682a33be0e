// SPDX-License-Identifier: MIT
// Retried: a system call again and again while signals interrupt it.
//
//   const int fd = base::Retried([&] { return open(path, O_RDONLY | O_CLOEXEC); });
//
// close() is not for it: Linux has closed the descriptor when it reports an interruption.
#pragma once

#include <cerrno>

namespace base {

// What `call` returns once that is not -1 with EINTR in errno.
template <typename Call>
auto Retried(Call call) -> decltype(call()) {
  for (;;) {
    const auto result = call();
    if (result != -1 || errno != EINTR) return result;
  }
}

}  // namespace base
