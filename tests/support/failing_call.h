// SPDX-License-Identifier: MIT
// A child process of which a system call fails, as on a kernel that lacks it or behind a filter.
#pragma once

#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>

struct FailingCall {
  long number;
  int error;
  unsigned argument = 0;   // the call fails where this argument
  std::uint32_t bits = 0;  // has all of these bits
};

// Runs the body, whose expectations count, in a child of which the call fails.
template <typename Body>
void WithoutCall(const FailingCall& call, Body body) {
  std::fflush(nullptr);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    sock_filter rules[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<std::uint32_t>(call.number), 0, 4),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS,
                 static_cast<std::uint32_t>(offsetof(seccomp_data, args) + 8 * call.argument)),
        BPF_STMT(BPF_ALU | BPF_AND | BPF_K, call.bits),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, call.bits, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | static_cast<std::uint32_t>(call.error)),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog program = {sizeof rules / sizeof *rules, rules};
    const bool filtered = prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
                          prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
    EXPECT_TRUE(filtered);
    if (filtered) body();
    std::fflush(nullptr);
    _exit(testing::Test::HasFailure() ? 1 : 0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "see above";
}
