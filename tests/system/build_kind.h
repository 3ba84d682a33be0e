// SPDX-License-Identifier: MIT
// Sanitizers make threads and processes many times dearer: storms are smaller there.
#pragma once

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool kSanitized = true;
#else
inline constexpr bool kSanitized = false;
#endif

// Sanitizers start up through malloc: a program may not bring its own there.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define TOVKIT_OWN_MALLOC 0
#else
#define TOVKIT_OWN_MALLOC 1
#endif
#define SKIP_WITHOUT_OWN_MALLOC() \
  if (!TOVKIT_OWN_MALLOC) GTEST_SKIP() << "memory cannot be made to run out in this build"
